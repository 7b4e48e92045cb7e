// Helpers of the TCP tests: clients of a server address through the pool, frames on
// raw sockets, and a scripted fake server.
#ifndef ZUBJEX_TESTS_TRANSPORT_TCP_TEST_SUPPORT_H_
#define ZUBJEX_TESTS_TRANSPORT_TCP_TEST_SUPPORT_H_

#include <netdb.h>

#include "test_support/jex_test_support.h"
#include "transport/frame.h"
#include "transport/frame_reader.h"
#include "transport/listener.h"
#include "transport/tcp_transport.h"

namespace jex_test {

// Whether the name "localhost" resolves here (a root without /etc/hosts may not); tests
// that need it skip themselves otherwise.
inline bool localhostResolves() {
  addrinfo* found = nullptr;
  if (getaddrinfo("localhost", nullptr, nullptr, &found) != 0) return false;
  freeaddrinfo(found);
  return true;
}

// Makes the pool's clients of `address` talk TCP; returns the address. One factory for
// the whole process: the pool keeps clients by server name, and a port that the system
// hands out again meets a pooled client with the same settings.
inline std::string useTcp(const std::string& address) {
  static NoHostObjects map;
  static zubJexTcpTransportFactory* factory = [] {
    zubJexTcpOptions options;
    options.connectTimeoutMs = 2000;
    options.ioTimeoutMs = 5000;
    return new zubJexTcpTransportFactory(options);
  }();
  calcRegisterTypes();
  zubJexConfig config;
  config.setJexTransportFactory(factory);
  zubJexClient::setServerConfig(address.c_str(), config);
  zubJexClient::setServerProxyMap(address.c_str(), &map);
  return address;
}

inline std::string framed(const std::string& message) {
  uint8_t header[kZubJexFrameHeaderSize];
  zubJexEncodeFrameLength(static_cast<uint32_t>(message.size()), header);
  return std::string(reinterpret_cast<char*>(header), sizeof(header)) + message;
}

inline void sendBytes(zubTcpSocket& socket, const std::string& bytes) {
  socket.sendAll(bytes.data(), bytes.size(), zubTcpDeadline::after(5000));
}

// Reads the next frame within 5 s; false when none came.
inline bool readFrame(zubTcpSocket& socket, zubJexFrameReader& reader) {
  return reader.read(socket, zubTcpDeadline::after(5000), 5000) == zubJexFrameReader::kFrame;
}

// One exchange of an "ICalc:add" call without parameters on the transport; returns the
// answer's value.
inline xany exchange(zubJexTransport& transport) {
  NoHostObjects map;
  zubJexCall call;
  call.setName("ICalc:add");
  zubJEXSerializer::getInstance()->writeCall(transport.startOutput(), call, &map);
  transport.finishOutput();
  zubJexResponse response;
  zubJEXSerializer::getInstance()->readResponse(transport.startInput(), response, &map, "server");
  transport.close();
  return response.getObject();
}

// A server that plays a script on the next connection, on a thread of its own.
class FakeServer {
 public:
  typedef std::function<void(zubTcpSocket&, zubJexFrameReader&)> Script;

  FakeServer() : listener_(zubTcpListener::listen("127.0.0.1", 0)) { calcRegisterTypes(); }
  ~FakeServer() { join(); }
  const std::string& address() const { return listener_.address(); }

  // Accepts the next connection (within 5 s) and runs `script` on it.
  void serveOnce(Script script) {
    join();
    thread_ = std::thread([this, script] {
      zubTcpSocket socket = listener_.accept(zubTcpDeadline::after(5000), -1);
      zubJexFrameReader reader(1024);
      if (socket.isOpen()) script(socket, reader);
    });
  }
  void join() {
    if (thread_.joinable()) thread_.join();
  }

 private:
  zubTcpListener listener_;
  std::thread thread_;
};

}  // namespace jex_test

#endif  // ZUBJEX_TESTS_TRANSPORT_TCP_TEST_SUPPORT_H_
