// Reading whole frames from a connection, and an input stream over one message.
#ifndef ZUBJEX_TRANSPORT_FRAME_READER_H_
#define ZUBJEX_TRANSPORT_FRAME_READER_H_

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>

#include "platform/memory_streams.h"
#include "transport/channel.h"
#include "transport/export.h"
#include "transport/frame.h"
#include "transport/socket.h"
#include "transport/tcp_options.h"

// Reads frames into a buffer that is kept from frame to frame. Bytes that arrive behind
// a frame (the next request of a client that does not wait for answers) stay buffered
// for the next read. Memory grows only with bytes that have arrived, never ahead of
// them on the word of a length field, and a buffer grown beyond `keptCapacity` for one
// large frame is given back once that frame is done with. Not thread-safe.
class ZUBJEX_TCP_EXPORT zubJexFrameReader {
 public:
  enum Result { kFrame, kClosed, kTimedOut };

  // `maxMessageSize` is the largest message accepted, `keptCapacity` the largest buffer
  // kept between frames (see zubJexTcpOptions).
  explicit zubJexFrameReader(uint32_t maxMessageSize,
                             size_t keptCapacity = kZubJexKeptReceiveBuffer);
  zubJexFrameReader(const zubJexFrameReader&) = delete;
  zubJexFrameReader& operator=(const zubJexFrameReader&) = delete;

  // Reads the next frame from `socket`: awaitFrame, then finishFrame when a frame has
  // begun. After kFrame, message() holds the message until the next read.
  Result read(zubTcpChannel& socket, zubTcpDeadline startBy, int restTimeoutMs);

  // The first step of read: drops the previous frame (as releaseFrame) and waits until
  // the next one has begun. Returns kFrame once at least one of its bytes is buffered (at once when
  // bytes arrived behind the previous frame), kClosed when the peer closed the
  // connection (or the socket's receiving side was shut down) first, kTimedOut when
  // `startBy` passed first. Raises the socket's errors.
  Result awaitFrame(zubTcpChannel& socket, zubTcpDeadline startBy);
  // The second step, only after awaitFrame returned kFrame: the rest of the frame must
  // arrive within `restTimeoutMs` (zero or less: no limit). Raises "connection closed
  // by <peer> in the middle of a message", "frame of <n> bytes from <peer> exceeds the
  // limit of <m> bytes", and the socket's errors.
  void finishFrame(zubTcpChannel& socket, int restTimeoutMs);
  // As above, the rest of the frame arriving by `rest`.
  void finishFrame(zubTcpChannel& socket, zubTcpDeadline rest);

  const uint8_t* message() const { return buffer_.get() + frameStart_ + 4; }
  size_t messageSize() const { return frameSize_; }
  // True when bytes beyond the current message (if any) have arrived.
  bool hasPendingBytes() const {
    return end_ > frameStart_ + (haveFrame_ ? kZubJexFrameHeaderSize + frameSize_ : 0);
  }
  // Forgets every buffered byte, for a new connection; gives back a large buffer.
  void reset();
  // Ends the use of the current message (message() is no longer valid) and gives back
  // a buffer grown beyond keptCapacity, keeping the bytes that arrived behind the frame
  // unless they need the large buffer. For the end of an exchange.
  void releaseFrame();
  // The bytes of buffer held; for tests and diagnostics.
  size_t capacity() const { return capacity_; }

 private:
  // Receives more bytes behind end_; returns false when the peer closed the connection.
  bool receiveMore(zubTcpChannel& socket, size_t needed, zubTcpDeadline deadline);
  void ensureRoom(size_t needed);
  // Moves the buffered bytes into a buffer of the initial size when they fit.
  void shrinkIfLarge();

  uint32_t maxMessageSize_;
  size_t keptCapacity_;
  std::unique_ptr<uint8_t[]> buffer_;
  size_t capacity_ = 0;
  size_t frameStart_ = 0;  // start of the current frame's header
  size_t frameSize_ = 0;   // message bytes of the current frame
  size_t end_ = 0;         // end of the bytes received
  bool haveFrame_ = false;
};

// An input stream over the bytes of one message, which the caller keeps alive and
// unchanged while the stream is used. A read beyond the message raises a zubXException
// "unexpected end of message" and consumes nothing. Being a memory stream, it lets the
// decoder take fields in place. Not thread-safe.
class ZUBJEX_TCP_EXPORT zubJexMessageIStream : public btkMemIStream {
 public:
  zubJexMessageIStream() : btkMemIStream(nullptr, 0, "unexpected end of message") {}

  void reset(const uint8_t* data, size_t size) { Reset(data, size); }
};

#endif  // ZUBJEX_TRANSPORT_FRAME_READER_H_
