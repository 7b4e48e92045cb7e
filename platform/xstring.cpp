#include "platform/xstring.h"

#include <cstdlib>
#include <cstring>
#include <new>
#include <ostream>
#include <string>

#include "platform/block_cache.h"
#include "platform/streams.h"

namespace {

// The uninit marker is kept as this pointer value; it holds no buffer.
btkStrBuf* const kUninitMarker = reinterpret_cast<btkStrBuf*>(uintptr_t{2});

// UTF-8 to wide characters; a byte that starts no valid sequence stands for itself.
std::wstring Widen(const char* s, size_t n) {
  std::wstring out;
  out.reserve(n);
  size_t i = 0;
  while (i < n) {
    unsigned char c = static_cast<unsigned char>(s[i]);
    size_t extra = c >= 0xF0 ? 3 : c >= 0xE0 ? 2 : c >= 0xC0 ? 1 : 0;
    uint32_t cp = c & (0x3Fu >> extra);
    bool ok = extra > 0 && i + extra < n;
    for (size_t k = 1; ok && k <= extra; ++k) {
      unsigned char cc = static_cast<unsigned char>(s[i + k]);
      ok = (cc & 0xC0) == 0x80;
      cp = (cp << 6) | (cc & 0x3F);
    }
    if (!ok) {
      out.push_back(static_cast<wchar_t>(c));
      ++i;
      continue;
    }
    out.push_back(static_cast<wchar_t>(cp));
    i += extra + 1;
  }
  return out;
}

std::string Narrow(const wchar_t* w) {
  std::string out;
  for (; *w != 0; ++w) {
    uint32_t cp = static_cast<uint32_t>(*w);
    if (cp < 0x80) {
      out.push_back(static_cast<char>(cp));
    } else if (cp < 0x800) {
      out.push_back(static_cast<char>(0xC0 | (cp >> 6)));
      out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
    } else if (cp < 0x10000) {
      out.push_back(static_cast<char>(0xE0 | (cp >> 12)));
      out.push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
      out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
    } else {
      out.push_back(static_cast<char>(0xF0 | (cp >> 18)));
      out.push_back(static_cast<char>(0x80 | ((cp >> 12) & 0x3F)));
      out.push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
      out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
    }
  }
  return out;
}

bool IsSeparator(char c, const char* separators) {
  return std::strchr(separators, c) != nullptr && c != '\0';
}

}  // namespace

// The bytes of a buffer of n bytes of text: header, text and NUL.
size_t btkStrBuf::BlockSize(size_t n) { return sizeof(btkStrBuf) + n + 1; }

btkStrBuf* btkStrBuf::AllocMB(int32_t n, char** text) {
  if (n < 0) n = 0;
  btkStrBuf* b = new (btkBlockTake(BlockSize(static_cast<size_t>(n)))) btkStrBuf();
  b->size_ = static_cast<size_t>(n);
  b->MB()[n] = '\0';
  *text = b->MB();
  return b;
}

btkStrBuf* btkStrBuf::ResizeMB(btkStrBuf* b, int32_t n, char** text) {
  if (n < 0) n = 0;
  b->~btkStrBuf();  // the header is made anew in the moved bytes
  void* raw = btkBlockResize(b, BlockSize(static_cast<size_t>(n)));
  if (raw == nullptr) {
    std::free(b);
    throw std::bad_alloc();
  }
  btkStrBuf* r = new (raw) btkStrBuf();
  r->size_ = static_cast<size_t>(n);
  r->MB()[n] = '\0';
  *text = r->MB();
  return r;
}

btkStrBuf* btkStrBuf::CopyMB(const char* text, size_t n) {
  btkStrBuf* b = new (btkBlockTake(BlockSize(n))) btkStrBuf();
  b->size_ = n;
  if (n > 0) std::memcpy(b->MB(), text, n);
  b->MB()[n] = '\0';
  return b;
}

void btkStrBuf::Unlock() {
  // The holder of the only lock is alone with the buffer (as for xobject::releaseRef).
  if (locks_.load(std::memory_order_acquire) != 1 &&
      locks_.fetch_sub(1, std::memory_order_acq_rel) != 1) {
    return;
  }
  delete[] wide_.load(std::memory_order_acquire);
  const size_t block = BlockSize(size_);
  this->~btkStrBuf();
  btkBlockGive(this, block);
}

const wchar_t* btkStrBuf::Wide() {
  wchar_t* w = wide_.load(std::memory_order_acquire);
  if (w != nullptr) return w;
  std::wstring ws = Widen(MB(), size_);
  wchar_t* fresh = new wchar_t[ws.size() + 1];
  std::memcpy(fresh, ws.c_str(), (ws.size() + 1) * sizeof(wchar_t));
  if (wide_.compare_exchange_strong(w, fresh, std::memory_order_acq_rel)) return fresh;
  delete[] fresh;
  return w;
}

