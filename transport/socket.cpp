#include "transport/socket.h"

#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include "platform/exceptions.h"
#include "transport/address.h"

namespace {

// poll that retries when a signal interrupts it, with the time left recomputed.
int PollUntil(pollfd* fds, nfds_t count, const zubTcpDeadline& deadline) {
  for (;;) {
    int n = ::poll(fds, count, deadline.remainingMs());
    if (n >= 0 || errno != EINTR) return n;
  }
}

void SetNoDelay(int fd) {
  int one = 1;
  ::setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &one, sizeof(one));
}

void SetBlocking(int fd) {
  int flags = ::fcntl(fd, F_GETFL);
  if (flags >= 0 && (flags & O_NONBLOCK) != 0) ::fcntl(fd, F_SETFL, flags & ~O_NONBLOCK);
}

// Connects one non-blocking socket to `ai`; returns the socket, or -1 with `error` set.
int ConnectOne(const addrinfo* ai, const zubTcpDeadline& deadline, int& error) {
  int fd = ::socket(ai->ai_family, ai->ai_socktype | SOCK_NONBLOCK | SOCK_CLOEXEC, ai->ai_protocol);
  if (fd < 0) {
    error = errno;
    return -1;
  }
  if (::connect(fd, ai->ai_addr, ai->ai_addrlen) != 0) {
    if (errno != EINPROGRESS) {
      error = errno;
      ::close(fd);
      return -1;
    }
    pollfd p{fd, POLLOUT, 0};
    int n = PollUntil(&p, 1, deadline);
    socklen_t len = sizeof(error);
    if (n == 0) {
      error = ETIMEDOUT;
    } else if (n < 0) {
      error = errno;
    } else if (::getsockopt(fd, SOL_SOCKET, SO_ERROR, &error, &len) != 0) {
      error = errno;
    }
    if (error != 0) {
      ::close(fd);
      return -1;
    }
  }
  SetBlocking(fd);
  SetNoDelay(fd);
  return fd;
}

}  // namespace

void zubTcpRaise(const std::string& text) { xthrowException(xstring(text.c_str(), text.size())); }

std::string zubTcpErrorText(const std::string& prefix, int error) {
  return prefix + ": " + std::strerror(error);
}

zubTcpSocket::zubTcpSocket(int fd, std::string peer) : fd_(fd), peer_(std::move(peer)) {
  SetBlocking(fd);
  SetNoDelay(fd);
}

void zubTcpSocket::close() { fd_.reset(); }

zubTcpSocket zubTcpSocket::connect(const std::string& address, int connectTimeoutMs) {
  return connect(address, zubTcpDeadline::after(connectTimeoutMs));
}

zubTcpSocket zubTcpSocket::connect(const std::string& address, zubTcpDeadline deadline) {
  zubTcpAddress parsed;
  if (!zubTcpParseAddress(address, parsed)) zubTcpRaise("invalid server address " + address);
  addrinfo hints{};
  hints.ai_family = AF_UNSPEC;
  hints.ai_socktype = SOCK_STREAM;
  hints.ai_flags = AI_NUMERICSERV;
  addrinfo* list = nullptr;
  int rc = ::getaddrinfo(parsed.host.c_str(), parsed.port.c_str(), &hints, &list);
  if (rc != 0) {
    std::string reason = rc == EAI_SYSTEM ? std::strerror(errno) : ::gai_strerror(rc);
    zubTcpRaise("cannot resolve " + address + ": " + reason);
  }
  int error = ECONNREFUSED;
  int fd = -1;
  for (addrinfo* ai = list; ai != nullptr && fd < 0; ai = ai->ai_next) {
    fd = ConnectOne(ai, deadline, error);
  }
  ::freeaddrinfo(list);
  if (fd < 0) zubTcpRaise(zubTcpErrorText("cannot connect to " + address, error));
  zubTcpSocket s;
  s.fd_.reset(fd);
  s.peer_ = address;
  return s;
}

