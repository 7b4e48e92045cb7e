// An in-memory transport that hands each request straight to a dispatcher in the same
// process, on the calling thread: the server side of a test or a demo without sockets.
//
//   zubJexDispatcher dispatcher;                     // with interfaces and root objects
//   zubJexLoopbackTransportFactory factory(dispatcher);
//   zubJexConfig config;
//   config.setJexTransportFactory(&factory);
//   zubJexClient::setServerConfig("calc", config);
#ifndef ZUBJEX_SERVER_LOOPBACK_TRANSPORT_H_
#define ZUBJEX_SERVER_LOOPBACK_TRANSPORT_H_

#include "client/transport.h"
#include "platform/memory_streams.h"
#include "server/dispatcher.h"
#include "server/export.h"

// One client's connection to the dispatcher. finishOutput runs the call; startInput
// serves its response, or gives null when there is none (after a one-way call). The
// dispatcher is borrowed. Used by one thread at a time, like the client that owns it.
class ZUBJEX_SERVER_EXPORT zubJexLoopbackTransport : public zubJexTransport {
 public:
  explicit zubJexLoopbackTransport(zubJexDispatcher& dispatcher);

  void open(xstring serverName) override {}
  btkOStream* startOutput() override;
  int finishOutput() override;
  btkIStream* startInput() override;
  void close() override {}

 private:
  zubJexDispatcher& dispatcher_;
  btkMemOStream request_;
  btkMemOStream response_;
  btkMemIStream requestIn_{nullptr, 0};
  btkMemIStream responseIn_{nullptr, 0};
  bool answered_ = false;
};

// Makes loopback transports to one dispatcher, which must outlive every transport it
// made. createTransport is safe from several threads at once.
class ZUBJEX_SERVER_EXPORT zubJexLoopbackTransportFactory : public zubJexTransportFactory {
 public:
  explicit zubJexLoopbackTransportFactory(zubJexDispatcher& dispatcher) : dispatcher_(dispatcher) {}
  zubJexTransport* createTransport() override;

 private:
  zubJexDispatcher& dispatcher_;
};

#endif  // ZUBJEX_SERVER_LOOPBACK_TRANSPORT_H_