xstring::xstring(const char* text) : buf_(nullptr) {
  uintptr_t v = reinterpret_cast<uintptr_t>(text);
  if (v == 2) {
    buf_ = kUninitMarker;
  } else if (v > 2) {
    buf_ = btkStrBuf::CopyMB(text, std::strlen(text));
  }
}

xstring::xstring(const char* text, size_t n) : buf_(btkStrBuf::CopyMB(text, n)) {}

xstring::xstring(const wchar_t* text) : buf_(nullptr) {
  if (text == nullptr) return;
  std::string n = Narrow(text);
  buf_ = btkStrBuf::CopyMB(n.data(), n.size());
}

xstring& xstring::operator=(const xstring& other) {
  other.LockBuf();
  UnlockBuf();
  buf_ = other.buf_;
  return *this;
}

const xstring& xstring::Nil() {
  static const xstring nil;
  return nil;
}

const xstring& xstring::Uninit() {
  static const xstring uninit(reinterpret_cast<const char*>(uintptr_t{2}));
  return uninit;
}

void xstring::Assign(const __xstring_c& c, bool addLock) {
  btkStrBuf* old = buf_;
  buf_ = c.buffer;
  if (addLock) LockBuf();
  if (old != nullptr && old != kUninitMarker) old->Unlock();
}

__xstring_c xstring::getxstring_c() const {
  LockBuf();
  if (!IsText()) return {IsUninit() ? kUninitMarker : nullptr, nullptr, nullptr};
  return {buf_, buf_->MB(), nullptr};
}

void xstrunlock_c(__xstring_c& c) {
  if (c.buffer != nullptr && c.buffer != kUninitMarker) c.buffer->Unlock();
  c.buffer = nullptr;
  c.text = nullptr;
  c.wtext = nullptr;
}

bool xstring::IsUninit() const { return buf_ == kUninitMarker; }

const wchar_t* xstring::CastToCWString() const { return IsText() ? buf_->Wide() : L""; }

bool xstring::operator==(const xstring& other) const {
  if (buf_ == other.buf_) return true;
  if (!IsText() || !other.IsText()) return false;
  return buf_->MBSize() == other.buf_->MBSize() &&
         std::memcmp(buf_->MB(), other.buf_->MB(), buf_->MBSize()) == 0;
}

bool xstring::operator==(const char* text) const {
  if (!IsText() || text == nullptr) return false;
  size_t n = std::strlen(text);
  return n == buf_->MBSize() && std::memcmp(buf_->MB(), text, n) == 0;
}

bool xstring::operator==(const wchar_t* text) const {
  if (!IsText() || text == nullptr) return false;
  return std::wcscmp(buf_->Wide(), text) == 0;
}

xstring xstring::operator+(const xstring& other) const {
  if (!IsText()) return other;
  if (!other.IsText()) return *this;
  char* text = nullptr;
  size_t a = GetMBSize();
  size_t b = other.GetMBSize();
  xstring out;
  out.buf_ = btkStrBuf::AllocMB(static_cast<int32_t>(a + b), &text);
  std::memcpy(text, CastToCString(), a);
  std::memcpy(text + a, other.CastToCString(), b);
  return out;
}

xstring& xstring::operator+=(const xstring& other) {
  *this = *this + other;
  return *this;
}

xstring xstring::FormatList(const char* format, const char* const* args, size_t count) {
  if (format == nullptr) return xstring();
  std::string out;
  size_t next = 0;
  for (const char* p = format; *p != '\0'; ++p) {
    if (p[0] == '%' && p[1] == 's' && next < count) {
      const char* a = args[next++];
      if (a != nullptr) out += a;
      ++p;
    } else if (p[0] == '%' && p[1] == '%') {
      out.push_back('%');
      ++p;
    } else {
      out.push_back(*p);
    }
  }
  return xstring(out.data(), out.size());
}

int xstring::GetNWords(const char* separators) const {
  int words = 0;
  bool inWord = false;
  const char* s = CastToCString();
  for (size_t i = 0, n = GetMBSize(); i < n; ++i) {
    bool sep = IsSeparator(s[i], separators);
    if (!sep && !inWord) ++words;
    inWord = !sep;
  }
  return words;
}

xstring xstring::GetWord(int index, const char* separators) const {
  const char* s = CastToCString();
  size_t n = GetMBSize();
  int word = -1;
  size_t i = 0;
  while (i < n) {
    while (i < n && IsSeparator(s[i], separators)) ++i;
    if (i == n) break;
    size_t start = i;
    while (i < n && !IsSeparator(s[i], separators)) ++i;
    if (++word == index) return xstring(s + start, i - start);
  }
  return xstring();
}

std::ostream& operator<<(std::ostream& out, const xstring& s) {
  return out.write(s.CastToCString(), static_cast<std::streamsize>(s.GetMBSize()));
}

btkOStream& operator<<(btkOStream& out, const xstring& s) {
  out.Write(s.CastToCString(), s.GetMBSize());
  return out;
}