void zubTcpSocket::setReceiveTimeout(int timeoutMs) {
  timeval limit{};
  if (timeoutMs > 0) {
    limit.tv_sec = timeoutMs / 1000;
    limit.tv_usec = (timeoutMs % 1000) * 1000;
  }
  if (::setsockopt(fd_.get(), SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof(limit)) != 0) {
    zubTcpRaise(zubTcpErrorText("cannot set the receive timeout of " + peer_, errno));
  }
  receiveTimeoutMs_ = timeoutMs > 0 ? timeoutMs : 0;
}

void zubTcpSocket::sendAll(const void* first, size_t firstSize, const void* second,
                           size_t secondSize, zubTcpDeadline deadline) {
  iovec parts[2] = {{const_cast<void*>(first), firstSize}, {const_cast<void*>(second), secondSize}};
  sendParts(parts, 2, deadline);
}

void zubTcpSocket::sendParts(iovec* parts, int count, zubTcpDeadline deadline) {
  for (;;) {
    while (count > 0 && parts->iov_len == 0) {
      ++parts;
      --count;
    }
    if (count == 0) return;
    msghdr message{};
    message.msg_iov = parts;
    message.msg_iovlen = static_cast<size_t>(count);
    ssize_t n = ::sendmsg(fd_.get(), &message, MSG_NOSIGNAL | MSG_DONTWAIT);
    if (n >= 0) {
      for (size_t sent = static_cast<size_t>(n); sent > 0;) {
        size_t step = std::min(sent, parts->iov_len);
        parts->iov_base = static_cast<char*>(parts->iov_base) + step;
        parts->iov_len -= step;
        sent -= step;
        if (parts->iov_len == 0 && sent > 0) {
          ++parts;
          --count;
        }
      }
      continue;
    }
    if (errno == EINTR) continue;
    if (errno != EAGAIN && errno != EWOULDBLOCK) {
      zubTcpRaise(zubTcpErrorText("cannot send to " + peer_, errno));
    }
    pollfd pfd{fd_.get(), POLLOUT, 0};
    int ready = PollUntil(&pfd, 1, deadline);
    if (ready == 0) zubTcpRaise("timed out sending to " + peer_);
    if (ready < 0) zubTcpRaise(zubTcpErrorText("cannot send to " + peer_, errno));
  }
}

bool zubTcpSocket::mayBlockUntil(const zubTcpDeadline& deadline) const {
  int left = deadline.remainingMs();
  if (left < 0) return true;  // no deadline: a receive timeout only ends one turn early
  return receiveTimeoutMs_ > 0 && left >= receiveTimeoutMs_;
}

// Tries the receive first: a blocking one waits and receives in one system call; a
// non-blocking one finds bytes that have already arrived without a poll.
size_t zubTcpSocket::tryReceive(void* data, size_t size, zubTcpDeadline deadline) {
  for (;;) {
    bool block = mayBlockUntil(deadline);
    ssize_t n = ::recv(fd_.get(), data, size, block ? 0 : MSG_DONTWAIT);
    if (n >= 0) return static_cast<size_t>(n);
    if (errno == EINTR) continue;
    if (errno != EAGAIN && errno != EWOULDBLOCK) {
      zubTcpRaise(zubTcpErrorText("cannot receive from " + peer_, errno));
    }
    if (block) continue;  // the receive timeout ended; the deadline decides on the next turn
    pollfd p{fd_.get(), POLLIN, 0};
    int ready = PollUntil(&p, 1, deadline);
    if (ready < 0) zubTcpRaise(zubTcpErrorText("cannot wait for " + peer_, errno));
    if (ready == 0) return kTimedOut;
  }
}

long zubTcpSocket::receiveOnce(void* data, size_t size, const zubTcpDeadline& deadline) const {
  return ::recv(fd_.get(), data, size, mayBlockUntil(deadline) ? 0 : MSG_DONTWAIT);
}

void zubTcpSocket::shutdownReceiving() const { ::shutdown(fd_.get(), SHUT_RD); }

bool zubTcpSocket::isStale() const {
  char byte;
  ssize_t n = ::recv(fd_.get(), &byte, 1, MSG_PEEK | MSG_DONTWAIT);
  return n >= 0 || (errno != EAGAIN && errno != EWOULDBLOCK && errno != EINTR);
}
