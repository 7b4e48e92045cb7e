// xstring: the runtime's immutable, shared text value.
//
// An xstring is either the nil string (it holds no text at all, the state of a
// default-constructed xstring), the uninit marker, or a text. The empty text "" is a
// text and is distinct from nil. The text is kept in its narrow (multibyte, UTF-8)
// form; the wide form is made on demand. Copies share one reference-counted buffer,
// so copying is cheap and an xstring may be copied and read from several threads.
#ifndef ZUBJEX_PLATFORM_XSTRING_H_
#define ZUBJEX_PLATFORM_XSTRING_H_

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <iosfwd>

#include "platform/export.h"
#include "platform/small_vector.h"

class btkOStream;

// The shared buffer behind xstrings. Its "locks" are its references: whoever holds a
// lock must drop it once (Unlock). Header and text are one allocation.
class ZUBPLATFORM_EXPORT btkStrBuf {
 public:
  // A buffer for n bytes of narrow text (plus a terminating NUL, already set) with one
  // lock held by the caller; *text points at the n bytes to fill. n must be >= 0.
  static btkStrBuf* AllocMB(int32_t n, char** text);
  // Gives a buffer that only the caller holds (one lock, no wide form made) room for n
  // bytes of text, keeping the first min(old size, n) bytes; *text points at them. The
  // buffer may move: `b` is not to be used again. When the room cannot be had, `b` is
  // freed and std::bad_alloc raised.
  static btkStrBuf* ResizeMB(btkStrBuf* b, int32_t n, char** text);
  // A buffer holding a copy of the n bytes at `text`, one lock held by the caller.
  static btkStrBuf* CopyMB(const char* text, size_t n);

  void Lock() { locks_.fetch_add(1, std::memory_order_relaxed); }
  void Unlock();

  const char* MB() const { return reinterpret_cast<const char*>(this + 1); }
  char* MB() { return reinterpret_cast<char*>(this + 1); }
  size_t MBSize() const { return size_; }
  // The wide form, made on first use and kept with the buffer.
  const wchar_t* Wide();

 private:
  btkStrBuf() = default;
  static size_t BlockSize(size_t n);
  std::atomic<int> locks_{1};
  size_t size_ = 0;
  std::atomic<wchar_t*> wide_{nullptr};
};

// The record of a string handed across the runtime's C interface: the buffer and the
// two forms of its text. Whoever holds one holds one lock on `buffer` (if not null).
struct __xstring_c {
  btkStrBuf* buffer;
  const char* text;
  const wchar_t* wtext;
};

class ZUBPLATFORM_EXPORT xstring {
 public:
  // The nil string.
  xstring() : buf_(nullptr) {}
  // Text from a NUL-terminated narrow string. The null pointer gives the nil string,
  // the pointer value 1 the nil marker, 2 the uninit marker.
  xstring(const char* text);  // NOLINT(runtime/explicit): strings convert freely
  xstring(const char* text, size_t n);
  // Text from a NUL-terminated wide string (encoded to UTF-8). Null gives nil.
  xstring(const wchar_t* text);  // NOLINT(runtime/explicit)
  // Takes the string record `c`: with addLock true the string adds a lock of its own
  // (the caller keeps its lock), with false it adopts the caller's lock.
  xstring(const __xstring_c& c, bool addLock) : buf_(c.buffer) {
    if (addLock) LockBuf();
  }
  xstring(const xstring& other) : buf_(other.buf_) { LockBuf(); }
  xstring(xstring&& other) noexcept : buf_(other.buf_) { other.buf_ = nullptr; }
  xstring& operator=(const xstring& other);
  xstring& operator=(xstring&& other) noexcept {
    if (this != &other) {
      UnlockBuf();
      buf_ = other.buf_;
      other.buf_ = nullptr;
    }
    return *this;
  }
  ~xstring() { UnlockBuf(); }

  // The nil and uninit markers.
  static const xstring& Nil();
  static const xstring& Uninit();

  // Replaces the content with the record `c`; addLock as for the constructor.
  void Assign(const __xstring_c& c, bool addLock);
  // A record of this string with one lock of its own; drop it with xstrunlock_c.
  __xstring_c getxstring_c() const;
  // A record holding this string's own lock (drop it with xstrunlock_c); the string
  // becomes nil. No count changes.
  __xstring_c Detach() {
    __xstring_c c{buf_, IsText() ? buf_->MB() : nullptr, nullptr};
    buf_ = nullptr;
    return c;
  }

  // True for the nil string (no text at all), false for every text, "" included.
  bool IsNil() const { return buf_ == nullptr; }
  bool IsUninit() const;
  // True when there is no character: nil, uninit and "".
  bool IsEmpty() const { return GetMBSize() == 0; }
  // The narrow text, NUL-terminated; "" for nil and uninit. Valid while this string lives.
  const char* CastToCString() const { return IsText() ? buf_->MB() : ""; }
  // The wide text, NUL-terminated; L"" for nil and uninit. Valid while this string lives.
  const wchar_t* CastToCWString() const;
  // The number of bytes of the narrow text.
  size_t GetMBSize() const { return IsText() ? buf_->MBSize() : 0; }

  // Equality: nil equals only nil, uninit only uninit; texts compare byte for byte.
  bool operator==(const xstring& other) const;
  bool operator!=(const xstring& other) const { return !(*this == other); }
  // Comparison with a narrow or wide text; a nil or uninit string equals no text.
  bool operator==(const char* text) const;
  bool operator==(const wchar_t* text) const;

  xstring operator+(const xstring& other) const;
  xstring& operator+=(const xstring& other);

  // Formats `format`, replacing each "%s" with the next argument in turn and "%%" with
  // "%". Nothing else is interpreted; a "%s" beyond the arguments stays as it is, and a
  // null argument counts as "". Unlike printf this can never read past its arguments.
  template <class... Args>
  static xstring Printf(const char* format, Args... args) {
    const char* list[] = {static_cast<const char*>(args)..., nullptr};
    return FormatList(format, list, sizeof...(Args));
  }
  static xstring FormatList(const char* format, const char* const* args, size_t count);

  // Words are the maximal runs of characters not in `separators`; empty runs do not
  // count. GetWord counts from 0 and gives nil past the last word.
  int GetNWords(const char* separators) const;
  xstring GetWord(int index, const char* separators) const;

 private:
  bool IsText() const { return reinterpret_cast<uintptr_t>(buf_) > 2; }
  void LockBuf() const {
    if (IsText()) buf_->Lock();
  }
  void UnlockBuf() const {
    if (IsText()) buf_->Unlock();
  }
  btkStrBuf* buf_;
};

// An xstring is its buffer's pointer alone: it moves as bytes.
template <>
struct btkRelocatesAsBytes<xstring> : std::true_type {};

// Drops the lock that a string record holds.
ZUBPLATFORM_EXPORT void xstrunlock_c(__xstring_c& c);

// The narrow text to a standard stream (standard error, for instance).
ZUBPLATFORM_EXPORT std::ostream& operator<<(std::ostream& out, const xstring& s);
// The narrow bytes to a base library stream.
ZUBPLATFORM_EXPORT btkOStream& operator<<(btkOStream& out, const xstring& s);

#endif  // ZUBJEX_PLATFORM_XSTRING_H_
