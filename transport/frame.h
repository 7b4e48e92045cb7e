// Frames on a TCP connection. Every message travels as
//
//   length   4 bytes, little-endian, unsigned: the number of message bytes that follow
//   message  exactly `length` bytes
//
// with nothing between frames. A frame whose length is above the receiver's limit is
// refused and the connection closed; a frame never carries more than one message.
#ifndef ZUBJEX_TRANSPORT_FRAME_H_
#define ZUBJEX_TRANSPORT_FRAME_H_

#include <cstddef>
#include <cstdint>

constexpr size_t kZubJexFrameHeaderSize = 4;

inline uint32_t zubJexDecodeFrameLength(const uint8_t* header) {
  return static_cast<uint32_t>(header[0]) | static_cast<uint32_t>(header[1]) << 8 |
         static_cast<uint32_t>(header[2]) << 16 | static_cast<uint32_t>(header[3]) << 24;
}

inline void zubJexEncodeFrameLength(uint32_t length, uint8_t* header) {
  header[0] = static_cast<uint8_t>(length);
  header[1] = static_cast<uint8_t>(length >> 8);
  header[2] = static_cast<uint8_t>(length >> 16);
  header[3] = static_cast<uint8_t>(length >> 24);
}

#endif  // ZUBJEX_TRANSPORT_FRAME_H_
