// Helpers of the server tests: a calculator served through the loopback transport or
// over TCP, under a server name that the pool's clients use.
#ifndef ZUBJEX_TESTS_SERVER_SERVER_TEST_SUPPORT_H_
#define ZUBJEX_TESTS_SERVER_SERVER_TEST_SUPPORT_H_

#include <atomic>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>

#include "examples/calc/calc_service.h"
#include "server/dispatcher.h"
#include "server/loopback_transport.h"
#include "server/tcp_server.h"
#include "transport/tcp_test_support.h"

namespace server_test {

using namespace tcp_test;

// A dispatcher serving a root calculator named "root", whose interface has two more
// methods for the tests: "failPlain" raises a zubXException "boom" (a type without a
// descriptor), "failStd" a standard exception "bad thing".
struct CalcDispatcher {
  CalcDispatcher() : root(new CalcService("root")) {
    calcRegisterTypes();
    calcServe(dispatcher, root);
    zubJexMethodTable methods = calcServiceMethods();
    methods.add("failPlain", [](xobject*, zubJexCall&) -> xany { xthrowException("boom"); });
    methods.add("failStd",
                [](xobject*, zubJexCall&) -> xany { throw std::runtime_error("bad thing"); });
    dispatcher.addInterface("ICalc", methods);
  }
  zubJexDispatcher dispatcher;
  CalcService* root;  // kept alive by the dispatcher's object map
};

// The calculator behind the loopback transport, under a server name of its own (the
// pool and the registry are process-wide).
class LoopbackCalc : public CalcDispatcher {
 public:
  LoopbackCalc() : factory_(dispatcher) {
    static std::atomic<int> counter{0};
    name_ = "loopback-" + std::to_string(counter++);
    zubJexConfig config;
    config.setJexTransportFactory(&factory_);
    zubJexClient::setServerConfig(name_.c_str(), config);
    zubJexClient::setServerProxyMap(name_.c_str(), &map_);
  }
  ~LoopbackCalc() { zubJexClient::setServerConfig(name_.c_str(), zubJexConfig()); }
  const std::string& name() const { return name_; }

 private:
  zubJexLoopbackTransportFactory factory_;
  NoHostObjects map_;
  std::string name_;
};

// The calculator behind a TCP server on 127.0.0.1 and a free port.
class TcpCalc : public CalcDispatcher {
 public:
  explicit TcpCalc(const zubJexTcpServerOptions& options = zubJexTcpServerOptions())
      : server(dispatcher, options) {
    server.start();
    useTcp(server.address());
  }
  const std::string& name() const { return server.address(); }

  zubJexTcpServer server;
};

// The bytes of a call message named `name` with the named parameters.
inline std::string callBytes(const char* name, bool oneWay,
                             std::initializer_list<std::pair<const char*, xany>> params) {
  zubJexCall call;
  call.setName(name);
  for (const auto& p : params) call.addParam(p.first, p.second);
  call.setIsAsync(oneWay);
  NoHostObjects map;
  btkMemOStream out;
  zubJEXSerializer::getInstance()->writeCall(&out, call, &map);
  return out.str();
}

// The bytes of a response message, read back into `answer`.
inline void readAnswer(const uint8_t* data, size_t size, zubJexResponse& answer) {
  NoHostObjects map;
  btkMemIStream in(data, size);
  zubJEXSerializer::getInstance()->readResponse(&in, answer, &map, "server");
}

inline zubJexClient* client(const std::string& server) {
  return zubJexClient::getInstance(server.c_str());
}

}  // namespace server_test

#endif  // ZUBJEX_TESTS_SERVER_SERVER_TEST_SUPPORT_H_
