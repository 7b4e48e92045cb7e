// Streams that are not memory streams, for tests that check that the encoder's general
// path (one Write or Read per field, through the virtual interface) gives the same bytes
// and the same failures as its in-place path over memory streams.
#ifndef ZUBJEX_TESTS_TEST_SUPPORT_PIECEWISE_STREAMS_H_
#define ZUBJEX_TESTS_TEST_SUPPORT_PIECEWISE_STREAMS_H_

#include <cstring>
#include <string>

#include "platform/exceptions.h"
#include "platform/streams.h"

namespace jex_test {

// Appends every Write to `bytes` and counts the calls.
class PiecewiseOStream : public btkOStream {
 public:
  size_t Write(const void* data, size_t count) override {
    bytes.append(static_cast<const char*>(data), count);
    ++writes;
    return count;
  }
  std::string bytes;
  int writes = 0;
};

// Reads from a copy of `bytes`; raises "unexpected end of stream" past the end, as the
// memory stream does.
class PiecewiseIStream : public btkIStream {
 public:
  explicit PiecewiseIStream(std::string bytes) : bytes_(std::move(bytes)) {}
  size_t Read(void* data, size_t count) override {
    if (count > bytes_.size() - pos_) xthrowException("unexpected end of stream");
    if (count > 0) std::memcpy(data, bytes_.data() + pos_, count);
    pos_ += count;
    return count;
  }
  size_t remaining() const { return bytes_.size() - pos_; }

 private:
  std::string bytes_;
  size_t pos_ = 0;
};

}  // namespace jex_test

#endif  // ZUBJEX_TESTS_TEST_SUPPORT_PIECEWISE_STREAMS_H_
