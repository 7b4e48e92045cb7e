// A listening TCP socket: the accepting side of a server.
#ifndef ZUBJEX_TRANSPORT_LISTENER_H_
#define ZUBJEX_TRANSPORT_LISTENER_H_

#include <string>

#include "transport/export.h"
#include "transport/socket.h"

// Owns the listening socket; closed when destroyed. Move-only. accept() is called by
// one thread at a time.
class ZUBJEX_TCP_EXPORT zubTcpListener {
 public:
  zubTcpListener() = default;
  zubTcpListener(zubTcpListener&& other) noexcept = default;
  zubTcpListener& operator=(zubTcpListener&& other) noexcept = default;
  zubTcpListener(const zubTcpListener&) = delete;
  zubTcpListener& operator=(const zubTcpListener&) = delete;

  // Listens on `host` (an address or a name; the first address that binds is used) and
  // `port` (0: a free port chosen by the system). Raises
  // "cannot listen on <host>:<port>: <reason>".
  static zubTcpListener listen(const std::string& host, int port);

  bool isOpen() const { return fd_.isOpen(); }
  // The port actually bound.
  int port() const { return port_; }
  // The address family bound (AF_INET or AF_INET6).
  int family() const { return family_; }
  // Gives up the listening descriptor without closing it, for an event loop that accepts
  // on it; the caller owns it from then on and this listener is closed.
  int release() { return fd_.release(); }
  // "host:port" of the bound address, for clients to connect to.
  const std::string& address() const { return address_; }
  void close();

  // Waits for the next connection until `deadline` or until `wakeFd` (if not negative)
  // becomes readable. Returns the connection, named by the client's address, or a
  // socket that is not open when woken, timed out, or the attempt was abandoned by the
  // client. Raises on failures of the listening socket itself ("cannot accept on ...").
  zubTcpSocket accept(zubTcpDeadline deadline, int wakeFd);

 private:
  zubTcpFileDescriptor fd_;
  int port_ = 0;
  int family_ = 0;
  std::string address_;
};

#endif  // ZUBJEX_TRANSPORT_LISTENER_H_
