// Helpers of the serialization tests: encoding and decoding through memory streams.
#ifndef ZUBJEX_TESTS_SERIALIZATION_S11N_TEST_UTIL_H_
#define ZUBJEX_TESTS_SERIALIZATION_S11N_TEST_UTIL_H_

#include <string>

#include "platform/memory_streams.h"
#include "serialization/bin_serializer.h"
#include "test_support/basics.h"

namespace s11ntest {

using jex_test::Bytes;
using jex_test::Hex;

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
  return jex_test::raisedText(op);
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
