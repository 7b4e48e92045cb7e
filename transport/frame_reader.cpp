#include "transport/frame_reader.h"

#include <algorithm>
#include <string>

#include "transport/frame.h"

namespace {
constexpr size_t kInitialCapacity = 4096;
}

zubJexFrameReader::zubJexFrameReader(uint32_t maxMessageSize, size_t keptCapacity)
    : maxMessageSize_(maxMessageSize),
      keptCapacity_(keptCapacity),
      buffer_(new uint8_t[kInitialCapacity]),
      capacity_(kInitialCapacity) {}

void zubJexFrameReader::reset() {
  frameStart_ = frameSize_ = end_ = 0;
  haveFrame_ = false;
  shrinkIfLarge();
}

void zubJexFrameReader::releaseFrame() {
  if (haveFrame_) frameStart_ += kZubJexFrameHeaderSize + frameSize_;
  haveFrame_ = false;
  if (frameStart_ == end_) frameStart_ = end_ = 0;
  shrinkIfLarge();
}

void zubJexFrameReader::shrinkIfLarge() {
  const size_t buffered = end_ - frameStart_;
  if (capacity_ <= keptCapacity_ || buffered > kInitialCapacity) return;
  std::unique_ptr<uint8_t[]> small(new uint8_t[kInitialCapacity]);
  if (buffered > 0) std::memcpy(small.get(), buffer_.get() + frameStart_, buffered);
  buffer_ = std::move(small);
  capacity_ = kInitialCapacity;
  frameStart_ = 0;
  end_ = buffered;
}

zubJexFrameReader::Result zubJexFrameReader::read(zubTcpChannel& socket, zubTcpDeadline startBy,
                                                  int restTimeoutMs) {
  Result result = awaitFrame(socket, startBy);
  if (result == kFrame) finishFrame(socket, restTimeoutMs);
  return result;
}

zubJexFrameReader::Result zubJexFrameReader::awaitFrame(zubTcpChannel& socket,
                                                        zubTcpDeadline startBy) {
  releaseFrame();
  if (frameStart_ != end_) return kFrame;
  size_t n = socket.tryReceive(buffer_.get(), capacity_, startBy);
  if (n == zubTcpChannel::kTimedOut) return kTimedOut;
  if (n == 0) return kClosed;
  end_ = n;
  return kFrame;
}

void zubJexFrameReader::finishFrame(zubTcpChannel& socket, int restTimeoutMs) {
  finishFrame(socket, zubTcpDeadline::after(restTimeoutMs));
}

void zubJexFrameReader::finishFrame(zubTcpChannel& socket, zubTcpDeadline rest) {
  if (!receiveMore(socket, kZubJexFrameHeaderSize, rest)) {
    zubTcpRaise("connection closed by " + socket.peer() + " in the middle of a message");
  }
  uint32_t length = zubJexDecodeFrameLength(buffer_.get() + frameStart_);
  if (length > maxMessageSize_) {
    zubTcpRaise("frame of " + std::to_string(length) + " bytes from " + socket.peer() +
                " exceeds the limit of " + std::to_string(maxMessageSize_) + " bytes");
  }
  if (!receiveMore(socket, kZubJexFrameHeaderSize + length, rest)) {
    zubTcpRaise("connection closed by " + socket.peer() + " in the middle of a message");
  }
  frameSize_ = length;
  haveFrame_ = true;
}

bool zubJexFrameReader::receiveMore(zubTcpChannel& socket, size_t needed, zubTcpDeadline deadline) {
  while (end_ - frameStart_ < needed) {
    ensureRoom(needed);
    size_t n = socket.receiveSome(buffer_.get() + end_, capacity_ - end_, deadline);
    if (n == 0) return false;
    end_ += n;
  }
  return true;
}

// Makes room behind end_: first by moving the current frame to the front, then by
// growing geometrically, at most to what the frame still needs.
void zubJexFrameReader::ensureRoom(size_t needed) {
  if (end_ < capacity_) return;
  if (frameStart_ > 0) {
    std::memmove(buffer_.get(), buffer_.get() + frameStart_, end_ - frameStart_);
    end_ -= frameStart_;
    frameStart_ = 0;
    return;
  }
  size_t capacity = std::max(capacity_ + 1, std::min(capacity_ * 2, needed));
  std::unique_ptr<uint8_t[]> grown(new uint8_t[capacity]);
  std::memcpy(grown.get(), buffer_.get(), end_);
  buffer_ = std::move(grown);
  capacity_ = capacity;
}
