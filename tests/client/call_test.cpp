// The road of a successful call: the transport operations in order, the request on the
// wire, resending on request, one-way calls, and the log records.
#include <gtest/gtest.h>

#include <mutex>
#include <string>
#include <vector>

#include "client_test_support.h"
#include "platform/logging.h"
#include "platform/rtti_registry.h"

using namespace client_test;

namespace {

const char* const kExchange = "startOutput finishOutput startInput close";

// Collects the texts of the ZUBJEX records at level 3 while it lives.
class LogCapture {
 public:
  LogCapture() {
    btkLogManager::SetAreaLevel(ZUBJEX_LOG_AREA, 3);
    btkLogManager::SetSink([this](const btkLogRecord& r) {
      std::lock_guard<std::mutex> lock(mutex_);
      if (r.area == "ZUBJEX" && r.level == 3) texts_.push_back(r.text);
      loggers_.push_back(r.logger);
    });
  }
  ~LogCapture() {
    btkLogManager::SetSink(btkLogSink());
    btkLogManager::SetAreaLevel(ZUBJEX_LOG_AREA, 0);
  }
  std::vector<std::string> texts() {
    std::lock_guard<std::mutex> lock(mutex_);
    return texts_;
  }
  std::vector<std::string> loggers() {
    std::lock_guard<std::mutex> lock(mutex_);
    return loggers_;
  }

