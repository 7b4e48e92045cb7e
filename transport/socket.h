// A TCP connection over POSIX sockets: connecting with a time limit, and sending and
// receiving with waits that end at a deadline. Every failure is raised as a
// zubXException (through xthrow) whose text names the peer, for instance
// "cannot connect to 127.0.0.1:9: Connection refused".
#ifndef ZUBJEX_TRANSPORT_SOCKET_H_
#define ZUBJEX_TRANSPORT_SOCKET_H_

#include <chrono>
#include <cstddef>
#include <string>

#include "transport/export.h"
#include "transport/file_descriptor.h"

struct iovec;

// The moment at which a wait gives up. Copyable value.
class ZUBJEX_TCP_EXPORT zubTcpDeadline {
 public:
  // `timeoutMs` from now; zero or less means never.
  static zubTcpDeadline after(int timeoutMs);
  static zubTcpDeadline never() { return zubTcpDeadline(); }

  // The time left as a poll timeout: -1 for never, 0 once passed.
  int remainingMs() const;

 private:
  zubTcpDeadline() = default;
  bool finite_ = false;
  std::chrono::steady_clock::time_point at_;
};

// One connected, non-blocking TCP socket with TCP_NODELAY, owned: it is closed when
// the object is destroyed. Move-only. Used by one thread at a time, except that
// close() from another thread is not allowed either.
class ZUBJEX_TCP_EXPORT zubTcpSocket {
 public:
  enum WaitResult { kReadable, kWoken, kTimedOut };

  zubTcpSocket() = default;
  // Takes over `fd`, a connected stream socket; `peer` names the other end in texts.
  zubTcpSocket(int fd, std::string peer);
  zubTcpSocket(zubTcpSocket&& other) noexcept = default;
  zubTcpSocket& operator=(zubTcpSocket&& other) noexcept = default;
  zubTcpSocket(const zubTcpSocket&) = delete;
  zubTcpSocket& operator=(const zubTcpSocket&) = delete;

  // Connects to `address` ("host:port", "[v6-address]:port"; host names are resolved,
  // without a time limit of their own), trying each resolved address in turn within
  // `connectTimeoutMs` (zero or less: the system's own limit). Raises
  // "invalid server address <address>", "cannot resolve <address>: <reason>" or
  // "cannot connect to <address>: <reason>".
  static zubTcpSocket connect(const std::string& address, int connectTimeoutMs);

  bool isOpen() const { return fd_.isOpen(); }
  int fd() const { return fd_.get(); }
  const std::string& peer() const { return peer_; }
  void close();

  // Sends all `size` bytes, waiting for room until `deadline`. Raises
  // "timed out sending to <peer>" or "cannot send to <peer>: <reason>"; what was sent
  // before the failure is gone, so the connection is then unusable.
  void sendAll(const void* data, size_t size, zubTcpDeadline deadline);
  // As above for two pieces sent back to back in one system call when the peer has
  // room for both (a frame header and its message, for instance).
  void sendAll(const void* first, size_t firstSize, const void* second, size_t secondSize,
               zubTcpDeadline deadline);

  // Receives the bytes that have arrived, at least one and at most `size` (> 0),
  // waiting until `deadline`. Returns 0 when the peer has closed the connection.
  // Raises "timed out waiting for <peer>" or "cannot receive from <peer>: <reason>".
  size_t receiveSome(void* data, size_t size, zubTcpDeadline deadline);

  // Waits until bytes (or the end of the stream) can be received, `wakeFd` (when not
  // negative) becomes readable, or the deadline passes; the wake-up wins when both
  // happen. Raises on a failed poll.
  WaitResult waitReadable(zubTcpDeadline deadline, int wakeFd) const;

  // True when the connection cannot carry a new exchange: the peer closed or reset it,
  // or sent bytes that nobody asked for. Never blocks.
  bool isStale() const;

 private:
  void sendParts(iovec* parts, int count, zubTcpDeadline deadline);

  zubTcpFileDescriptor fd_;
  std::string peer_;
};

// Raises a zubXException with `text`. Never returns.
[[noreturn]] ZUBJEX_TCP_EXPORT void zubTcpRaise(const std::string& text);
// `prefix`, ": " and the system's text for the error number.
ZUBJEX_TCP_EXPORT std::string zubTcpErrorText(const std::string& prefix, int error);

#endif  // ZUBJEX_TRANSPORT_SOCKET_H_
