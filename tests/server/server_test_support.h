// Helpers of the server tests: a calculator served through the loopback transport or
// over TCP, under a server name that the pool's clients use.
#ifndef ZUBJEX_TESTS_SERVER_SERVER_TEST_SUPPORT_H_
#define ZUBJEX_TESTS_SERVER_SERVER_TEST_SUPPORT_H_

#include <stdexcept>

#include "examples/calc/calc_service.h"
#include "server/dispatcher.h"
#include "server/loopback_transport.h"
#include "server/tcp_server.h"
#include "transport/tcp_test_support.h"

namespace jex_test {

// A dispatcher serving a root calculator named "root", whose interface has two more
// methods for the tests: "failPlain" raises a zubXException "boom" (a type without a
// descriptor), "failStd" a standard exception "bad thing".
struct CalcDispatcher {
  CalcDispatcher() : root(new CalcService("root")) {
    calcRegisterTypes();
    calcServe(dispatcher, root);
    zubJexMethodTable methods = ICalcSkeleton::methodTable();
    methods.add("failPlain", [](xobject*, zubJexCall&) -> xany { xthrowException("boom"); });
    methods.add("failStd",
                [](xobject*, zubJexCall&) -> xany { throw std::runtime_error("bad thing"); });
    dispatcher.addInterface("ICalc", methods);
  }
  virtual ~CalcDispatcher() = default;

  zubJexDispatcher dispatcher;
  CalcService* root;  // kept alive by the dispatcher's object map
  std::string name;   // the server name of the pool's clients (subclasses)
};

// The calculator behind the loopback transport, under a server name of its own (the
// pool and the registry are process-wide).
struct LoopbackCalc : CalcDispatcher {
  LoopbackCalc() : factory(dispatcher) {
    name = uniqueServerName("loopback");
    zubJexConfig config;
    config.setJexTransportFactory(&factory);
    zubJexClient::setServerConfig(name.c_str(), config);
    zubJexClient::setServerProxyMap(name.c_str(), &map);
  }
  ~LoopbackCalc() override { zubJexClient::setServerConfig(name.c_str(), zubJexConfig()); }

  zubJexLoopbackTransportFactory factory;
  NoHostObjects map;
};

// The calculator behind a TCP server on 127.0.0.1 and a free port.
struct TcpCalc : CalcDispatcher {
  explicit TcpCalc(const zubJexTcpServerOptions& options = zubJexTcpServerOptions())
      : server(dispatcher, options) {
    server.start();
    name = useTcp(server.address());
  }

  zubJexTcpServer server;
};

inline zubJexClient* client(const std::string& server) {
  return zubJexClient::getInstance(server.c_str());
}

}  // namespace jex_test

#endif  // ZUBJEX_TESTS_SERVER_SERVER_TEST_SUPPORT_H_
