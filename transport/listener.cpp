#include "transport/listener.h"

#include <arpa/inet.h>
#include <netdb.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <utility>

#include "transport/address.h"

namespace {

// The numeric host and the port of a socket address.
std::string NameOf(const sockaddr_storage& address, int* port) {
  char host[INET6_ADDRSTRLEN] = "?";
  int p = 0;
  if (address.ss_family == AF_INET) {
    const auto* in = reinterpret_cast<const sockaddr_in*>(&address);
    ::inet_ntop(AF_INET, &in->sin_addr, host, sizeof(host));
    p = ntohs(in->sin_port);
  } else if (address.ss_family == AF_INET6) {
    const auto* in6 = reinterpret_cast<const sockaddr_in6*>(&address);
    ::inet_ntop(AF_INET6, &in6->sin6_addr, host, sizeof(host));
    p = ntohs(in6->sin6_port);
  }
  if (port != nullptr) *port = p;
  return zubTcpFormatAddress(host, p);
}

// Errors of accept that concern one connection attempt, not the listening socket.
bool IsTransientAcceptError(int error) {
  return error == ECONNABORTED || error == EINTR || error == EAGAIN || error == EWOULDBLOCK ||
         error == EPROTO || error == EPERM || error == EMFILE || error == ENFILE ||
         error == ENOBUFS || error == ENOMEM;
}

}  // namespace

void zubTcpListener::close() { fd_.reset(); }

zubTcpListener zubTcpListener::listen(const std::string& host, int port) {
  std::string name = zubTcpFormatAddress(host, port);
  addrinfo hints{};
  hints.ai_family = AF_UNSPEC;
  hints.ai_socktype = SOCK_STREAM;
  hints.ai_flags = AI_PASSIVE | AI_NUMERICSERV;
  addrinfo* list = nullptr;
  int rc = ::getaddrinfo(host.c_str(), std::to_string(port).c_str(), &hints, &list);
  if (rc != 0) zubTcpRaise("cannot listen on " + name + ": " + ::gai_strerror(rc));
  int error = EADDRNOTAVAIL;
  zubTcpListener listener;
  for (addrinfo* ai = list; ai != nullptr && !listener.isOpen(); ai = ai->ai_next) {
    int fd =
        ::socket(ai->ai_family, ai->ai_socktype | SOCK_NONBLOCK | SOCK_CLOEXEC, ai->ai_protocol);
    if (fd < 0) {
      error = errno;
      continue;
    }
    int one = 1;
    ::setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &one, sizeof(one));
    if (::bind(fd, ai->ai_addr, ai->ai_addrlen) != 0 || ::listen(fd, SOMAXCONN) != 0) {
      error = errno;
      ::close(fd);
      continue;
    }
    listener.fd_.reset(fd);
    listener.family_ = ai->ai_family;
  }
  ::freeaddrinfo(list);
  if (!listener.isOpen()) zubTcpRaise(zubTcpErrorText("cannot listen on " + name, error));
  sockaddr_storage bound{};
  socklen_t length = sizeof(bound);
  ::getsockname(listener.fd_.get(), reinterpret_cast<sockaddr*>(&bound), &length);
  listener.address_ = NameOf(bound, &listener.port_);
  return listener;
}

zubTcpSocket zubTcpListener::accept(zubTcpDeadline deadline, int wakeFd) {
  pollfd fds[2] = {{fd_.get(), POLLIN, 0}, {wakeFd, POLLIN, 0}};
  int n = ::poll(fds, wakeFd >= 0 ? 2 : 1, deadline.remainingMs());
  if (n < 0 && errno != EINTR) zubTcpRaise(zubTcpErrorText("cannot accept on " + address_, errno));
  if (n <= 0 || (wakeFd >= 0 && fds[1].revents != 0)) return zubTcpSocket();
  sockaddr_storage peer{};
  socklen_t length = sizeof(peer);
  int fd = ::accept4(fd_.get(), reinterpret_cast<sockaddr*>(&peer), &length, SOCK_CLOEXEC);
  if (fd < 0) {
    if (IsTransientAcceptError(errno)) return zubTcpSocket();
    zubTcpRaise(zubTcpErrorText("cannot accept on " + address_, errno));
  }
  return zubTcpSocket(fd, NameOf(peer, nullptr));
}
