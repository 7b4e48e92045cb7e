// Many threads calling one server over real TCP, good calls mixed with failing ones.
// Each failing call gives its client back to the pool before the transport learns of
// the error, so another thread may already be calling through the same transport: no
// call may fail for another's failure, see another's response, or wait for a time-out.
// Meant to run under ThreadSanitizer too.
#include <chrono>
#include <thread>
#include <vector>

#include "server_test_support.h"

using namespace jex_test;

namespace {

constexpr int kThreads = 8;
constexpr int kCallsPerThread = 250;

// One kind of call and what it must give: a sum, or an error of a type with a text.
struct CallKind {
  const char* name;
  std::function<xany(const std::string& server, int n)> call;
  const char* errorType;  // null: the call succeeds with the sum n + 1
  const char* text;
};

xany callRoot(const std::string& server, const char* rootId, const char* method, xany a, xany b) {
  zubJexClient* c = client(server);
  xrcunihandle<xobject> target = c->getRootObject("ICalc", rootId);
  return c->makeCall("ICalc", method, values({target.get(), a, b}));
}

const CallKind kKinds[] = {
    {"good", [](const std::string& s, int n) { return callRoot(s, kCalcRootId, "add", n, 1); },
     nullptr, nullptr},
    {"unknown root object",
     [](const std::string& s, int n) { return callRoot(s, "nope", "add", n, 1); },
     "zubXSerialization", "JEX Client Error: UnknownObject: unknown object nope."},
    {"server's own exception",
     [](const std::string& s, int n) { return callRoot(s, kCalcRootId, "divide", n, 0); },
     "CalcError", "division by zero"},
};

TEST(TcpServerConcurrency, FailingCallsNeverDisturbOtherCalls) {
  TcpCalc calc;
  std::vector<std::string> wrong[kThreads];
  auto worker = [&](int t) {
    for (int i = 0; i < kCallsPerThread; ++i) {
      // Odd threads fail every other call, even threads only make good calls.
      const CallKind& kind = kKinds[t % 2 == 0 || i % 2 == 0 ? 0 : 1 + (i / 2) % 2];
      const int n = t * kCallsPerThread + i;
      xany result;
      xrcunihandle<xthrowable> raised = raisedBy([&] { result = kind.call(calc.name, n); });
      std::string got =
          raised ? std::string(raised->getZubTypeName().CastToCString()) + " " +
                       descriptionOf(raised.get())
                 : "result " + std::to_string(result.getKind() == xany_int ? result.toInt() : -1);
      std::string expected = kind.errorType != nullptr
                                 ? std::string(kind.errorType) + " " + kind.text
                                 : "result " + std::to_string(n + 1);
      if (got != expected) wrong[t].push_back(std::string(kind.name) + ": " + got);
    }
  };

  testing::internal::CaptureStderr();
  const auto start = std::chrono::steady_clock::now();
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) threads.emplace_back(worker, t);
  for (std::thread& th : threads) th.join();
  const auto elapsed = std::chrono::steady_clock::now() - start;
  testing::internal::GetCapturedStderr();

  for (int t = 0; t < kThreads; ++t) {
    EXPECT_TRUE(wrong[t].empty()) << "thread " << t << ": " << wrong[t].size()
                                  << " wrong, the first: " << wrong[t].front();
  }
  // No call waited for the transport's time-out (5 s) on a connection that another
  // call had spoilt.
  EXPECT_LT(elapsed, std::chrono::seconds(4));
}

}  // namespace
