// The client's transport over TCP: one connection per transport, requests and responses
// in frames (transport/frame.h).
//
//   zubJexTcpOptions options;
//   options.ioTimeoutMs = 2000;
//   zubJexTcpTransportFactory factory(options);   // outlives every client using it
//   zubJexConfig config;
//   config.setJexTransportFactory(&factory);
//   zubJexClient::setServerConfig("127.0.0.1:7070", config);
#ifndef ZUBJEX_TRANSPORT_TCP_TRANSPORT_H_
#define ZUBJEX_TRANSPORT_TCP_TRANSPORT_H_

#include <string>

#include "client/transport.h"
#include "transport/export.h"
#include "transport/frame_ostream.h"
#include "transport/frame_reader.h"
#include "transport/socket.h"
#include "transport/tcp_options.h"

// A transport to the server named at open ("host:port", "[v6-address]:port").
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
// Failures are raised as zubXExceptions naming the server, for instance
// "cannot connect to 127.0.0.1:9: Connection refused", "timed out waiting for
// 127.0.0.1:7070", "connection closed by 127.0.0.1:7070". Used by one thread at a time,
// like the client that owns it.
class ZUBJEX_TCP_EXPORT zubJexTcpTransport : public zubJexTransport {
 public:
  explicit zubJexTcpTransport(const zubJexTcpOptions& options);

  // Stores the server name; connects nothing yet.
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

 private:
  void dropConnection();
  void connectIfNeeded();
  void sendRequest();

  zubJexTcpOptions options_;
  std::string server_;
  zubTcpSocket socket_;
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
  zubJexTransport* createTransport() override;
  const zubJexTcpOptions& options() const { return options_; }

 private:
  const zubJexTcpOptions options_;
};

#endif  // ZUBJEX_TRANSPORT_TCP_TRANSPORT_H_
