// The road of a successful call: the transport operations in order, the request on the
// wire, resending on request, the log records, and the root object. One-way calls are
// seen in the server tests: over TCP a client that waited for an answer would time out.
#include <mutex>

#include "calc.jex.h"
#include "platform/logging.h"
#include "test_support/jex_test_support.h"

using namespace jex_test;

namespace {

const std::string kExchange = "startOutput finishOutput startInput close";

// Runs `action` with the ZUBJEX area at `level`; returns "logger: text" of every record.
template <class F>
std::vector<std::string> logged(int level, F action) {
  std::mutex mutex;
  std::vector<std::string> records;
  btkLogManager::SetAreaLevel(ZUBJEX_LOG_AREA, level);
  btkLogManager::SetSink([&](const btkLogRecord& r) {
    std::lock_guard<std::mutex> lock(mutex);
    records.push_back(r.logger + ": " + r.text);
  });
  action();
  btkLogManager::SetSink(btkLogSink());
  btkLogManager::SetAreaLevel(ZUBJEX_LOG_AREA, 0);
  return records;
}

xany add(const ScriptedServer& server, int a, int b) {
  return server.client()->makeCall("ICalc", "add", values({xint(a), xint(b)}));
}

// What the generated call carries is seen in the server tests.
TEST(ClientCall, WritesTheCallsAndKeepsTheFreeClientAndItsTransportForTheNext) {
  ScriptedServer server;
  server.script->queueResponse(responseBytes("addResponse", zubJexResponseValue, xint(5)));
  server.script->queueResponse(responseBytes("Calc:echoReply", zubJexResponseValue, xany::Nil()));
  zubJexClient* client = server.client();
  xany sum = client->makeCall("ICalc", "add", values({xint(2), xint(3)}));
  EXPECT_EQ(sum.getKind(), xany_int);
  EXPECT_EQ(sum.toInt(), 5);

  zubJexCall echo;  // a prepared call is written as given
  echo.setName("Calc:echo");
  echo.setReturnType(zubGetRtti_string());
  echo.addParam("text", "hello");
  echo.setIsAsync(true);  // ignored by makeCall: a response is read all the same
  EXPECT_EQ(server.client(), client);
  EXPECT_EQ(client->makeCall(&echo).getKind(), xany_nil);

  EXPECT_EQ(server.script->operationNames(), "create open " + kExchange + " " + kExchange);
  EXPECT_EQ(server.script->openedWith(), std::vector<std::string>{server.name});
  zubJexCall sent;
  decodeCall(server.script->requests().at(1), sent);
  EXPECT_EQ(sent.getName(), "Calc:echo");
  EXPECT_EQ(sent.getReturnType(), zubGetRtti_string());
  EXPECT_EQ(sent.getParamByName("text").toString(), "hello");
}

TEST(ClientCall, ResendStatusWritesTheWholeRequestAgainAndLogsEachAttempt) {
  ScriptedServer server;
  server.script->queueFinishStatus(zubJexFinishResend, 3);
  server.script->queueResponse(responseBytes("addResponse", zubJexResponseValue, xint(7)));
  std::vector<std::string> records = logged(3, [&] { EXPECT_EQ(add(server, 3, 4).toInt(), 7); });

  std::string retry = "startOutput finishOutput close ";
  EXPECT_EQ(server.script->operationNames(), "create open " + retry + retry + retry + kExchange);
  std::vector<std::string> requests = server.script->requests();
  ASSERT_EQ(requests.size(), 4u);
  for (const std::string& r : requests) EXPECT_EQ(r, requests[0]);
  std::vector<std::string> expected;
  for (int i = 0; i < 4; ++i) {
    expected.insert(expected.end(), {"** Send RPC request ICalc:add", "Begin request JEX s11n",
                                     "End request JEX s11n"});
  }
  expected.insert(expected.end(),
                  {"Exiting zubJexClient::sendCall", "Begin response JEX des11n",
                   "End response JEX des11n", "** Receive RPC response addResponse"});
  for (std::string& text : expected) text = "zubjex_clnt: " + text;
  EXPECT_EQ(records, expected);
}

TEST(ClientCall, OtherStatusesThanFailAndResendCountAsDoneAndNothingIsLoggedBelowLevelThree) {
  ScriptedServer server;
  for (int status : {3, -1, 100}) {
    server.script->queueFinishStatus(status);
    server.script->queueResponse(responseBytes("addResponse", zubJexResponseValue, xint(1)));
    EXPECT_EQ(logged(2, [&] { EXPECT_EQ(add(server, 0, 1).toInt(), 1); }).size(), 0u);
  }
  EXPECT_EQ(server.script->requests().size(), 3u);
}

TEST(ClientRootObject, IsAProxyBoundToTheServerMadeWithoutAnyExchange) {
  ScriptedServer server;
  zubJexClient* client = server.client();
  xrcunihandle<xobject> root = client->getRootObject("ICalc", "calc-7");
  xrcunihandle<xobject> again = client->getRootObject("ICalc", "");
  ICalcProxy* proxy = ICalcProxy::softcast(root.get());
  ASSERT_TRUE(proxy && ICalcProxy::softcast(again.get()));
  EXPECT_EQ(proxy->getServerUrl(), server.name.c_str());
  EXPECT_EQ(proxy->getProxyId(), "calc-7");
  EXPECT_EQ(ICalcProxy::softcast(again.get())->getProxyId(), "");
  EXPECT_EQ(server.script->operationNames(), "");
  zubJexClient* other = server.client();
  EXPECT_NE(other, client);  // in use until it is given back
  for (zubJexClient* c : {client, other}) zubJexClient::freeInstance(c);
  // That a call on it carries its id is seen in the server tests (unknown object).
}

}  // namespace
