// A connected byte stream as the frame reader and the client's transport use it: a plain
// TCP socket (zubTcpSocket) or a TLS session over one.
#ifndef ZUBJEX_TRANSPORT_CHANNEL_H_
#define ZUBJEX_TRANSPORT_CHANNEL_H_

#include <cstddef>
#include <string>

#include "transport/export.h"
#include "transport/tcp_deadline.h"

// Used by one thread at a time. Every failure is raised as a zubXException naming the
// peer.
class ZUBJEX_TCP_EXPORT zubTcpChannel {
 public:
  // The result of tryReceive when the deadline passed with nothing received.
  static constexpr size_t kTimedOut = static_cast<size_t>(-1);

  virtual ~zubTcpChannel() = default;

  // The other end, as texts name it ("host:port").
  virtual const std::string& peer() const = 0;

  // Sends all `size` bytes, waiting for room until `deadline`. Raises
  // "timed out sending to <peer>" or "cannot send to <peer>: <reason>"; what was sent
  // before the failure is gone, so the connection is then unusable.
  void sendAll(const void* data, size_t size, zubTcpDeadline deadline) {
    sendAll(data, size, nullptr, 0, deadline);
  }
  // As above for two pieces sent back to back (a frame header and its message).
  virtual void sendAll(const void* first, size_t firstSize, const void* second, size_t secondSize,
                       zubTcpDeadline deadline) = 0;

  // Receives the bytes that have arrived, at least one and at most `size` (> 0),
  // waiting until `deadline`. Returns their count, 0 when the peer has closed the
  // connection, or kTimedOut. Raises "cannot receive from <peer>: <reason>".
  virtual size_t tryReceive(void* data, size_t size, zubTcpDeadline deadline) = 0;
  // As tryReceive, but a passed deadline raises "timed out waiting for <peer>".
  size_t receiveSome(void* data, size_t size, zubTcpDeadline deadline);

 protected:
  zubTcpChannel() = default;
  zubTcpChannel(const zubTcpChannel&) = default;
  zubTcpChannel& operator=(const zubTcpChannel&) = default;
};

#endif  // ZUBJEX_TRANSPORT_CHANNEL_H_
