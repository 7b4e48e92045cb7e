// A JEX server over TCP: accepts connections, reads framed requests (transport/frame.h),
// runs them through a dispatcher and sends the framed responses.
//
//   zubJexDispatcher dispatcher;            // interfaces and root objects registered
//   zubJexTcpServer server(dispatcher);     // 127.0.0.1, a free port
//   server.start();
//   ... clients call server.address() ...
//   server.stop();                          // or let the destructor stop it
//
// Connections are served by a small pool of worker threads that wait for every
// connection at once and also run the calls: a connection that waits for its next
// request costs a descriptor and about a kilobyte, never a thread.
//
// The same server speaks TLS (options.tls) and, instead of bare frames, HTTP
// (options.http: each call is the body of a POST, the response the body of the answer).
// One server speaks one of the two protocols; a host that offers both runs two servers
// on the same dispatcher. Handlers learn who calls from zubJexCurrentCaller()
// (server/caller.h).
#ifndef ZUBJEX_SERVER_TCP_SERVER_H_
#define ZUBJEX_SERVER_TCP_SERVER_H_

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "server/dispatcher.h"
#include "server/export.h"

// TLS on the server's connections: TLS 1.2 or newer only, the frames (or HTTP) inside.
struct zubJexServerTlsOptions {
  // Speak TLS; when false the rest is ignored.
  bool enabled = false;
  // The server's certificate chain (PEM: the server's certificate first, then the
  // intermediate ones) and its private key (PEM, unencrypted), read by start.
  std::string certificateChainFile;
  std::string privateKeyFile;
  // When set, clients must present a certificate that this CA file (PEM) verifies, or
  // their handshake fails; its subject is then zubJexCurrentCaller().certificateSubject.
  // Empty: no client certificate is asked for.
  std::string clientCaFile;
  // Time for a new connection to complete its handshake. Stops clients that connect and
  // stall in the handshake (the slow sender again) from holding slots; the first-request
  // time-out begins only once the handshake is done.
  int handshakeTimeoutMs = 10000;
};

// What an HTTP authorization check decides about a request.
struct zubJexHttpAuthDecision {
  // 0: the call runs. 401 or 403: the request is answered with that status instead.
  int status = 0;
  // For 401: the WWW-Authenticate header, for instance Basic realm="jex".
  std::string challenge;
};

// HTTP instead of bare frames: each call message is the body of a POST to `path`
// (content type application/x-jex), answered with 200 and the response message, or 204
// for a one-way call. Other methods get 405, other paths 404, bodies above maxFrameSize
// 413. Connections are kept alive between requests unless the client says otherwise;
// the time limits and the connection limit of the server apply as for frames (the whole
// request, header and body, within frameTimeoutMs; keep-alive waits within the idle and
// first-request time-outs).
struct zubJexServerHttpOptions {
  // Speak HTTP (HTTPS with tls.enabled); when false the rest is ignored.
  bool enabled = false;
  // The path that calls are posted to.
  std::string path = "/jex";
  // The largest request header (request line and fields), in bytes: stops a client from
  // making the server hold an endless header. A larger one is answered with 400.
  uint32_t maxHeaderSize = 8 * 1024;
  // Checks the Authorization header of each request ("" when it has none) before its
  // call runs; null lets every request through. Runs on the worker threads, for several
  // connections at once.
  std::function<zubJexHttpAuthDecision(const std::string& authorization)> authorize;
};

