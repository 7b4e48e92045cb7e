// Round trips of the calculator's add call over HTTP (a POST per call on a kept-alive
// connection, through libcurl) beside the same call over plain TCP frames, in the same
// run against the same reference server in this process. Each call is timed on its own
// and the median (p50) is reported, with the ratio HTTP / TCP at the end; the target is
// at most 2.
//
// Both servers listen on 127.0.0.1 and ephemeral ports; one client thread, one
// connection per transport.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <string>
#include <vector>

#include "client/jex_client.h"
#include "examples/calc/calc_service.h"
#include "http/http_transport.h"
#include "messages/proxy_map.h"
#include "platform/sequences.h"
#include "server/dispatcher.h"
#include "server/tcp_server.h"
#include "transport/tcp_transport.h"

namespace {

zubJexNoHostObjectsMap proxyMap;
std::string tcpServerName;
std::string httpServerName;
double tcpP50Us = 0;
double httpP50Us = 0;

xrchandle<xanysequence> AddParams() {
  xrchandle<xanysequence> params(xanysequence::create());
  params->append(xint{1});
  params->append(xint{2});
  return params;
}

void Use(const std::string& name, zubJexTransportFactory* factory) {
  zubJexConfig config;
  config.setJexTransportFactory(factory);
  zubJexClient::setServerConfig(name.c_str(), config);
  zubJexClient::setServerProxyMap(name.c_str(), &proxyMap);
}

// Calls add on `server` once per iteration; sets the counter "p50 us" and `p50Us`.
void TimeAddCalls(benchmark::State& state, const std::string& server, double& p50Us) {
  xrchandle<xanysequence> params = AddParams();
  std::vector<double> us;
  us.reserve(1 << 20);
  for (auto _ : state) {
    auto start = std::chrono::steady_clock::now();
    xany sum = zubJexClient::getInstance(server.c_str())->makeCall("ICalc", "add", params);
    auto end = std::chrono::steady_clock::now();
    benchmark::DoNotOptimize(sum);
    if (us.size() < us.capacity()) {
      us.push_back(std::chrono::duration<double, std::micro>(end - start).count());
    }
  }
  if (us.empty()) return;
  std::nth_element(us.begin(), us.begin() + us.size() / 2, us.end());
  p50Us = us[us.size() / 2];
  state.counters["p50 us"] = p50Us;
}

void BM_TcpCalcAdd(benchmark::State& state) { TimeAddCalls(state, tcpServerName, tcpP50Us); }
BENCHMARK(BM_TcpCalcAdd)->UseRealTime();

void BM_HttpCalcAdd(benchmark::State& state) { TimeAddCalls(state, httpServerName, httpP50Us); }
BENCHMARK(BM_HttpCalcAdd)->UseRealTime();

}  // namespace

int main(int argc, char** argv) {
  calcRegisterTypes();
  zubJexDispatcher dispatcher;
  calcServe(dispatcher, new CalcService("bench"));

  zubJexTcpServer tcpServer(dispatcher);
  tcpServer.start();
  zubJexTcpServerOptions httpOptions;
  httpOptions.http.enabled = true;
  zubJexTcpServer httpServer(dispatcher, httpOptions);
  httpServer.start();

  zubJexTcpTransportFactory tcpFactory;
  zubJexHttpTransportFactory httpFactory;
  tcpServerName = tcpServer.address();
  httpServerName = "http://" + httpServer.address() + httpOptions.http.path;
  Use(tcpServerName, &tcpFactory);
  Use(httpServerName, &httpFactory);
  // The first call of each makes its connection; the medians are of kept connections.
  for (const std::string* name : {&tcpServerName, &httpServerName}) {
    zubJexClient::getInstance(name->c_str())->makeCall("ICalc", "add", AddParams());
  }

  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  if (tcpP50Us > 0 && httpP50Us > 0) {
    std::printf("add p50: TCP %.1f us, HTTP %.1f us, HTTP/TCP %.2f (target: at most 2)\n", tcpP50Us,
                httpP50Us, httpP50Us / tcpP50Us);
  }
  // Pooled clients keep their connections; the servers close them.
  httpServer.stop();
  tcpServer.stop();
  return 0;
}
