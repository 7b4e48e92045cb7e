// A JEX server over TCP: accepts connections, reads framed requests (transport/frame.h),
// runs them through a dispatcher and sends the framed responses.
//
//   zubJexDispatcher dispatcher;            // interfaces and root objects registered
//   zubJexTcpServer server(dispatcher);     // 127.0.0.1, a free port
//   server.start();
//   ... clients call server.address() ...
//   server.stop();                          // or let the destructor stop it
#ifndef ZUBJEX_SERVER_TCP_SERVER_H_
#define ZUBJEX_SERVER_TCP_SERVER_H_

#include <atomic>
#include <cstdint>
#include <list>
#include <mutex>
#include <string>
#include <thread>

#include "server/dispatcher.h"
#include "server/export.h"
#include "server/wakeup.h"
#include "transport/listener.h"

// The limits of a server, in one place.
struct zubJexTcpServerOptions {
  // The address to listen on. Loopback by default, so that a server reachable from
  // other hosts is always asked for explicitly.
  std::string host = "127.0.0.1";
  // The port; 0 lets the system choose a free one (see zubJexTcpServer::port()).
  int port = 0;
  // Connections served at once, one thread each: bounds the threads and buffers that
  // clients can make the server hold. A connection beyond it is closed at once.
  int maxConnections = 64;
  // The largest request accepted, in bytes. The length of a frame comes from the client
  // and is not trusted: without a cap one connection could make the server hold 4 GiB.
  // A larger frame closes the connection.
  uint32_t maxFrameSize = 16u * 1024 * 1024;
  // Once a request has begun, the time within which the rest must arrive; also the time
  // a client has to take a response. A client that stalls in the middle of a message
  // would otherwise hold its thread for ever. Zero or less: no limit.
  int ioTimeoutMs = 30000;
  // How long a connection may wait for its next request before the server closes it:
  // an idle connection holds a thread. Zero or less: no limit.
  int idleTimeoutMs = 300000;
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
  // "cannot listen on <host>:<port>: <reason>"; a second start does nothing.
  void start();
  // Stops accepting, closes idle connections, lets the calls in flight finish and send
  // their responses, and returns when every thread of the server has ended. Does
  // nothing when the server is not running. Never call it from a method handler: it
  // would wait for its own thread.
  void stop();

  // The port bound by start (0 before).
  int port() const { return port_; }
  // "host:port" for clients, for instance "127.0.0.1:40123" (empty before start).
  const std::string& address() const { return address_; }
  // The connections served at this moment.
  int connectionCount() const { return connectionCount_.load(); }

 private:
  // Where a connection's thread is, for stop: waiting for a request to begin (the only
  // place where stop interrupts it), busy with one, or done with the socket closed.
  enum ConnectionState { kWaiting, kBusy, kInterrupted, kDone };

  struct Connection {
    std::thread thread;
    std::atomic<bool> finished{false};
    std::atomic<int> state{kBusy};
    zubTcpSocket* socket = nullptr;  // the thread's own; valid until kDone
  };

  void acceptLoop();
  void serve(zubTcpSocket socket, Connection* connection);
  void serveRequests(zubTcpSocket& socket, Connection& connection);
  // Ends the wait of every connection that waits for a request; the others see
  // stopping_ before their next wait. Called with connectionsMutex_ held.
  void interruptWaitingConnections();
  // Joins and forgets the connections whose threads have ended.
  void reapFinished();

  zubJexDispatcher& dispatcher_;
  const zubJexTcpServerOptions options_;
  zubTcpListener listener_;
  zubJexWakeup stopSignal_;  // wakes the accepting thread
  std::atomic<bool> stopping_{false};
  std::thread acceptThread_;
  std::atomic<int> connectionCount_{0};
  int port_ = 0;
  std::string address_;
  bool running_ = false;
  // Guards connections_, and closing a connection's socket against stop's interrupt.
  std::mutex connectionsMutex_;
  std::list<Connection> connections_;
};

#endif  // ZUBJEX_SERVER_TCP_SERVER_H_
