// The client's transport over TCP: one connection per transport, requests and responses
// in frames (transport/frame.h).
//
//   zubJexTcpOptions options;
//   options.ioTimeoutMs = 2000;
//   zubJexTcpTransportFactory factory(options);   // outlives every client using it
//   zubJexConfig config;
//   config.setJexTransportFactory(&factory);
//   zubJexClient::setServerConfig("127.0.0.1:7070", config);
//
// Over TLS, and with a second server to turn to:
//   options.tls.enabled = true;
//   options.tls.caFile = "/etc/calc/ca.pem";     // else the system's trust store
//   zubJexClient::setServerConfig("calc1.example:7070,calc2.example:7070", config);
#ifndef ZUBJEX_TRANSPORT_TCP_TRANSPORT_H_
#define ZUBJEX_TRANSPORT_TCP_TRANSPORT_H_

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "client/transport.h"
#include "transport/export.h"
#include "transport/frame_ostream.h"
#include "transport/frame_reader.h"
#include "transport/socket.h"
#include "transport/tcp_options.h"

class zubTlsContext;
class zubTlsSession;

// A transport to the server named at open ("host:port", "[v6-address]:port"), or to the
// first that answers of several such addresses separated by commas
// ("10.0.0.1:7070,10.0.0.2:7070"). Connecting tries them in their order each time a new
// connection is needed and moves to the next when one cannot be connected (nothing has
// been sent then); when none answers it raises "cannot connect to any of <name>: " and
// each address's failure. A TLS handshake that fails is raised at once: a server that
// shows the wrong certificate is not skipped silently.
//
// The connection is made at the first request and kept from exchange to exchange
// (close ends an exchange, not the connection). A connection that the server has
// closed or broken in the meantime is noticed before the next request and made anew;
// a send that fails on such a connection is repeated once on a new one, which is safe
// because the server cannot have received the whole request. An exchange that did not
// end cleanly (a send begun and not finished, a response begun and not wholly read)
// leaves bytes of its own on the connection, so close drops it and the next exchange
// connects again.
//
// Every wait (connecting, the TLS handshake, sending, the response's start and its rest,
// and the same again for a repeated send) ends at the earlier of its own time-out and the
// calling thread's call deadline (client/deadline.h). When the deadline ended it, the
// transport raises zubJexRaiseDeadlineExceeded with the server name; a call whose
// deadline has already passed fails so before anything is sent.
//
// Other failures are raised as zubXExceptions naming the server, for instance
// "cannot connect to 127.0.0.1:9: Connection refused", "timed out waiting for
// 127.0.0.1:7070", "connection closed by 127.0.0.1:7070", "TLS handshake with
// 127.0.0.1:7070 failed: certificate verify failed: certificate has expired". Used by
// one thread at a time, like the client that owns it.
class ZUBJEX_TCP_EXPORT zubJexTcpTransport : public zubJexTransport {
 public:
  explicit zubJexTcpTransport(const zubJexTcpOptions& options);
  // For the factory: TLS (when options.tls.enabled) from `tls`, which is shared with the
  // factory's other transports; null makes a context of the transport's own.
  zubJexTcpTransport(const zubJexTcpOptions& options, std::shared_ptr<zubTlsContext> tls);
  ~zubJexTcpTransport() override;

  // Stores the server name (one address or several); connects nothing yet.
  void open(xstring serverName) override;
  // A stream that collects the request; never null.
  btkOStream* startOutput() override;
  // Sends the request as one frame, connecting first when needed; returns 0 or raises.
  int finishOutput() override;
  // Waits for the whole response frame and returns a stream over it; raises when it
  // cannot be had. Null only when no request was sent.
  btkIStream* startInput() override;
  // Ends the exchange; keeps the connection only when the exchange ended cleanly, and
  // then gives back a receive buffer grown beyond options.keptReceiveBuffer.
  void close() override;
  void disconnect() override;
  // Does nothing: close has already dropped a connection that the failure spoilt, and
  // by now another thread may be using this transport.
  void reportException(xrchandle<zubXSerialization> error) override;

  // True while a connection is held; for tests and diagnostics.
  bool isConnected() const { return socket_.isOpen(); }
  // TLS handshakes that this transport made; for tests and diagnostics.
  int tlsHandshakes() const { return handshakes_; }

 private:
  class WaitBound;

  void dropConnection();
  void connectIfNeeded();
  // Connects the socket to the first address that answers; returns that address.
  std::string connectToFirstAnswering();
  void startTls(const std::string& address);
  bool isStale();
  void sendRequest();
  // The connection as bytes travel on it: the TLS session or the plain socket.
  zubTcpChannel& channel();
  // Raises the deadline's error when the call's deadline is what ended the wait of
  // `bound`; otherwise returns, and the caller raises its own error.
  void raiseIfDeadline(const WaitBound& bound) const;

  zubJexTcpOptions options_;
  std::string server_;
  std::vector<std::string> addresses_;  // of server_, in their order
  std::shared_ptr<zubTlsContext> tls_;  // null without TLS
  zubTcpSocket socket_;
  std::unique_ptr<zubTlsSession> session_;  // over socket_, while connected with TLS
  int handshakes_ = 0;
  bool reused_ = false;  // the connection has carried an exchange before
  // False from the moment bytes of an exchange go out or start to come in until the
  // request is wholly sent or the response frame wholly read.
  bool clean_ = true;
  zubJexFrameOStream request_;
  zubJexFrameReader reader_;
  zubJexMessageIStream response_;
};

// Makes zubJexTcpTransports with the options given at construction. Owned by the host,
// which keeps it alive while clients may make their first call; createTransport is
// safe from several threads at once.
class ZUBJEX_TCP_EXPORT zubJexTcpTransportFactory : public zubJexTransportFactory {
 public:
  explicit zubJexTcpTransportFactory(const zubJexTcpOptions& options = zubJexTcpOptions());
  ~zubJexTcpTransportFactory() override;
  zubJexTransport* createTransport() override;
  const zubJexTcpOptions& options() const { return options_; }
  // TLS handshakes made by all of its transports so far; for tests and diagnostics.
  uint64_t tlsHandshakes() const;

 private:
  const zubJexTcpOptions options_;
  const std::shared_ptr<zubTlsContext> tls_;  // null without TLS
};

#endif  // ZUBJEX_TRANSPORT_TCP_TRANSPORT_H_
