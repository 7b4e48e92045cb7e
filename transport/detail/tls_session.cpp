#include "transport/detail/tls_session.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <openssl/err.h>
#include <openssl/x509v3.h>
#include <poll.h>

#include <cerrno>
#include <climits>
#include <cstring>

namespace {

bool IsIpAddress(const std::string& host) {
  unsigned char bytes[16];
  return inet_pton(AF_INET, host.c_str(), bytes) == 1 ||
         inet_pton(AF_INET6, host.c_str(), bytes) == 1;
}

void SetNonBlocking(int fd) {
  int flags = ::fcntl(fd, F_GETFL);
  if (flags >= 0) ::fcntl(fd, F_SETFL, flags | O_NONBLOCK);
}

}  // namespace

zubTlsSession::zubTlsSession(zubTlsContext& context, zubTcpSocket& socket, const std::string& host,
                             zubTcpDeadline deadline)
    : socket_(socket), ssl_(nullptr) {
  SSL_CTX* ctx = context.get();
  ERR_clear_error();
  ssl_ = SSL_new(ctx);
  if (ssl_ == nullptr || SSL_set_fd(ssl_, socket.fd()) != 1) {
    SSL_free(ssl_);
    zubTcpRaise("TLS handshake with " + socket.peer() +
                " failed: " + zubTlsErrorReason("out of memory"));
  }
  SetNonBlocking(socket.fd());
  try {
    checkHost(host);
    handshake(deadline);
  } catch (...) {
    SSL_free(ssl_);
    throw;
  }
  context.countHandshake();
}

zubTlsSession::~zubTlsSession() { SSL_free(ssl_); }

void zubTlsSession::checkHost(const std::string& host) {
  if (!IsIpAddress(host)) SSL_set_tlsext_host_name(ssl_, host.c_str());
  if (SSL_get_verify_mode(ssl_) == SSL_VERIFY_NONE) return;
  X509_VERIFY_PARAM* param = SSL_get0_param(ssl_);
  int ok = IsIpAddress(host) ? X509_VERIFY_PARAM_set1_ip_asc(param, host.c_str())
                             : X509_VERIFY_PARAM_set1_host(param, host.c_str(), 0);
  if (ok != 1) zubTcpRaise("TLS handshake with " + peer() + " failed: bad host " + host);
}

void zubTlsSession::handshake(zubTcpDeadline deadline) {
  for (;;) {
    int result = SSL_connect(ssl_);
    if (result == 1) return;
    int error = SSL_get_error(ssl_, result);
    if (error != SSL_ERROR_WANT_READ && error != SSL_ERROR_WANT_WRITE) {
      zubTcpRaise("TLS handshake with " + peer() + " failed: " + reasonOf(error));
    }
    if (!await(error, deadline)) zubTcpRaise("timed out in the TLS handshake with " + peer());
  }
}

bool zubTlsSession::await(int error, zubTcpDeadline deadline) {
  pollfd p{socket_.fd(), static_cast<short>(error == SSL_ERROR_WANT_WRITE ? POLLOUT : POLLIN), 0};
  for (;;) {
    int n = ::poll(&p, 1, deadline.remainingMs());
    if (n > 0) return true;
    if (n == 0) return false;
    if (errno != EINTR) zubTcpRaise(zubTcpErrorText("cannot wait for " + peer(), errno));
  }
}

// The verification's own reason when the certificate was refused, else OpenSSL's.
std::string zubTlsSession::reasonOf(int error) {
  long verified = SSL_get_verify_result(ssl_);
  if (verified != X509_V_OK) {
    ERR_clear_error();
    return std::string("certificate verify failed: ") + X509_verify_cert_error_string(verified);
  }
  if (error == SSL_ERROR_SYSCALL && errno != 0) {
    ERR_clear_error();
    return std::strerror(errno);
  }
  if (error == SSL_ERROR_SYSCALL || error == SSL_ERROR_ZERO_RETURN) {
    return zubTlsErrorReason("connection closed");
  }
  return zubTlsErrorReason("unknown error");
}

void zubTlsSession::raiseFailure(int result, const char* doing) {
  int error = SSL_get_error(ssl_, result);
  std::string reason = reasonOf(error);
  if (!answered_) zubTcpRaise("TLS handshake with " + peer() + " failed: " + reason);
  zubTcpRaise(std::string(doing) + " " + peer() + ": " + reason);
}

void zubTlsSession::sendAll(const void* first, size_t firstSize, const void* second,
                            size_t secondSize, zubTcpDeadline deadline) {
  sendPart(first, firstSize, deadline);
  sendPart(second, secondSize, deadline);
}

void zubTlsSession::sendPart(const void* data, size_t size, zubTcpDeadline deadline) {
  const char* next = static_cast<const char*>(data);
  while (size > 0) {
    int chunk = size > INT_MAX ? INT_MAX : static_cast<int>(size);
    errno = 0;
    ERR_clear_error();
    int n = SSL_write(ssl_, next, chunk);  // without partial writes: all or nothing
    if (n > 0) {
      next += n;
      size -= static_cast<size_t>(n);
      continue;
    }
    int error = SSL_get_error(ssl_, n);
    if (error != SSL_ERROR_WANT_READ && error != SSL_ERROR_WANT_WRITE) {
      raiseFailure(n, "cannot send to");
    }
    if (!await(error, deadline)) zubTcpRaise("timed out sending to " + peer());
  }
}

size_t zubTlsSession::tryReceive(void* data, size_t size, zubTcpDeadline deadline) {
  int chunk = size > INT_MAX ? INT_MAX : static_cast<int>(size);
  // With nothing buffered the read would only find the socket empty: wait first.
  if (!SSL_has_pending(ssl_) && !await(SSL_ERROR_WANT_READ, deadline)) return kTimedOut;
  for (;;) {
    errno = 0;
    ERR_clear_error();
    int n = SSL_read(ssl_, data, chunk);
    if (n > 0) {
      answered_ = true;
      return static_cast<size_t>(n);
    }
    int error = SSL_get_error(ssl_, n);
    if (error == SSL_ERROR_ZERO_RETURN) return 0;
    if (error == SSL_ERROR_SYSCALL && errno == 0) return 0;
    if (error != SSL_ERROR_WANT_READ && error != SSL_ERROR_WANT_WRITE) {
      raiseFailure(n, "cannot receive from");
    }
    if (!await(error, deadline)) return kTimedOut;
  }
}

bool zubTlsSession::isStale() {
  char byte;
  ERR_clear_error();
  int n = SSL_peek(ssl_, &byte, 1);
  if (n > 0) return true;
  int error = SSL_get_error(ssl_, n);
  ERR_clear_error();
  return error != SSL_ERROR_WANT_READ && error != SSL_ERROR_WANT_WRITE;
}
