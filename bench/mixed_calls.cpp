// Good and failing calls mixed on many threads over TCP, as a busy host makes them.
// A failing call gives its client back to the pool before its transport learns of the
// error, so another thread may already be calling through that transport: this checks
// that no call fails for another's failure, sees another's response or waits for a
// time-out, and reports the counts and the slowest call.
//
//   bench_mixed_calls                      8 threads x 5000 calls, server in this process
//   bench_mixed_calls THREADS CALLS        other counts
//   bench_mixed_calls THREADS CALLS HOST:PORT   against zubjex_calc_server elsewhere
//
// Exits 1 when any call gave the wrong result or error.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <memory>
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
#include "transport/tcp_transport.h"

namespace {

using Clock = std::chrono::steady_clock;

std::string Text(const xstring& s) { return std::string(s.CastToCString(), s.GetMBSize()); }

// What a call raised, as "<type> <description>", or "result <n>".
std::string Outcome(const std::function<xany()>& call) {
  try {
    xany result = call();
    return "result " + (result.getKind() == xany_int ? std::to_string(result.toInt()) : "?");
  } catch (xthrowable* t) {
    xrcunihandle<xthrowable> raised = xadoptThrown(t);
    zubXException* ex = zubXException::softcast(raised.get());
    return Text(raised->getZubTypeName()) + " " + (ex ? Text(ex->getDescription()) : "");
  }
}

xany Call(const std::string& server, const char* rootId, const char* method, int a, int b) {
  zubJexClient* client = zubJexClient::getInstance(server.c_str());
  xrcunihandle<xobject> target = client->getRootObject("ICalc", rootId);
  xrchandle<xanysequence> params(xanysequence::create());
  params->append(xany(target.get()));
  params->append(xint{a});
  params->append(xint{b});
  return client->makeCall("ICalc", method, params);
}

struct Totals {
  std::atomic<long> goodCalls{0}, goodFailed{0}, failingCalls{0}, wrongErrors{0};
  std::atomic<long> slowestUs{0};
  std::string firstWrong;
  std::mutex firstWrongMutex;  // guards firstWrong
};

void Record(Totals& totals, bool failing, const std::string& got, const std::string& expected,
            Clock::duration took) {
  (failing ? totals.failingCalls : totals.goodCalls)++;
  long us = static_cast<long>(std::chrono::duration_cast<std::chrono::microseconds>(took).count());
  long slowest = totals.slowestUs.load();
  while (us > slowest && !totals.slowestUs.compare_exchange_weak(slowest, us)) {
  }
  if (got == expected) return;
  (failing ? totals.wrongErrors : totals.goodFailed)++;
  std::lock_guard<std::mutex> lock(totals.firstWrongMutex);
  if (totals.firstWrong.empty()) totals.firstWrong = got + " (expected " + expected + ")";
}

// Even threads make good calls only; odd threads alternate good calls with calls on an
// unknown root object (a fault without an exception object) and divisions by zero (the
// server's own exception).
void Worker(const std::string& server, int thread, int calls, Totals& totals) {
  for (int i = 0; i < calls; ++i) {
    const int n = (thread * calls + i) % 1000000;
    const int kind = thread % 2 == 0 || i % 2 == 0 ? 0 : 1 + (i / 2) % 2;
    std::string got, expected;
    Clock::time_point start = Clock::now();
    if (kind == 0) {
      got = Outcome([&] { return Call(server, kCalcRootId, "add", n, 1); });
      expected = "result " + std::to_string(n + 1);
    } else if (kind == 1) {
      got = Outcome([&] { return Call(server, "nope", "add", n, 1); });
      expected = "zubXSerialization JEX Client Error: UnknownObject: unknown object nope.";
    } else {
      got = Outcome([&] { return Call(server, kCalcRootId, "divide", n, 0); });
      expected = "CalcError division by zero";
    }
    Record(totals, kind != 0, got, expected, Clock::now() - start);
  }
}

}  // namespace

int main(int argc, char** argv) {
  const int threads = argc > 1 ? std::max(1, std::atoi(argv[1])) : 8;
  const int calls = argc > 2 ? std::max(1, std::atoi(argv[2])) : 5000;
  calcRegisterTypes();

  std::unique_ptr<zubJexDispatcher> dispatcher;
  std::unique_ptr<zubJexTcpServer> server;
  std::string address;
  if (argc > 3) {
    address = argv[3];
  } else {
    dispatcher.reset(new zubJexDispatcher());
    calcServe(*dispatcher, new CalcService("root"));
    server.reset(new zubJexTcpServer(*dispatcher));
    server->start();
    address = server->address();
  }
  zubJexTcpTransportFactory factory;
  zubJexNoHostObjectsMap map;
  zubJexConfig config;
  config.setJexTransportFactory(&factory);
  zubJexClient::setServerConfig(address.c_str(), config);
  zubJexClient::setServerProxyMap(address.c_str(), &map);

  // Every failure writes a line to standard error; 20,000 of them say nothing here.
  std::fflush(stderr);
  if (std::freopen("/dev/null", "w", stderr) == nullptr) return 2;
  Totals totals;
  Clock::time_point start = Clock::now();
  std::vector<std::thread> workers;
  for (int t = 0; t < threads; ++t) {
    workers.emplace_back(Worker, address, t, calls, std::ref(totals));
  }
  for (std::thread& w : workers) w.join();
  double seconds = std::chrono::duration<double>(Clock::now() - start).count();

  std::printf("mixed calls over TCP to %s: %d threads x %d calls in %.2f s (%.0f calls/s)\n",
              address.c_str(), threads, calls, seconds, threads * calls / seconds);
  std::printf("good calls: %ld, failed: %ld\n", totals.goodCalls.load(), totals.goodFailed.load());
  std::printf("failing calls: %ld, with the wrong error: %ld\n", totals.failingCalls.load(),
              totals.wrongErrors.load());
  std::printf("slowest call: %.1f ms\n", totals.slowestUs.load() / 1000.0);
  if (!totals.firstWrong.empty()) std::printf("first wrong: %s\n", totals.firstWrong.c_str());
  zubJexClient::setServerConfig(address.c_str(), zubJexConfig());
  if (server) server->stop();
  return totals.goodFailed.load() + totals.wrongErrors.load() == 0 ? 0 : 1;
}
