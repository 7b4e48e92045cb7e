// Cost of writing and reading the representative call and its response through memory
// streams: the call "Calc:add" with an int, a long, a 32-byte string and a sequence of
// ten ints, and the response carrying one int. Counters: "bytes", the size of one
// message, and "per_msg", the time per message.
#include <benchmark/benchmark.h>

#include <climits>
#include <cstdint>
#include <string>

#include "messages/jex_serializer.h"
#include "messages/proxy_map.h"
#include "platform/memory_streams.h"
#include "platform/rtti_registry.h"
#include "platform/sequences.h"
#include "support/sequence_types.h"

namespace {

zubJexNoHostObjectsMap proxyMap;
const xstring kServer("calc-server");

void BuildCall(zubJexCall& call) {
  static const int32_t kValues[] = {0,     1,     -1,      42,        1000,
                                    -1000, 65535, 1000000, INT32_MAX, INT32_MIN};
  xrchandle<xanysequence> v(xanysequence::create());
  for (int32_t x : kValues) v->append(xint{x});
  call.setName("Calc:add");
  call.setReturnType(zubGetRtti_int());
  call.addParam("a", xint{1});
  call.addParam("b", xlong{-1});
  call.addParam("s", "abcdefghijklmnopqrstuvwxyz012345");
  call.addParam("v", xany(static_cast<xobject*>(v.get())));
}

void BuildResponse(zubJexResponse& response) {
  response.setName("addResponse");
  response.setKind(zubJexResponseValue);
  response.setReturnType(zubGetRtti_int());
  response.setObject(xint{3});
}

void Report(benchmark::State& state, size_t bytes) {
  state.counters["bytes"] = static_cast<double>(bytes);
  // Seconds per message, printed with an SI prefix ("855n" is 855 ns).
  state.counters["per_msg"] =
      benchmark::Counter(static_cast<double>(state.iterations()),
                         benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

void BM_WriteCall(benchmark::State& state) {
  zubSupportRegisterSequenceTypes();
  zubJexCall call;
  BuildCall(call);
  btkMemOStream out;
  for (auto _ : state) {
    out.Clear();
    zubJEXSerializer::getInstance()->writeCall(&out, call, &proxyMap);
    benchmark::DoNotOptimize(out.data());
  }
  Report(state, out.size());
}
BENCHMARK(BM_WriteCall);

void BM_ReadCall(benchmark::State& state) {
  zubSupportRegisterSequenceTypes();
  btkMemOStream out;
  {
    zubJexCall call;
    BuildCall(call);
    zubJEXSerializer::getInstance()->writeCall(&out, call, &proxyMap);
  }
  for (auto _ : state) {
    btkMemIStream in(out.data(), out.size());
    zubJexCall call;
    zubJEXSerializer::getInstance()->readCall(&in, call, &proxyMap, kServer);
    benchmark::DoNotOptimize(call.getParamValues().get());
  }
  Report(state, out.size());
}
BENCHMARK(BM_ReadCall);

void BM_WriteResponse(benchmark::State& state) {
  zubJexResponse response;
  BuildResponse(response);
  btkMemOStream out;
  for (auto _ : state) {
    out.Clear();
    zubJEXSerializer::getInstance()->writeResponse(&out, response, &proxyMap);
    benchmark::DoNotOptimize(out.data());
  }
  Report(state, out.size());
}
BENCHMARK(BM_WriteResponse);

void BM_ReadResponse(benchmark::State& state) {
  btkMemOStream out;
  {
    zubJexResponse response;
    BuildResponse(response);
    zubJEXSerializer::getInstance()->writeResponse(&out, response, &proxyMap);
  }
  for (auto _ : state) {
    btkMemIStream in(out.data(), out.size());
    zubJexResponse response;
    zubJEXSerializer::getInstance()->readResponse(&in, response, &proxyMap, kServer);
    benchmark::DoNotOptimize(response.getKind());
  }
  Report(state, out.size());
}
BENCHMARK(BM_ReadResponse);

}  // namespace

BENCHMARK_MAIN();
