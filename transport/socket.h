// A TCP connection over POSIX sockets: connecting with a time limit, and sending and
// receiving with waits that end at a deadline. Every failure is raised as a
// zubXException (through xthrow) whose text names the peer, for instance
// "cannot connect to 127.0.0.1:9: Connection refused".
#ifndef ZUBJEX_TRANSPORT_SOCKET_H_
#define ZUBJEX_TRANSPORT_SOCKET_H_

#include <cstddef>
#include <string>

#include "transport/channel.h"
#include "transport/export.h"
#include "transport/file_descriptor.h"
#include "transport/tcp_deadline.h"

struct iovec;

// One connected TCP socket with TCP_NODELAY, owned: it is closed when the object is
// destroyed. Move-only. Used by one thread at a time, except shutdownReceiving, which
// another thread may call while this one waits; close() from another thread is not
// allowed.
//
// The socket stays in blocking mode so that a receive can wait for its bytes in the same
// system call that takes them; every wait is still bounded by its deadline: a receive
// blocks in the kernel only when the receive timeout (setReceiveTimeout) ends no later
// than the deadline, and otherwise waits in poll. Sends never block in the kernel.
class ZUBJEX_TCP_EXPORT zubTcpSocket final : public zubTcpChannel {
 public:
  zubTcpSocket() = default;
  // Takes over `fd`, a connected stream socket, and puts it in blocking mode; `peer`
  // names the other end in texts.
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
  // As above, every attempt ending at `deadline`.
  static zubTcpSocket connect(const std::string& address, zubTcpDeadline deadline);

  bool isOpen() const { return fd_.isOpen(); }
  int fd() const { return fd_.get(); }
  const std::string& peer() const override { return peer_; }
  void close();

  // The longest that one receive may block in the kernel (zero or less: no limit, the
  // default). Set it to the time limit that the caller's receives usually have (the
  // deadline of a fresh wait), so that such a wait costs a single system call. Raises
  // "cannot set the receive timeout of <peer>: <reason>".
  void setReceiveTimeout(int timeoutMs);

  // The channel's operations (transport/channel.h). Sends never block in the kernel.
  using zubTcpChannel::sendAll;
  void sendAll(const void* first, size_t firstSize, const void* second, size_t secondSize,
               zubTcpDeadline deadline) override;
  size_t tryReceive(void* data, size_t size, zubTcpDeadline deadline) override;
  // One receive without a poll: it blocks in the kernel as tryReceive's would (only when
  // the receive timeout ends by `deadline`) and otherwise takes what has arrived. The
  // byte count, 0 at the end of the stream, or -1 with errno set (EAGAIN or EWOULDBLOCK:
  // nothing came in time; EINTR: a signal came first). Never raises.
  long receiveOnce(void* data, size_t size, const zubTcpDeadline& deadline) const;

  // Ends every wait of a receive, now and later: it returns what has already arrived and
  // then 0 as if the peer had closed. Sending still works. Safe from another thread
  // while the socket is open.
  void shutdownReceiving() const;

  // True when the connection cannot carry a new exchange: the peer closed or reset it,
  // or sent bytes that nobody asked for. Never blocks.
  bool isStale() const;

 private:
  void sendParts(iovec* parts, int count, zubTcpDeadline deadline);
  // Whether a receive may block in the kernel without passing `deadline`.
  bool mayBlockUntil(const zubTcpDeadline& deadline) const;

  zubTcpFileDescriptor fd_;
  std::string peer_;
  int receiveTimeoutMs_ = 0;
};

// Raises a zubXException with `text`. Never returns.
[[noreturn]] ZUBJEX_TCP_EXPORT void zubTcpRaise(const std::string& text);
// `prefix`, ": " and the system's text for the error number.
ZUBJEX_TCP_EXPORT std::string zubTcpErrorText(const std::string& prefix, int error);

#endif  // ZUBJEX_TRANSPORT_SOCKET_H_
