// Copies per byte of a large string parameter: writes and reads a call whose string
// parameter holds 1 MiB and counts the bytes that memcpy, memmove and memset touch and
// that realloc moves while writeCall or readCall runs, divided by the string's size.
// The program defines those functions itself (forwarding to the C library's), so the
// count sees every call the libraries make through them; copies inlined as plain loads
// and stores of a few bytes are not seen, and do not matter at this size.
//
//   bench_string_copies [bytes]      (default 1048576)
#include <dlfcn.h>
#include <malloc.h>

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "messages/jex_serializer.h"
#include "messages/proxy_map.h"
#include "platform/memory_streams.h"
#include "platform/rtti_registry.h"
#include "platform/sequences.h"
#include "support/sequence_types.h"

namespace {

using Copy = void* (*)(void*, const void*, size_t);
using Fill = void* (*)(void*, int, size_t);
using Resize = void* (*)(void*, size_t);

Copy realMemcpy = nullptr;
Copy realMemmove = nullptr;
Fill realMemset = nullptr;
Resize realRealloc = nullptr;
bool counting = false;
size_t touched = 0;

// Before the C library's functions are known (while they are looked up), byte loops
// that the compiler may not turn back into calls.
void* SlowCopy(void* to, const void* from, size_t n) {
  volatile unsigned char* d = static_cast<unsigned char*>(to);
  const volatile unsigned char* s = static_cast<const unsigned char*>(from);
  if (d < s) {
    for (size_t i = 0; i < n; ++i) d[i] = s[i];
  } else {
    for (size_t i = n; i > 0; --i) d[i - 1] = s[i - 1];
  }
  return to;
}

__attribute__((constructor)) void FindRealFunctions() {
  realMemcpy = reinterpret_cast<Copy>(dlsym(RTLD_NEXT, "memcpy"));
  realMemmove = reinterpret_cast<Copy>(dlsym(RTLD_NEXT, "memmove"));
  realMemset = reinterpret_cast<Fill>(dlsym(RTLD_NEXT, "memset"));
  realRealloc = reinterpret_cast<Resize>(dlsym(RTLD_NEXT, "realloc"));
}

void Count(size_t n) {
  if (counting) touched += n;
}

}  // namespace

extern "C" {
void* memcpy(void* to, const void* from, size_t n) noexcept {
  Count(n);
  return realMemcpy != nullptr ? realMemcpy(to, from, n) : SlowCopy(to, from, n);
}
void* memmove(void* to, const void* from, size_t n) noexcept {
  Count(n);
  return realMemmove != nullptr ? realMemmove(to, from, n) : SlowCopy(to, from, n);
}
void* memset(void* to, int c, size_t n) noexcept {
  Count(n);
  if (realMemset != nullptr) return realMemset(to, c, n);
  volatile unsigned char* d = static_cast<unsigned char*>(to);
  for (size_t i = 0; i < n; ++i) d[i] = static_cast<unsigned char>(c);
  return to;
}
void* realloc(void* p, size_t n) noexcept {
  const size_t old = p != nullptr ? malloc_usable_size(p) : 0;
  void* moved = realRealloc(p, n);
  if (moved != nullptr && moved != p && p != nullptr) Count(old < n ? old : n);
  return moved;
}
}

namespace {

struct NoProxies : zubJexProxyMap {
  xstring getObjectId(xrcunihandle<xobject>) override { return xstring(); }
  xrcunihandle<xobject> findObject(const xstring&) override { return {}; }
};

// Hands out the bytes of a buffer in reads as a transport's stream does, with one copy.
class CopyingIStream : public btkIStream {
 public:
  explicit CopyingIStream(const btkMemOStream& bytes) : bytes_(bytes) {}
  size_t Read(void* data, size_t count) override {
    if (count > bytes_.size() - at_) std::abort();
    std::memcpy(data, bytes_.data() + at_, count);
    at_ += count;
    return count;
  }

 private:
  const btkMemOStream& bytes_;
  size_t at_ = 0;
};

template <class Body>
double CopiesPerByte(size_t bytes, Body&& body) {
  touched = 0;
  counting = true;
  body();
  counting = false;
  return static_cast<double>(touched) / static_cast<double>(bytes);
}

}  // namespace

int main(int argc, char** argv) {
  const size_t bytes = argc > 1 ? std::strtoul(argv[1], nullptr, 10) : size_t{1} << 20;
  zubSupportRegisterSequenceTypes();
  NoProxies proxies;
  const std::string text(bytes, 's');
  xrchandle<xstringsequence> names(xstringsequence::create());
  xrchandle<xanysequence> values(xanysequence::create());
  names->append("s");
  values->append(xstring(text.data(), text.size()));
  zubJexCall call;
  call.initialize(xstring("Calc:add"), nullptr, names, values, false);

  zubJEXSerializer* encoder = zubJEXSerializer::getInstance();
  btkMemOStream out;
  encoder->writeCall(&out, call, &proxies);  // the stream keeps the room it grew
  out.Clear();
  const double write = CopiesPerByte(bytes, [&] { encoder->writeCall(&out, call, &proxies); });

  zubJexCall fromMemory;
  const double readMemory = CopiesPerByte(bytes, [&] {
    btkMemIStream in(out.data(), out.size());
    encoder->readCall(&in, fromMemory, &proxies, xstring("server"));
  });
  zubJexCall fromStream;
  const double readStream = CopiesPerByte(bytes, [&] {
    CopyingIStream in(out);
    encoder->readCall(&in, fromStream, &proxies, xstring("server"));
  });
  for (zubJexCall* read : {&fromMemory, &fromStream}) {
    const xany& s = read->peekParamValues()->itemAt(0);
    if (s.getKind() != xany_string || std::string(s.stringText(), s.stringSize()) != text) {
      std::fprintf(stderr, "the string did not come back\n");
      return 2;
    }
  }
  if (write < 1.0) {
    std::fprintf(stderr, "the copies were not counted (memcpy not interposed?)\n");
    return 2;
  }
  std::printf("string of %zu bytes, copies per byte:\n", bytes);
  std::printf("  writeCall into a memory stream            %.2f\n", write);
  std::printf("  readCall from a memory stream             %.2f\n", readMemory);
  std::printf("  readCall from a copying stream            %.2f  (its own Read is one)\n",
              readStream);
  std::printf("  write + read through memory streams       %.2f\n", write + readMemory);
  return 0;
}
