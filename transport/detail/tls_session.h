// One TLS session over a connected socket of the client. Not installed: OpenSSL's types
// stay out of the library's headers.
#ifndef ZUBJEX_TRANSPORT_DETAIL_TLS_SESSION_H_
#define ZUBJEX_TRANSPORT_DETAIL_TLS_SESSION_H_

#include <openssl/ssl.h>

#include <string>

#include "transport/channel.h"
#include "transport/detail/tls_context.h"
#include "transport/socket.h"

// Borrows the socket, which must outlive the session and stay open while it is used, in
// blocking mode. Every wait is bounded by its deadline: a read of OpenSSL's blocks in the
// kernel only as the socket's receive timeout allows (zubTcpSocket::receiveOnce), and
// otherwise waits in poll. Used by one thread at a time.
//
// Errors raised while the server has not yet answered (until the first bytes of a
// response) are worded "TLS handshake with <peer> failed: <reason>": with TLS 1.3 the
// server judges the client's certificate only after the client's side of the handshake
// has ended, and its refusal arrives where the response would.
class zubTlsSession final : public zubTcpChannel {
 public:
  // Makes the handshake by `deadline`, checking the certificate against `host` (a name
  // or an IP address, as in the server name) when the context verifies servers. Raises
  // "TLS handshake with <peer> failed: <reason>" or "timed out in the TLS handshake with
  // <peer>".
  zubTlsSession(zubTlsContext& context, zubTcpSocket& socket, const std::string& host,
                zubTcpDeadline deadline);
  ~zubTlsSession() override;
  zubTlsSession(const zubTlsSession&) = delete;
  zubTlsSession& operator=(const zubTlsSession&) = delete;

  const std::string& peer() const override { return socket_.peer(); }
  using zubTcpChannel::sendAll;
  void sendAll(const void* first, size_t firstSize, const void* second, size_t secondSize,
               zubTcpDeadline deadline) override;
  size_t tryReceive(void* data, size_t size, zubTcpDeadline deadline) override;

  // True when the session cannot carry a new exchange: the peer closed it, broke it or
  // sent application bytes that nobody asked for. Reads records that are not data
  // (session tickets) on the way. Never blocks.
  bool isStale();

 private:
  void checkHost(const std::string& host);
  void handshake(zubTcpDeadline deadline);
  void sendPart(const void* data, size_t size, zubTcpDeadline deadline);
  // Waits for what OpenSSL asked for (`error`: SSL_ERROR_WANT_READ or _WANT_WRITE);
  // false when the deadline passed first.
  bool await(int error, zubTcpDeadline deadline);
  // Raises the failure of an OpenSSL call that returned `result`; `doing` words it once
  // the server has answered ("cannot send to", "cannot receive from").
  [[noreturn]] void raiseFailure(int result, const char* doing);
  std::string reasonOf(int error);

  struct Io;

  zubTcpSocket& socket_;
  SSL* ssl_;
  zubTcpDeadline until_;   // the deadline of the operation under way, for OpenSSL's reads
  bool answered_ = false;  // application bytes have come from the server
};

#endif  // ZUBJEX_TRANSPORT_DETAIL_TLS_SESSION_H_
