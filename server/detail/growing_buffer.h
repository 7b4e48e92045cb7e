// The buffer of a request's message: grows with the bytes that arrive, never ahead of
// them on the word of a length that the client sent.
#ifndef ZUBJEX_SERVER_DETAIL_GROWING_BUFFER_H_
#define ZUBJEX_SERVER_DETAIL_GROWING_BUFFER_H_

#include <cstddef>
#include <cstdint>
#include <memory>

// Not thread-safe; a connection's own.
class zubJexGrowingBuffer {
 public:
  // Keeps the first `used` bytes and makes room for at least `needed` more. The buffer
  // grows to `used` plus at most a chunk of 4 KiB, or to twice `used` when that is
  // more, so that a large message costs few copies; never beyond `limit` unless
  // `used + needed` is.
  void grow(size_t used, size_t needed, size_t limit);
  // Frees the buffer when it holds more than `keep` bytes.
  void trim(size_t keep);

  uint8_t* data() { return data_.get(); }
  size_t capacity() const { return capacity_; }

 private:
  std::unique_ptr<uint8_t[]> data_;  // null while capacity_ is 0
  size_t capacity_ = 0;
};

#endif  // ZUBJEX_SERVER_DETAIL_GROWING_BUFFER_H_
