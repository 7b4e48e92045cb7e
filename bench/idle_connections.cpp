// What idle connections cost the TCP server, and whether a client still gets through
// while they are held open.
//
//   bench_idle_connections                  server in this process, 2000 idle connections
//   bench_idle_connections HOST:PORT [N]    a running zubjex_calc_server, N idle connections
//
// Opens N connections that never send a byte (raising the descriptor limit to its hard
// limit first), then times calls of the calculator's add through the library's client
// and TCP transport: the first call of a new client (connection made during the call)
// and calls on a kept connection. With the server in this process it also reports:
//   - memory per idle connection: the growth of the process's resident set (VmRSS) and
//     of its heap (malloc's bytes in use, mallinfo2) while the connections are opened,
//     divided by N. The client ends are bare descriptors, whose buffers are kernel
//     memory; the vector of their numbers adds 4 bytes each. So the growth is the
//     server's.
//   - the process's threads (/proc/self/status) before and after: the server's workers
//     do not grow with connections.
//   - heap per connection that sent a frame header announcing 16 MiB and then nothing:
//     the buffer grows with arriving bytes, so at most one chunk (4 KiB) is taken.
// Prints plain lines; exits 1 when a call fails.
#include <arpa/inet.h>
#include <malloc.h>
#include <netinet/in.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "client/jex_client.h"
#include "examples/calc/calc_service.h"
#include "messages/proxy_map.h"
#include "platform/exceptions.h"
#include "platform/sequences.h"
#include "server/dispatcher.h"
#include "server/tcp_server.h"
#include "transport/address.h"
#include "transport/tcp_transport.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kDefaultIdleConnections = 2000;
constexpr int kNewClientCalls = 20;
constexpr int kKeptCalls = 200;
constexpr int kBegunFrames = 200;

// A field of /proc/self/status ("VmRSS", "Threads") as a number (kB for sizes).
long statusField(const char* name) {
  std::ifstream status("/proc/self/status");
  std::string line;
  const std::string prefix = std::string(name) + ":";
  while (std::getline(status, line)) {
    if (line.compare(0, prefix.size(), prefix) == 0) return std::atol(line.c_str() + prefix.size());
  }
  return -1;
}

// Bytes that malloc has handed out and not got back, over every arena.
size_t heapInUse() {
  struct mallinfo2 info = ::mallinfo2();
  return info.uordblks + info.hblkhd;
}

void raiseDescriptorLimit() {
  rlimit limit{};
  ::getrlimit(RLIMIT_NOFILE, &limit);
  limit.rlim_cur = limit.rlim_max;
  ::setrlimit(RLIMIT_NOFILE, &limit);
  std::printf("descriptor limit: %llu\n", static_cast<unsigned long long>(limit.rlim_cur));
}

// A plain TCP connection to `address`; -1 on failure.
int connectTo(const zubTcpAddress& address) {
  sockaddr_in in{};
  in.sin_family = AF_INET;
  in.sin_port = htons(static_cast<uint16_t>(std::atoi(address.port.c_str())));
  if (::inet_pton(AF_INET, address.host.c_str(), &in.sin_addr) != 1) return -1;
  int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (fd >= 0 && ::connect(fd, reinterpret_cast<sockaddr*>(&in), sizeof(in)) != 0) {
    ::close(fd);
    fd = -1;
  }
  return fd;
}

std::vector<int> openConnections(const zubTcpAddress& address, int count) {
  std::vector<int> fds;
  for (int i = 0; i < count; ++i) {
    int fd = connectTo(address);
    if (fd < 0) break;
    fds.push_back(fd);
  }
  return fds;
}

void closeAll(std::vector<int>& fds) {
  for (int fd : fds) ::close(fd);
  fds.clear();
}

// Waits (at most 5 s) until `done` holds.
template <typename F>
void awaitUntil(F done) {
  const Clock::time_point end = Clock::now() + std::chrono::seconds(5);
  while (!done() && Clock::now() < end) std::this_thread::sleep_for(std::chrono::milliseconds(2));
}

// Waits until the heap has stopped changing for a while (at most 5 s).
void awaitQuietHeap() {
  size_t before = heapInUse();
  for (int i = 0; i < 50; ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    const size_t now = heapInUse();
    if (now == before) return;
    before = now;
  }
}

xrchandle<xanysequence> addParams() {
  xrchandle<xanysequence> params(xanysequence::create());
  params->append(xint{20});
  params->append(xint{22});
  return params;
}

// One add call through a client of `server`; its time in milliseconds, or -1 on failure.
double timedAdd(zubJexClient* client) {
  const Clock::time_point start = Clock::now();
  xany sum;
  try {
    sum = client->makeCall("ICalc", "add", addParams());
  } catch (xthrowable* t) {
    xadoptThrown(t);
    return -1;
  }
  const std::chrono::duration<double, std::milli> took = Clock::now() - start;
  return sum.toInt() == 42 ? took.count() : -1;
}

double median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values[values.size() / 2];
}

