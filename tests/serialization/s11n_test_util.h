// Helpers of the serialization tests: hex byte vectors, encoding and decoding through
// memory streams, and the capture of raised framework exceptions.
#ifndef ZUBJEX_TESTS_SERIALIZATION_S11N_TEST_UTIL_H_
#define ZUBJEX_TESTS_SERIALIZATION_S11N_TEST_UTIL_H_

#include <cstdio>
#include <string>

#include "platform/exceptions.h"
#include "platform/handles.h"
#include "platform/memory_streams.h"
#include "serialization/bin_serializer.h"

namespace s11ntest {

// "FE FF 01" -> the three bytes.
inline std::string Bytes(const char* hex) {
  std::string out;
  unsigned value = 0;
  int digits = 0;
  for (const char* p = hex; *p != '\0'; ++p) {
    const char c = *p;
    if (c == ' ') continue;
    value = value * 16 + static_cast<unsigned>(c <= '9' ? c - '0' : (c | 0x20) - 'a' + 10);
    if (++digits == 2) {
      out.push_back(static_cast<char>(value));
      value = 0;
      digits = 0;
    }
  }
  return out;
}

// The bytes as "FE FF 01".
inline std::string Hex(const std::string& bytes) {
  std::string out;
  char buf[4];
  for (unsigned char b : bytes) {
    std::snprintf(buf, sizeof buf, out.empty() ? "%02X" : " %02X", b);
    out += buf;
  }
  return out;
}

// What `write` puts into a fresh output stream.
template <class Write>
std::string Encode(Write&& write) {
  btkMemOStream out;
  zubBinSerializer serializer(&out);
  write(serializer);
  return out.str();
}

// The description of the framework exception that `op` raises; "<none>" when it
// raises nothing.
template <class Op>
std::string ErrorOf(Op&& op) {
  try {
    op();
  } catch (xthrowable* thrown) {
    xrcunihandle<xthrowable> caught = xadoptThrown(thrown);
    zubXException* e = zubXException::softcast(caught.get());
    return e != nullptr ? e->getDescription().CastToCString() : "<not a zubXException>";
  }
  return "<none>";
}

// A deserializer over a copy of `bytes` that reports how much it consumed.
class Reader {
 public:
  explicit Reader(const std::string& bytes) : bytes_(bytes), in_(bytes_), d_(&in_) {}
  zubBinDeserializer& d() { return d_; }
  size_t consumed() const { return in_.position(); }
  // Reads one object and takes ownership of it.
  xrchandle<xobject> object() {
    xobject* o = nullptr;
    d_.readObject(o);
    return xrchandle<xobject>(o);
  }
  bool atEnd() const { return in_.remaining() == 0; }

 private:
  std::string bytes_;
  btkMemIStream in_;
  zubBinDeserializer d_;
};

}  // namespace s11ntest

#endif  // ZUBJEX_TESTS_SERIALIZATION_S11N_TEST_UTIL_H_
