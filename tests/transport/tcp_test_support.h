// Helpers of the TCP tests: clients of a server address through the pool, a scripted
// fake server on a raw socket, and the capture of raised throwables.
#ifndef ZUBJEX_TESTS_TRANSPORT_TCP_TEST_SUPPORT_H_
#define ZUBJEX_TESTS_TRANSPORT_TCP_TEST_SUPPORT_H_

#include <functional>
#include <string>
#include <thread>

#include "client/jex_client.h"
#include "examples/calc/calc_types.h"
#include "messages/jex_call.h"
#include "messages/jex_serializer.h"
#include "messages/proxy_map.h"
#include "platform/exceptions.h"
#include "platform/memory_streams.h"
#include "platform/sequences.h"
#include "transport/frame.h"
#include "transport/frame_reader.h"
#include "transport/listener.h"
#include "transport/tcp_transport.h"

namespace tcp_test {

// A map for servers that hold no host objects.
class NoHostObjects : public zubJexProxyMap {
 public:
  xstring getObjectId(xrcunihandle<xobject>) override { return xstring(); }
  xrcunihandle<xobject> findObject(const xstring&) override { return xrcunihandle<xobject>(); }
};

// The time limits of every client the tests take from the pool. One factory for the
// whole process: the pool keeps clients by server name, and a port that the system
// hands out again meets a pooled client with the same settings.
inline zubJexTcpTransportFactory& sharedFactory() {
  static zubJexTcpTransportFactory* factory = [] {
    zubJexTcpOptions options;
    options.connectTimeoutMs = 2000;
    options.ioTimeoutMs = 5000;
    return new zubJexTcpTransportFactory(options);
  }();
  return *factory;
}

// Makes the pool's clients of `address` talk TCP; returns the address.
inline std::string useTcp(const std::string& address) {
  static NoHostObjects map;
  calcRegisterTypes();
  zubJexConfig config;
  config.setJexTransportFactory(&sharedFactory());
  zubJexClient::setServerConfig(address.c_str(), config);
  zubJexClient::setServerProxyMap(address.c_str(), &map);
  return address;
}

inline xrchandle<xanysequence> values(std::initializer_list<xany> items) {
  xrchandle<xanysequence> seq(xanysequence::create());
  for (const xany& v : items) seq->append(v);
  return seq;
}

// Runs `action`, which is expected to raise an xthrowable; returns it (null when
// nothing was raised).
template <class F>
xrcunihandle<xthrowable> raisedBy(F action) {
  try {
    action();
  } catch (xthrowable* t) {
    return xadoptThrown(t);
  }
  return xrcunihandle<xthrowable>();
}

inline std::string descriptionOf(const xrcunihandle<xthrowable>& t) {
  zubXException* e = zubXException::softcast(t.get());
  return e == nullptr ? std::string("<no exception>")
                      : std::string(e->getDescription().CastToCString());
}

// A server that plays a script on the next connection, on a thread of its own.
class FakeServer {
 public:
  typedef std::function<void(zubTcpSocket&)> Script;

  FakeServer() : listener_(zubTcpListener::listen("127.0.0.1", 0)) { calcRegisterTypes(); }
  ~FakeServer() {
    if (thread_.joinable()) thread_.join();
  }

  const std::string& address() const { return listener_.address(); }

  // Accepts the next connection (within 5 s) and runs `script` on it.
  void serveOnce(Script script) {
    if (thread_.joinable()) thread_.join();
    thread_ = std::thread([this, script] {
      zubTcpSocket socket = listener_.accept(zubTcpDeadline::after(5000), -1);
      if (socket.isOpen()) script(socket);
    });
  }
  void join() {
    if (thread_.joinable()) thread_.join();
  }

 private:
  zubTcpListener listener_;
  std::thread thread_;
};

// Reads one request frame on a fake server's connection; false when none came.
inline bool readRequest(zubTcpSocket& socket, zubJexFrameReader& reader) {
  return reader.read(socket, zubTcpDeadline::after(5000), 5000) == zubJexFrameReader::kFrame;
}

// Sends `message` in a frame.
inline void sendFrame(zubTcpSocket& socket, const std::string& message) {
  uint8_t header[kZubJexFrameHeaderSize];
  zubJexEncodeFrameLength(static_cast<uint32_t>(message.size()), header);
  socket.sendAll(header, sizeof(header), message.data(), message.size(),
                 zubTcpDeadline::after(5000));
}

// The bytes of a value response, written by the library's encoder.
inline std::string valueResponse(const char* name, xany value) {
  zubJexResponse response;
  response.setName(name);
  response.setKind(zubJexResponseValue);
  response.setObject(value);
  NoHostObjects map;
  btkMemOStream out;
  zubJEXSerializer::getInstance()->writeResponse(&out, response, &map);
  return out.str();
}

}  // namespace tcp_test

#endif  // ZUBJEX_TESTS_TRANSPORT_TCP_TEST_SUPPORT_H_