// The limits of a server, in one place. A time limit of zero or less means no limit.
struct zubJexTcpServerOptions {
  // The address to listen on. Loopback by default, so that a server reachable from
  // other hosts is always asked for explicitly.
  std::string host = "127.0.0.1";
  // The port; 0 lets the system choose a free one (see zubJexTcpServer::port()).
  int port = 0;
  // The worker threads; zero or less: one per processor (at least one). They also run
  // the calls, so this is the number of calls that run at once: a handler that blocks
  // holds a worker until it returns.
  int threads = 0;
  // Connections served at once: bounds the descriptors and memory that clients can make
  // the server hold. When every slot is taken, the connection that has waited longest
  // for its next request is closed to make room, so that connections opened and left
  // idle cannot lock well-behaved clients out; only when every connection is busy with
  // a request is the new one closed at once.
  int maxConnections = 10000;
  // The largest request accepted, in bytes. The length of a frame comes from the client
  // and is not trusted: without a cap one connection could make the server hold 4 GiB.
  // A larger frame closes the connection. The buffer of a frame grows with the bytes
  // that arrive, never ahead of them on the word of the length field.
  uint32_t maxFrameSize = 16u * 1024 * 1024;
  // The largest request or response buffer that a connection keeps for its next call;
  // a larger one is given back after its exchange, so that connections which once sent
  // a large request cannot each keep a buffer of up to maxFrameSize while they idle.
  // A connection keeps at most one request buffer of this size and one response buffer
  // that held at most this much, so the worst case is maxConnections times about twice
  // to three times this size.
  uint32_t keptBufferSize = 64u * 1024;
  // Time for a new connection to begin its first request. Stops connections opened
  // and left silent from holding slots (and descriptors) for the whole idle time-out.
  int firstRequestTimeoutMs = 10000;
  // Time for the whole of a request to arrive once its first byte has (slow sender):
  // stops a client that trickles a frame, or announces one and stalls, from holding a
  // busy slot and its partial buffer for ever.
  int frameTimeoutMs = 30000;
  // How long a kept connection may wait for its next request before the server closes
  // it: stops clients that connected once and went away without closing from holding
  // slots for ever. Long, since clients keep connections for their next call.
  int idleTimeoutMs = 300000;
  // Time for a client to take a response: stops a client that sends requests but never
  // reads the answers from holding the response buffer and a busy slot for ever.
  int writeTimeoutMs = 30000;
  // TLS on every connection (off by default).
  zubJexServerTlsOptions tls;
  // HTTP instead of bare frames (off by default).
  zubJexServerHttpOptions http;
};

// The server. The dispatcher is borrowed and must outlive the server. start and stop
// are called by the owner's thread; the rest may be called from any thread.
//
// A request that breaks the framing (a frame above the limit, a connection lost or
// stalled in the middle of a frame) closes its connection; a malformed message inside
// a well-formed frame is answered with a fault and the connection stays.
class ZUBJEX_SERVER_EXPORT zubJexTcpServer {
 public:
  explicit zubJexTcpServer(zubJexDispatcher& dispatcher,
                           const zubJexTcpServerOptions& options = zubJexTcpServerOptions());
  // Stops the server.
  ~zubJexTcpServer();
  zubJexTcpServer(const zubJexTcpServer&) = delete;
  zubJexTcpServer& operator=(const zubJexTcpServer&) = delete;

  // Listens and starts accepting. Raises a zubXException
  // "cannot listen on <host>:<port>: <reason>", or "cannot set up TLS: <reason>" when a
  // TLS file cannot be read or used; a second start does nothing.
  void start();
  // Stops accepting (new clients are refused from the moment it is called), closes the
  // connections that wait for a request, lets the requests in flight finish and send
  // their responses, and returns when every thread of the server has ended. Does
  // nothing when the server is not running. Never call it from a method handler: it
  // would wait for its own thread.
  void stop();

  // The port bound by start (0 before).
  int port() const { return port_; }
  // "host:port" for clients, for instance "127.0.0.1:40123" (empty before start).
  const std::string& address() const { return address_; }
  // The connections served at this moment.
  int connectionCount() const;

 private:
  class Impl;

  std::unique_ptr<Impl> impl_;  // never null
  int port_ = 0;
  std::string address_;
};

#endif  // ZUBJEX_SERVER_TCP_SERVER_H_
