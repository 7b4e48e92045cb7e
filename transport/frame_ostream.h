// An output stream that collects one message in memory and hands it out as a whole
// frame, so that a message costs one send instead of one per field.
#ifndef ZUBJEX_TRANSPORT_FRAME_OSTREAM_H_
#define ZUBJEX_TRANSPORT_FRAME_OSTREAM_H_

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>

#include "platform/streams.h"
#include "transport/export.h"

// Collects the message of one frame. The buffer is kept from message to message, so a
// steady exchange allocates nothing. Not thread-safe.
class ZUBJEX_TCP_EXPORT zubJexFrameOStream : public btkOStream {
 public:
  // `maxMessageSize` is the largest message accepted (see zubJexTcpOptions).
  explicit zubJexFrameOStream(uint32_t maxMessageSize);
  zubJexFrameOStream(const zubJexFrameOStream&) = delete;
  zubJexFrameOStream& operator=(const zubJexFrameOStream&) = delete;

  // Starts a new message, dropping what was written before.
  void begin() { size_ = kHeaderSize; }

  // Appends all bytes. Raises a zubXException "message exceeds the frame limit of
  // <n> bytes" when the message would grow beyond the limit; the message is then
  // unusable until the next begin().
  size_t Write(const void* data, size_t count) final {
    if (count > capacity_ - size_) Grow(count);
    if (count != 0) std::memcpy(buffer_.get() + size_, data, count);
    size_ += count;
    return count;
  }

  // The finished frame (header and message); valid until the next Write or begin().
  const uint8_t* frame();
  size_t frameSize() const { return size_; }
  size_t messageSize() const { return size_ - kHeaderSize; }

 private:
  static constexpr size_t kHeaderSize = 4;
  static constexpr size_t kInitialCapacity = 256;
  void Grow(size_t more);

  uint32_t maxMessageSize_;
  std::unique_ptr<uint8_t[]> buffer_;
  size_t size_ = kHeaderSize;
  size_t capacity_ = 0;
};

#endif  // ZUBJEX_TRANSPORT_FRAME_OSTREAM_H_
