#include "transport/detail/tls_session.h"

#include <arpa/inet.h>
#include <openssl/err.h>
#include <openssl/x509v3.h>
#include <poll.h>
#include <sys/socket.h>

#include <cerrno>
#include <chrono>
#include <climits>
#include <cstring>

namespace {

bool IsIpAddress(const std::string& host) {
  unsigned char bytes[16];
  return inet_pton(AF_INET, host.c_str(), bytes) == 1 ||
         inet_pton(AF_INET6, host.c_str(), bytes) == 1;
}

}  // namespace

// OpenSSL's I/O on the session's socket. A read waits in the kernel when the socket's
// receive rule allows it for the deadline of the operation under way, so that a record
// usually costs one system call; writes never block.
struct zubTlsSession::Io {
  static int write(BIO* bio, const char* data, int size) {
    auto* session = static_cast<zubTlsSession*>(BIO_get_data(bio));
    BIO_clear_retry_flags(bio);
    ssize_t n =
        ::send(session->socket_.fd(), data, static_cast<size_t>(size), MSG_NOSIGNAL | MSG_DONTWAIT);
    if (n < 0 && (errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR)) {
      BIO_set_retry_write(bio);
    }
    return static_cast<int>(n);
  }
  static int read(BIO* bio, char* data, int size) {
    auto* session = static_cast<zubTlsSession*>(BIO_get_data(bio));
    BIO_clear_retry_flags(bio);
    long n = session->socket_.receiveOnce(data, static_cast<size_t>(size), session->until_);
    if (n < 0 && (errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR)) {
      BIO_set_retry_read(bio);
    }
    return static_cast<int>(n);
  }
  static long control(BIO*, int command, long, void*) { return command == BIO_CTRL_FLUSH ? 1 : 0; }
  static int create(BIO* bio) {
    BIO_set_init(bio, 1);
    return 1;
  }
  static BIO_METHOD* method() {
    static BIO_METHOD* const kMethod = [] {
      BIO_METHOD* m = BIO_meth_new(BIO_get_new_index() | BIO_TYPE_SOURCE_SINK, "zubjex socket");
      if (m != nullptr) {
        BIO_meth_set_write(m, &Io::write);
        BIO_meth_set_read(m, &Io::read);
        BIO_meth_set_ctrl(m, &Io::control);
        BIO_meth_set_create(m, &Io::create);
      }
      return m;
    }();
    return kMethod;
  }
};

zubTlsSession::zubTlsSession(zubTlsContext& context, zubTcpSocket& socket, const std::string& host,
                             zubTcpDeadline deadline)
    : socket_(socket), ssl_(nullptr), until_(deadline) {
  SSL_CTX* ctx = context.get();
  ERR_clear_error();
  ssl_ = SSL_new(ctx);
  BIO* bio = ssl_ != nullptr && Io::method() != nullptr ? BIO_new(Io::method()) : nullptr;
  if (bio == nullptr) {
    SSL_free(ssl_);
    zubTcpRaise("TLS handshake with " + socket.peer() +
                " failed: " + zubTlsErrorReason("out of memory"));
  }
  BIO_set_data(bio, this);
  SSL_set_bio(ssl_, bio, bio);
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
  until_ = deadline;
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
  until_ = deadline;
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
  until_ = deadline;
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
  until_ = zubTcpDeadline::at(std::chrono::steady_clock::now());  // passed: never blocks
  ERR_clear_error();
  int n = SSL_peek(ssl_, &byte, 1);
  if (n > 0) return true;
  int error = SSL_get_error(ssl_, n);
  ERR_clear_error();
  return error != SSL_ERROR_WANT_READ && error != SSL_ERROR_WANT_WRITE;
}
