#include "transport/frame_ostream.h"

#include <algorithm>
#include <string>

#include "transport/frame.h"
#include "transport/socket.h"

static_assert(kZubJexFrameHeaderSize == 4, "the header is reserved in front of the message");

zubJexFrameOStream::zubJexFrameOStream(uint32_t maxMessageSize)
    : maxMessageSize_(maxMessageSize),
      capacity_(std::min(kInitialCapacity, kHeaderSize + maxMessageSize)) {
  // The capacity never exceeds header and limit, so that Write reaches Grow, which
  // checks the limit, before the message can pass it.
  buffer_.reset(new uint8_t[capacity_]);
}

void zubJexFrameOStream::Grow(size_t more) {
  size_t limit = kHeaderSize + maxMessageSize_;
  if (more > limit - size_) {
    zubTcpRaise("message exceeds the frame limit of " + std::to_string(maxMessageSize_) + " bytes");
  }
  size_t capacity = std::min(limit, std::max(size_ + more, capacity_ * 2));
  std::unique_ptr<uint8_t[]> grown(new uint8_t[capacity]);
  std::memcpy(grown.get(), buffer_.get(), size_);
  buffer_ = std::move(grown);
  capacity_ = capacity;
}

const uint8_t* zubJexFrameOStream::frame() {
  zubJexEncodeFrameLength(static_cast<uint32_t>(messageSize()), buffer_.get());
  return buffer_.get();
}