 private:
  std::mutex mutex_;
  std::vector<std::string> texts_;
  std::vector<std::string> loggers_;
};

TEST(ClientCall, ByNamesWritesTheGeneratedCallAndReturnsTheValue) {
  ScriptedServer server;
  server.script->queueResponse(responseBytes("addResponse", zubJexResponseValue, xint(5)));

  xany sum = server.client()->makeCall("ICalc", "add", values({xint(2), xint(3)}));

  EXPECT_EQ(sum.getKind(), xany_int);
  EXPECT_EQ(sum.toInt(), 5);
  EXPECT_EQ(server.script->operationNames(), std::string("create open ") + kExchange);
  EXPECT_EQ(server.script->openedWith(), std::vector<std::string>{server.name});
  ASSERT_EQ(server.script->requests().size(), 1u);
  zubJexCall sent;
  decodeCall(server.script->requests()[0], sent);
  EXPECT_EQ(sent.getName(), "ICalc:add");
  EXPECT_EQ(sent.getParamByName("a").toInt(), 2);
  EXPECT_EQ(sent.getParamByName("b").toInt(), 3);
  EXPECT_FALSE(sent.getIsAsync());
}

TEST(ClientCall, NextCallReusesTheFreeClientAndItsOpenTransport) {
  ScriptedServer server;
  server.script->queueResponse(responseBytes("getNameResponse", zubJexResponseValue, "calc"));
  server.script->queueResponse(responseBytes("getNameResponse", zubJexResponseValue, "calc"));

  zubJexClient* first = server.client();
  first->makeCall("ICalc", "getName", values({}));
  zubJexClient* second = server.client();
  EXPECT_EQ(second, first);
  EXPECT_EQ(second->makeCall("ICalc", "getName", values({})).toString(), "calc");

  EXPECT_EQ(server.script->operationNames(),
            std::string("create open ") + kExchange + " " + kExchange);
}

TEST(ClientCall, PreparedCallIsWrittenAsGivenAndAcceptsNil) {
  ScriptedServer server;
  server.script->queueResponse(responseBytes("Calc:echoReply", zubJexResponseValue, xany::Nil()));
  zubJexCall call;
  call.setName("Calc:echo");
  call.setReturnType(zubGetRtti_string());
  call.addParam("text", "hello");
  call.setIsAsync(true);  // ignored by makeCall: a response is read all the same

  xany echoed = server.client()->makeCall(&call);

  EXPECT_EQ(echoed.getKind(), xany_nil);
  EXPECT_EQ(server.script->operationNames(), std::string("create open ") + kExchange);
  zubJexCall sent;
  decodeCall(server.script->requests()[0], sent);
  EXPECT_EQ(sent.getName(), "Calc:echo");
  EXPECT_EQ(sent.getReturnType(), zubGetRtti_string());
  EXPECT_EQ(sent.getParamByName("text").toString(), "hello");
}

TEST(ClientCall, OneWayCallReadsNothing) {
  ScriptedServer server;
  server.client()->makeVoidCall("ICalc", "log", values({"started"}));

  EXPECT_EQ(server.script->operationNames(), "create open startOutput finishOutput close");
  zubJexCall sent;
  decodeCall(server.script->requests()[0], sent);
  EXPECT_TRUE(sent.getIsAsync());
  EXPECT_EQ(sent.getParamByName("message").toString(), "started");
}

TEST(ClientCall, VoidCallThatIsNotOneWayReadsItsResponse) {
  ScriptedServer server;
  server.script->queueResponse(responseBytes("resetResponse", zubJexResponseVoid, xany()));
  zubJexCall call;
  call.setName("reset");

  server.client()->makeVoidCall(&call);

  EXPECT_EQ(server.script->operationNames(), std::string("create open ") + kExchange);
}

TEST(ClientCall, ResendStatusWritesTheWholeRequestAgainAndLogsEachAttempt) {
  ScriptedServer server;
  server.script->queueFinishStatus(zubJexFinishResend, 3);
  server.script->queueResponse(responseBytes("addResponse", zubJexResponseValue, xint(7)));
  LogCapture log;

  EXPECT_EQ(server.client()->makeCall("ICalc", "add", values({xint(3), xint(4)})).toInt(), 7);

  std::string retry = "startOutput finishOutput close ";
  EXPECT_EQ(server.script->operationNames(), "create open " + retry + retry + retry + kExchange);
  std::vector<std::string> requests = server.script->requests();
  ASSERT_EQ(requests.size(), 4u);
  for (const std::string& r : requests) EXPECT_EQ(r, requests[0]);

  std::vector<std::string> attempt = {"** Send RPC request ICalc:add", "Begin request JEX s11n",
                                      "End request JEX s11n"};
  std::vector<std::string> expected;
  for (int i = 0; i < 4; ++i) expected.insert(expected.end(), attempt.begin(), attempt.end());
  expected.insert(expected.end(),
                  {"Exiting zubJexClient::sendCall", "Begin response JEX des11n",
                   "End response JEX des11n", "** Receive RPC response addResponse"});
  EXPECT_EQ(log.texts(), expected);
  for (const std::string& logger : log.loggers()) EXPECT_EQ(logger, "zubjex_clnt");
}

TEST(ClientCall, StatusesOtherThanFailAndResendCountAsDone) {
  for (int status : {3, -1, 100}) {
    ScriptedServer server;
    server.script->queueFinishStatus(status);
    server.script->queueResponse(responseBytes("addResponse", zubJexResponseValue, xint(1)));
    EXPECT_EQ(server.client()->makeCall("ICalc", "add", values({xint(0), xint(1)})).toInt(), 1);
    EXPECT_EQ(server.script->requests().size(), 1u) << status;
  }
}

TEST(ClientCall, NothingIsLoggedBelowLevelThree) {
  ScriptedServer server;
  server.script->queueResponse(responseBytes("addResponse", zubJexResponseValue, xint(1)));
  std::vector<std::string> seen;
  btkLogManager::SetAreaLevel(ZUBJEX_LOG_AREA, 2);
  btkLogManager::SetSink([&seen](const btkLogRecord& r) { seen.push_back(r.text); });
  server.client()->makeCall("ICalc", "add", values({xint(0), xint(1)}));
  btkLogManager::SetSink(btkLogSink());
  btkLogManager::SetAreaLevel(ZUBJEX_LOG_AREA, 0);
  EXPECT_TRUE(seen.empty());
}

}  // namespace