// Times kNewClientCalls first calls of new clients (each a new connection: every client
// made so far is held) and kKeptCalls calls on a kept connection. False on a failure.
bool timeCalls(const char* server) {
  std::vector<double> fresh;
  std::vector<zubJexClient*> held;
  for (int i = 0; i < kNewClientCalls; ++i) {
    while (static_cast<int>(held.size()) < i + 1) {
      held.push_back(zubJexClient::getInstance(server));
    }
    fresh.push_back(timedAdd(zubJexClient::getInstance(server)));
    for (zubJexClient* client : held) zubJexClient::freeInstance(client);
    held.clear();
  }
  std::vector<double> kept;
  for (int i = 0; i < kKeptCalls; ++i) kept.push_back(timedAdd(zubJexClient::getInstance(server)));
  if (*std::min_element(fresh.begin(), fresh.end()) < 0 ||
      *std::min_element(kept.begin(), kept.end()) < 0) {
    std::printf("a call failed\n");
    return false;
  }
  std::printf("new client's call (connect + call): median %.3f ms, max %.3f ms (%d calls)\n",
              median(fresh), *std::max_element(fresh.begin(), fresh.end()), kNewClientCalls);
  std::printf("call on a kept connection: median %.3f ms, max %.3f ms (%d calls)\n", median(kept),
              *std::max_element(kept.begin(), kept.end()), kKeptCalls);
  return true;
}

void useTcp(const std::string& server) {
  static zubJexNoHostObjectsMap proxyMap;
  static zubJexTcpTransportFactory factory;
  zubJexConfig config;
  config.setJexTransportFactory(&factory);
  zubJexClient::setServerConfig(server.c_str(), config);
  zubJexClient::setServerProxyMap(server.c_str(), &proxyMap);
}

// Heap taken per connection that announced a 16 MiB frame and sent nothing more.
void measureBegunFrames(const zubTcpAddress& address) {
  const size_t before = heapInUse();
  std::vector<int> fds = openConnections(address, kBegunFrames);
  const char header[4] = {0, 0, 0, 1};  // 16 MiB, little-endian
  for (int fd : fds) ::send(fd, header, sizeof(header), MSG_NOSIGNAL);
  awaitQuietHeap();
  const double perConnection =
      (static_cast<double>(heapInUse()) - static_cast<double>(before)) / fds.size();
  std::printf("heap per connection that announced a 16 MiB frame and stalled: %.1f KiB (%zu)\n",
              perConnection / 1024, fds.size());
  closeAll(fds);
}

int runInProcess(int idleCount) {
  calcRegisterTypes();
  zubJexDispatcher dispatcher;
  calcServe(dispatcher, new CalcService("bench"));
  zubJexTcpServer server(dispatcher);
  server.start();
  const std::string name = server.address();
  zubTcpAddress address;
  zubTcpParseAddress(name, address);
  useTcp(name);
  std::printf("server: in this process on %s, default options\n", name.c_str());
  if (timedAdd(zubJexClient::getInstance(name.c_str())) < 0) return 1;  // warms up

  const long threadsBefore = statusField("Threads");
  const long rssBefore = statusField("VmRSS");
  const size_t heapBefore = heapInUse();
  std::vector<int> idle = openConnections(address, idleCount);
  const int expected = server.connectionCount() + static_cast<int>(idle.size());
  awaitUntil([&] { return server.connectionCount() >= expected; });
  awaitQuietHeap();
  const long rssAfter = statusField("VmRSS");
  const size_t heapAfter = heapInUse();
  const long threadsAfter = statusField("Threads");
  const double n = static_cast<double>(idle.size());
  std::printf("idle connections held: %zu (server counts %d)\n", idle.size(),
              server.connectionCount());
  std::printf("memory per idle connection: RSS %.2f KiB (%ld -> %ld kB), heap %.2f KiB\n",
              static_cast<double>(rssAfter - rssBefore) / n, rssBefore, rssAfter,
              (static_cast<double>(heapAfter) - static_cast<double>(heapBefore)) / 1024 / n);
  std::printf("threads of the process: %ld before, %ld with the idle connections\n", threadsBefore,
              threadsAfter);
  const bool called = timeCalls(name.c_str());
  closeAll(idle);
  measureBegunFrames(address);
  server.stop();
  return called ? 0 : 1;
}

int runAgainst(const std::string& name, int idleCount) {
  zubTcpAddress address;
  if (!zubTcpParseAddress(name, address)) {
    std::fprintf(stderr, "usage: bench_idle_connections [HOST:PORT [CONNECTIONS]]\n");
    return 2;
  }
  calcRegisterTypes();
  useTcp(name);
  std::printf("server: %s (memory and threads: read its /proc/<pid>/status)\n", name.c_str());
  std::vector<int> idle = openConnections(address, idleCount);
  std::printf("idle connections held: %zu\n", idle.size());
  std::this_thread::sleep_for(std::chrono::milliseconds(200));  // let the server take them
  const bool called = timeCalls(name.c_str());
  closeAll(idle);
  return called ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  raiseDescriptorLimit();
  const int idleCount = argc > 2 ? std::max(1, std::atoi(argv[2])) : kDefaultIdleConnections;
  return argc > 1 ? runAgainst(argv[1], idleCount) : runInProcess(idleCount);
}
