// The limits of a TCP connection between a client and a JEX server, in one place.
#ifndef ZUBJEX_TRANSPORT_TCP_OPTIONS_H_
#define ZUBJEX_TRANSPORT_TCP_OPTIONS_H_

#include <cstddef>
#include <cstdint>

// The default of zubJexTcpOptions::keptReceiveBuffer.
constexpr size_t kZubJexKeptReceiveBuffer = 64 * 1024;

struct zubJexTcpOptions {
  // The longest time that making a connection may take. Without it a host that drops
  // connection attempts silently would hold the calling thread for the system's own
  // retry period (minutes). Zero or less waits as long as the system does.
  int connectTimeoutMs = 5000;

  // The longest time that the transport waits for the server to take a whole request,
  // for its response to begin, and then for the rest of that response. It also bounds
  // the time that a server may take for one call. Without it a server that hangs, or a
  // connection that dies without a reset, would block the caller forever. Zero or less
  // waits forever.
  int ioTimeoutMs = 30000;

  // The largest frame body, in bytes, that is sent or accepted. The length of a frame
  // comes from the peer and is not trusted: without a cap a corrupt or hostile peer
  // could make the receiver hold up to 4 GiB per connection. A request above the limit
  // is refused before anything is sent.
  uint32_t maxFrameSize = 16u * 1024 * 1024;

  // The largest receive buffer that a connection keeps once a response has been read.
  // A buffer grown beyond it for one large response is given back when the exchange
  // ends, so that a connection that once received a 16 MiB response does not hold
  // 16 MiB while it is idle (and a server cannot make every idle connection of a
  // client pool hold that much).
  size_t keptReceiveBuffer = kZubJexKeptReceiveBuffer;
};

#endif  // ZUBJEX_TRANSPORT_TCP_OPTIONS_H_
