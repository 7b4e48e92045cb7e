// Round trips over loopback TCP: the calculator's add called through the client, the TCP
// transport and the reference server, beside a raw-socket ping-pong of the same frame
// sizes in the same run. The ratio of the two is the cost of the library's layers on top
// of the bare exchange of the same bytes.
//
// Both servers run in this process on 127.0.0.1 and ephemeral ports; every client thread
// has its own connection. The request and response sizes of the add call (frame headers
// included) are measured first and reported as counters.
#include <arpa/inet.h>
#include <benchmark/benchmark.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <list>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "client/jex_client.h"
#include "examples/calc/calc_service.h"
#include "messages/jex_call.h"
#include "messages/jex_serializer.h"
#include "messages/proxy_map.h"
#include "platform/memory_streams.h"
#include "platform/sequences.h"
#include "serialization/descriptors.h"
#include "server/dispatcher.h"
#include "server/tcp_server.h"
#include "transport/tcp_transport.h"

namespace {

zubJexNoHostObjectsMap proxyMap;
zubJexDispatcher* dispatcher = nullptr;
zubJexTcpServer* calcServer = nullptr;
zubJexTcpTransportFactory* tcpFactory = nullptr;
size_t requestBytes = 0;   // one add request, frame header included
size_t responseBytes = 0;  // its response, frame header included

xrchandle<xanysequence> AddParams() {
  xrchandle<xanysequence> params(xanysequence::create());
  params->append(xint{1});
  params->append(xint{2});
  return params;
}

// Measures the frames of one add call as the client writes it and the server answers.
void MeasureAddFrames() {
  zubBinS11nRttiProxy* calc = nullptr;
  zubBinS11nRttiGetDescriptor("ICalc")->isProxy(&calc);
  zubJexCall call;
  calc->createCall(call, "add", AddParams());
  btkMemOStream request;
  zubJEXSerializer::getInstance()->writeCall(&request, call, &proxyMap);
  btkMemIStream in(request.data(), request.size());
  btkMemOStream response;
  dispatcher->dispatch(&in, response, "bench");
  requestBytes = 4 + request.size();
  responseBytes = 4 + response.size();
}

// ---- the raw floor: blocking sockets, TCP_NODELAY, fixed request and response sizes ----

bool ReadExact(int fd, char* data, size_t size) {
  while (size > 0) {
    ssize_t n = ::recv(fd, data, size, 0);
    if (n <= 0) return false;
    data += n;
    size -= static_cast<size_t>(n);
  }
  return true;
}

bool WriteAll(int fd, const char* data, size_t size) {
  while (size > 0) {
    ssize_t n = ::send(fd, data, size, MSG_NOSIGNAL);
    if (n <= 0) return false;
    data += n;
    size -= static_cast<size_t>(n);
  }
  return true;
}

void NoDelay(int fd) {
  int one = 1;
  ::setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &one, sizeof(one));
}

// Answers every request of requestBytes with responseBytes, one thread per connection.
class RawServer {
 public:
  void start() {
    listenFd_ = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof(address);
    ::bind(listenFd_, reinterpret_cast<sockaddr*>(&address), length);
    ::listen(listenFd_, 16);
    ::getsockname(listenFd_, reinterpret_cast<sockaddr*>(&address), &length);
    port_ = ntohs(address.sin_port);
    acceptor_ = std::thread([this] {
      for (;;) {
        int fd = ::accept(listenFd_, nullptr, nullptr);
        if (fd < 0 || stopping_) {
          if (fd >= 0) ::close(fd);
          return;
        }
        NoDelay(fd);
        std::lock_guard<std::mutex> lock(mutex_);
        connections_.emplace_back([fd] {
          std::vector<char> request(requestBytes);
          std::vector<char> response(responseBytes, 'r');
          while (ReadExact(fd, request.data(), request.size()) &&
                 WriteAll(fd, response.data(), response.size())) {
          }
          ::close(fd);
        });
      }
    });
  }
  void stop() {
    stopping_ = true;
    ::shutdown(listenFd_, SHUT_RDWR);
    acceptor_.join();
    ::close(listenFd_);
    for (std::thread& t : connections_) t.join();  // clients have closed theirs
  }
  int port() const { return port_; }

 private:
  int listenFd_ = -1;
  int port_ = 0;
  std::atomic<bool> stopping_{false};
  std::thread acceptor_;
  std::mutex mutex_;
  std::list<std::thread> connections_;
};

RawServer rawServer;

int RawConnect(int port) {
  int fd = ::socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = htons(static_cast<uint16_t>(port));
  if (::connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0) return -1;
  NoDelay(fd);
  return fd;
}

void SetSizeCounters(benchmark::State& state) {
  state.counters["request B"] =
      benchmark::Counter(static_cast<double>(requestBytes), benchmark::Counter::kAvgThreads);
  state.counters["response B"] =
      benchmark::Counter(static_cast<double>(responseBytes), benchmark::Counter::kAvgThreads);
  state.counters["calls/s"] =
      benchmark::Counter(static_cast<double>(state.iterations()), benchmark::Counter::kIsRate);
}

void BM_RawPingPong(benchmark::State& state) {
  int fd = RawConnect(rawServer.port());
  if (fd < 0) {
    state.SkipWithError("cannot connect");
    return;
  }
  std::vector<char> request(requestBytes, 'q');
  std::vector<char> response(responseBytes);
  for (auto _ : state) {
    if (!WriteAll(fd, request.data(), request.size()) ||
        !ReadExact(fd, response.data(), response.size())) {
      state.SkipWithError("connection lost");
      break;
    }
  }
  ::close(fd);
  SetSizeCounters(state);
}
BENCHMARK(BM_RawPingPong)->Threads(1)->Threads(2)->UseRealTime();

void BM_TcpCalcAdd(benchmark::State& state) {
  const char* server = calcServer->address().c_str();
  xrchandle<xanysequence> params = AddParams();
  for (auto _ : state) {
    xany sum = zubJexClient::getInstance(server)->makeCall("ICalc", "add", params);
    benchmark::DoNotOptimize(sum);
  }
  SetSizeCounters(state);
}
BENCHMARK(BM_TcpCalcAdd)->Threads(1)->Threads(2)->UseRealTime();

}  // namespace

int main(int argc, char** argv) {
  calcRegisterTypes();
  dispatcher = new zubJexDispatcher();
  calcServe(*dispatcher, new CalcService("bench"));
  MeasureAddFrames();
  std::printf("add call: request frame %zu bytes, response frame %zu bytes\n", requestBytes,
              responseBytes);

  calcServer = new zubJexTcpServer(*dispatcher);
  calcServer->start();
  tcpFactory = new zubJexTcpTransportFactory();
  zubJexConfig config;
  config.setJexTransportFactory(tcpFactory);
  zubJexClient::setServerConfig(calcServer->address().c_str(), config);
  zubJexClient::setServerProxyMap(calcServer->address().c_str(), &proxyMap);
  rawServer.start();

  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();

  rawServer.stop();
  calcServer->stop();  // pooled clients keep their connections; the server closes them
  return 0;
}
