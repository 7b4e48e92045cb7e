// Many threads calling the same and different servers at once: each call has a client
// of its own, no client is ever used by two threads at once, responses never cross, and
// every client is back in the pool afterwards. Meant to run under ThreadSanitizer too.
#include <algorithm>
#include <mutex>
#include <set>

#include "test_support/jex_test_support.h"

using namespace jex_test;

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

TEST(ClientConcurrency, ThreadsShareThePoolWithoutSharingClients) {
  std::vector<std::unique_ptr<ScriptedServer>> servers;
  for (int s = 0; s < kServers; ++s) {
    servers.push_back(std::make_unique<ScriptedServer>());
    servers.back()->script->setResponder(&echo);
  }
  std::mutex mutex;              // guards the two sets below
  std::set<zubJexClient*> held;  // between getInstance and the call
  std::set<zubJexClient*> seen[kServers];
  std::vector<int> wrong(kThreads, 0);

  auto worker = [&](int t) {
    for (int i = 0; i < kCallsPerThread; ++i) {
      int s = (t + i) % kServers;
      xint n = t * kCallsPerThread + i;
      zubJexClient* client = servers[s]->client();
      std::unique_lock<std::mutex> lock(mutex);
      seen[s].insert(client);
      if (!held.insert(client).second) ++wrong[t];  // another thread holds it
      lock.unlock();
      zubJexCall call;
      call.setName("Calc:echo");
      call.setReturnType(zubGetRtti_int());
      call.addParam("n", n);
      lock.lock();
      held.erase(client);
      lock.unlock();
      xany result;
      bool raised(raisedBy([&] { result = client->makeCall(&call); }));
      bool fault = n % kFaultEvery == 0;
      if (fault != raised || (!fault && result.toInt() != n)) ++wrong[t];
    }
  };

  testing::internal::CaptureStderr();
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) threads.emplace_back(worker, t);
  for (std::thread& th : threads) th.join();
  std::string stderrText = testing::internal::GetCapturedStderr();

  EXPECT_EQ(wrong, std::vector<int>(kThreads, 0));
  int faults = (kThreads * kCallsPerThread + kFaultEvery - 1) / kFaultEvery;
  EXPECT_EQ(std::count(stderrText.begin(), stderrText.end(), '\n'), faults);
  for (int s = 0; s < kServers; ++s) {
    SCOPED_TRACE("server " + std::to_string(s));
    EXPECT_EQ(servers[s]->script->overlaps(), 0);
    EXPECT_LE(seen[s].size(), size_t{kThreads});
    // None is lost: every client ever made is free again and handed out once more
    // before a new one is made.
    std::set<zubJexClient*> again;
    for (size_t k = 0; k <= seen[s].size(); ++k) again.insert(servers[s]->client());
    EXPECT_EQ(again.size(), seen[s].size() + 1);
    EXPECT_TRUE(std::includes(again.begin(), again.end(), seen[s].begin(), seen[s].end()));
    for (zubJexClient* c : again) zubJexClient::freeInstance(c);
  }
}

}  // namespace
