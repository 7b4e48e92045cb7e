// Many threads calling the same and different servers at once: each call has a client
// of its own, no client is ever used by two threads at once, responses never cross, and
// every client is back in the pool afterwards. Meant to run under ThreadSanitizer too.
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "client_test_support.h"
#include "platform/rtti_registry.h"

using namespace client_test;

namespace {

constexpr int kThreads = 8;
constexpr int kServers = 3;
constexpr int kCallsPerThread = 150;
constexpr int kFaultEvery = 7;

// Answers "Calc:echo" with its parameter n, or with a fault when n is a multiple of
// kFaultEvery.
std::string echo(const std::string& request) {
  zubJexCall call;
  decodeCall(request, call);
  xint n = call.getParamByName("n").toInt();
  if (n % kFaultEvery == 0) {
    return responseBytes("echoResponse", zubJexResponseFault, xany(), nullptr, "Server", "no");
  }
  return responseBytes("echoResponse", zubJexResponseValue, n);
}

// The clients that threads hold between getInstance and the call, and every client
// ever handed out, per server.
class Ledger {
 public:
  // False when another thread holds the client already.
  bool take(int server, zubJexClient* client) {
    std::lock_guard<std::mutex> lock(mutex_);
    seen_[server].insert(client);
    return held_.insert(client).second;
  }
  void drop(zubJexClient* client) {
    std::lock_guard<std::mutex> lock(mutex_);
    held_.erase(client);
  }
  std::set<zubJexClient*> seen(int server) {
    std::lock_guard<std::mutex> lock(mutex_);
    return seen_[server];
  }

 private:
  std::mutex mutex_;
  std::set<zubJexClient*> held_;
  std::set<zubJexClient*> seen_[kServers];
};

TEST(ClientConcurrency, ThreadsShareThePoolWithoutSharingClients) {
  std::vector<std::unique_ptr<ScriptedServer>> servers;
  for (int s = 0; s < kServers; ++s) {
    servers.push_back(std::make_unique<ScriptedServer>("concurrent"));
    servers.back()->script->setResponder(&echo);
  }
  Ledger ledger;
  std::vector<int> wrong(kThreads, 0);

  auto worker = [&](int t) {
    for (int i = 0; i < kCallsPerThread; ++i) {
      int s = (t + i) % kServers;
      xint n = t * kCallsPerThread + i;
      zubJexClient* client = servers[s]->client();
      if (!ledger.take(s, client)) ++wrong[t];
      zubJexCall call;
      call.setName("Calc:echo");
      call.setReturnType(zubGetRtti_int());
      call.addParam("n", n);
      ledger.drop(client);
      xrcunihandle<xthrowable> raised;
      xany result;
      raised = raisedBy([&] { result = client->makeCall(&call); });
      bool fault = n % kFaultEvery == 0;
      if (fault != bool(raised) || (!fault && result.toInt() != n)) ++wrong[t];
    }
  };

  testing::internal::CaptureStderr();
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) threads.emplace_back(worker, t);
  for (std::thread& th : threads) th.join();
  std::string stderrText = testing::internal::GetCapturedStderr();

  for (int t = 0; t < kThreads; ++t) EXPECT_EQ(wrong[t], 0) << "thread " << t;
  int faults = (kThreads * kCallsPerThread + kFaultEvery - 1) / kFaultEvery;
  EXPECT_EQ(std::count(stderrText.begin(), stderrText.end(), '\n'), faults);

  for (int s = 0; s < kServers; ++s) {
    SCOPED_TRACE("server " + std::to_string(s));
    EXPECT_EQ(servers[s]->script->overlaps(), 0);
    std::set<zubJexClient*> seen = ledger.seen(s);
    EXPECT_LE(seen.size(), size_t{kThreads});
    // None is lost: every client ever made is free again and handed out once more
    // before a new one is made.
    std::set<zubJexClient*> again;
    for (size_t k = 0; k < seen.size(); ++k) again.insert(servers[s]->client());
    EXPECT_EQ(again, seen);
    zubJexClient* extra = servers[s]->client();
    EXPECT_EQ(seen.count(extra), 0u);
    for (zubJexClient* c : again) zubJexClient::freeInstance(c);
    zubJexClient::freeInstance(extra);
  }
}

}  // namespace
