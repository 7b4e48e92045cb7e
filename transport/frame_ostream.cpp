#include "transport/frame_ostream.h"

#include <algorithm>
#include <string>

#include "transport/frame.h"
#include "transport/socket.h"

static_assert(kZubJexFrameHeaderSize == 4, "the header is reserved in front of the message");

zubJexFrameOStream::zubJexFrameOStream(uint32_t maxMessageSize) : maxMessageSize_(maxMessageSize) {
  Reserve(std::min(kInitialCapacity, kHeaderSize + maxMessageSize));
  begin();
}

void zubJexFrameOStream::Grow(size_t more) {
  size_t limit = kHeaderSize + maxMessageSize_;
  if (more > limit - size()) {
    zubTcpRaise("message exceeds the frame limit of " + std::to_string(maxMessageSize_) + " bytes");
  }
  Reserve(std::min(limit, std::max(size() + more, capacity() * 2)));
}

const uint8_t* zubJexFrameOStream::frame() {
  zubJexEncodeFrameLength(static_cast<uint32_t>(messageSize()), MutableData());
  return data();
}
