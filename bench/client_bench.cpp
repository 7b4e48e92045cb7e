// Cost of the client's own work around a call: a full call (pool, call record, request
// written, response read and checked, client given back) over an in-memory transport
// that replays one prepared response, and taking and giving back a pooled client with
// one and two threads. No network: the numbers are the library's overhead per call.
#include <benchmark/benchmark.h>

#include <string>

#include "calc.jex.h"
#include "client/jex_client.h"
#include "client/transport.h"
#include "messages/jex_call.h"
#include "messages/jex_response.h"
#include "messages/jex_serializer.h"
#include "messages/proxy_map.h"
#include "platform/memory_streams.h"
#include "platform/rtti_registry.h"
#include "platform/sequences.h"

namespace {

zubJexNoHostObjectsMap proxyMap;

// Swallows every request and answers each with the same bytes.
class ReplayTransport : public zubJexTransport {
 public:
  explicit ReplayTransport(const std::string& response) : response_(response) {}
  void open(xstring) override {}
  btkOStream* startOutput() override {
    request_.Clear();
    return &request_;
  }
  int finishOutput() override { return zubJexFinishDone; }
  btkIStream* startInput() override {
    input_.Reset(response_.data(), response_.size());
    return &input_;
  }
  void close() override {}

 private:
  const std::string& response_;
  btkMemOStream request_;
  btkMemIStream input_{nullptr, 0};
};

class ReplayFactory : public zubJexTransportFactory {
 public:
  explicit ReplayFactory(std::string response) : response_(std::move(response)) {}
  zubJexTransport* createTransport() override { return new ReplayTransport(response_); }

 private:
  std::string response_;
};

std::string AddResponse() {
  zubJexResponse response;
  response.setName("addResponse");
  response.setKind(zubJexResponseValue);
  response.setObject(xint{3});
  btkMemOStream out;
  zubJEXSerializer::getInstance()->writeResponse(&out, response, &proxyMap);
  return out.str();
}

// The server "bench" answers every call with addResponse carrying 3.
const char* Server() {
  static const char* name = [] {
    calcRegisterTypes();
    static ReplayFactory factory(AddResponse());
    zubJexConfig config;
    config.setJexTransportFactory(&factory);
    zubJexClient::setServerConfig("bench", config);
    zubJexClient::setServerProxyMap("bench", &proxyMap);
    return "bench";
  }();
  return name;
}

void BM_PreparedCall(benchmark::State& state) {
  const char* server = Server();
  zubJexCall call;
  call.setName("ICalc:add");
  call.setReturnType(zubGetRtti_int());
  call.addParam("a", xint{1});
  call.addParam("b", xint{2});
  for (auto _ : state) {
    xany sum = zubJexClient::getInstance(server)->makeCall(&call);
    benchmark::DoNotOptimize(sum);
  }
  state.counters["calls/s"] =
      benchmark::Counter(static_cast<double>(state.iterations()), benchmark::Counter::kIsRate);
}
BENCHMARK(BM_PreparedCall);

void BM_CallByNames(benchmark::State& state) {
  const char* server = Server();
  for (auto _ : state) {
    xrchandle<xanysequence> params(xanysequence::create());
    params->append(xint{1});
    params->append(xint{2});
    xany sum = zubJexClient::getInstance(server)->makeCall("ICalc", "add", params);
    benchmark::DoNotOptimize(sum);
  }
  state.counters["calls/s"] =
      benchmark::Counter(static_cast<double>(state.iterations()), benchmark::Counter::kIsRate);
}
BENCHMARK(BM_CallByNames);

void BM_TakeAndGiveBack(benchmark::State& state) {
  const char* server = Server();
  for (auto _ : state) {
    zubJexClient* client = zubJexClient::getInstance(server);
    benchmark::DoNotOptimize(client);
    zubJexClient::freeInstance(client);
  }
}
BENCHMARK(BM_TakeAndGiveBack)->Threads(1)->Threads(2);

}  // namespace

BENCHMARK_MAIN();
