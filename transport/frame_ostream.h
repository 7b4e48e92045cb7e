// An output stream that collects one message in memory and hands it out as a whole
// frame, so that a message costs one send instead of one per field.
#ifndef ZUBJEX_TRANSPORT_FRAME_OSTREAM_H_
#define ZUBJEX_TRANSPORT_FRAME_OSTREAM_H_

#include <cstddef>
#include <cstdint>

#include "platform/memory_streams.h"
#include "transport/export.h"

// Collects the message of one frame behind room for its header. The buffer is kept from
// message to message, so a steady exchange allocates nothing. Being a memory stream, it
// lets the encoder put fields together in place. Not thread-safe.
class ZUBJEX_TCP_EXPORT zubJexFrameOStream : public btkMemOStream {
 public:
  // `maxMessageSize` is the largest message accepted (see zubJexTcpOptions).
  explicit zubJexFrameOStream(uint32_t maxMessageSize);
  zubJexFrameOStream(const zubJexFrameOStream&) = delete;
  zubJexFrameOStream& operator=(const zubJexFrameOStream&) = delete;

  // Starts a new message, dropping what was written before.
  void begin() {
    Clear();
    Extend(kHeaderSize);
  }

  // The finished frame (header and message); valid until the next Write or begin().
  const uint8_t* frame();
  size_t frameSize() const { return size(); }
  size_t messageSize() const { return size() - kHeaderSize; }

 protected:
  // Raises a zubXException "message exceeds the frame limit of <n> bytes" when the
  // message would grow beyond the limit; the message is then unusable until the next
  // begin(). The capacity never exceeds header and limit, so that every write that
  // could pass the limit comes here first.
  void Grow(size_t more) override;

 private:
  static constexpr size_t kHeaderSize = 4;
  static constexpr size_t kInitialCapacity = 256;

  uint32_t maxMessageSize_;
};

#endif  // ZUBJEX_TRANSPORT_FRAME_OSTREAM_H_
