// A typed call against the same call by names: ICalc.add(2, 3) through the generated proxy
// of examples/calc, and through makeCall("ICalc", "add", params), both over the loopback
// transport to a dispatcher serving the calculator in this process. The same request goes
// out and the same response comes back; the difference is how the host builds the call and
// reads the answer.
#include <benchmark/benchmark.h>

#include <cstdlib>

#include "client/jex_client.h"
#include "examples/calc/calc_service.h"
#include "messages/proxy_map.h"
#include "platform/exceptions.h"
#include "platform/sequences.h"
#include "server/dispatcher.h"
#include "server/loopback_transport.h"

namespace {

const char kServer[] = "typed-bench";

// The root calculator's proxy, bound to kServer, whose calls the dispatcher answers on the
// calling thread. Made once, with the dispatcher and the client's configuration, for the
// program's lifetime (never destroyed, so nothing depends on the order of exit).
ICalcProxy& Root() {
  static ICalcProxy* root = [] {
    calcRegisterTypes();
    auto* dispatcher = new zubJexDispatcher();
    calcServe(*dispatcher, new CalcService("root"));
    zubJexConfig config;
    config.setJexTransportFactory(new zubJexLoopbackTransportFactory(*dispatcher));
    zubJexClient::setServerConfig(kServer, config);
    zubJexClient::setServerProxyMap(kServer, new zubJexNoHostObjectsMap());
    zubJexClient* client = zubJexClient::getInstance(kServer);
    auto* proxy = new xrchandle<ICalcProxy>(
        ICalcProxy::softcast(client->getRootObject("ICalc", kCalcRootId).get()));
    zubJexClient::freeInstance(client);
    if (!*proxy) std::abort();
    return proxy->get();
  }();
  return *root;
}

// Out of line, as the typed call is, so that a profile counts either as one function
// (valgrind --tool=callgrind: instructions per call of ICalcProxy::add and AddByNames).
__attribute__((noinline)) xany AddByNames(ICalcProxy& root) {
  xrchandle<xanysequence> params(xanysequence::create(3));
  params->append(xany(static_cast<xobject*>(&root)));
  params->append(xint(2));
  params->append(xint(3));
  return zubJexClient::getInstance(kServer)->makeCall("ICalc", "add", params);
}

void BM_TypedCall(benchmark::State& state) {
  ICalcProxy& root = Root();
  if (root.add(2, 3) != 5) state.SkipWithError("add(2, 3) did not answer 5");
  for (auto _ : state) {
    int32_t sum = root.add(2, 3);
    benchmark::DoNotOptimize(sum);
  }
}
BENCHMARK(BM_TypedCall);

void BM_CallByNames(benchmark::State& state) {
  ICalcProxy& root = Root();
  xany first = AddByNames(root);
  if (first.getKind() != xany_int || first.toInt() != 5) {
    state.SkipWithError("add(2, 3) by names did not answer 5");
  }
  for (auto _ : state) {
    xany sum = AddByNames(root);
    benchmark::DoNotOptimize(sum);
  }
}
BENCHMARK(BM_CallByNames);

}  // namespace

BENCHMARK_MAIN();
