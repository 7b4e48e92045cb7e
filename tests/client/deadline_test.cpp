// Per-call deadlines: the thread's scope (nesting keeps the earlier one, leaving a scope
// restores the outer one), and a transport's deadline error reaching the host like every
// client error, with the exchange ended and the client back in the pool.
#include "client/deadline.h"

#include <chrono>
#include <climits>

#include "errors/message_service.h"
#include "test_support/jex_test_support.h"

using namespace jex_test;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

namespace {

typedef zubJexTransportOp Op;

TEST(ClientDeadline, NestingKeepsTheEarlierDeadlineAndLeavingRestoresTheOuterOne) {
  EXPECT_FALSE(zubJexDeadline::active());
  EXPECT_EQ(zubJexDeadline::remainingMs(), -1);
  EXPECT_FALSE(zubJexDeadline::expired());
  {
    zubJexDeadline outer(milliseconds(60000));
    EXPECT_GT(zubJexDeadline::remainingMs(), 59000);
    {
      zubJexDeadline later(milliseconds(600000));  // cannot extend the outer one
      EXPECT_LE(zubJexDeadline::remainingMs(), 60000);
      {
        zubJexDeadline sooner(milliseconds(5000));
        EXPECT_LE(zubJexDeadline::remainingMs(), 5000);
        EXPECT_GT(zubJexDeadline::remainingMs(), 4000);
      }
      EXPECT_GT(zubJexDeadline::remainingMs(), 59000);
      {
        zubJexDeadline passed(steady_clock::now() - milliseconds(1));
        EXPECT_TRUE(zubJexDeadline::expired());
        EXPECT_EQ(zubJexDeadline::remainingMs(), 0);
      }
      EXPECT_FALSE(zubJexDeadline::expired());
    }
    std::thread([] { EXPECT_FALSE(zubJexDeadline::active()); }).join();  // per thread
  }
  EXPECT_FALSE(zubJexDeadline::active());
  {
    zubJexDeadline zero(milliseconds(0));
    EXPECT_TRUE(zubJexDeadline::expired());
  }
  {
    zubJexDeadline far(milliseconds::max());  // saturates instead of overflowing
    EXPECT_EQ(zubJexDeadline::remainingMs(), INT_MAX);
    EXPECT_FALSE(zubJexDeadline::expired());
  }
}

// A scripted transport (its factory records no "create") whose step `late` records itself and then
// raises the deadline's error, as a transport whose wait the deadline ended does.
class LateTransport : public zubJexScriptedTransport {
 public:
  LateTransport(std::shared_ptr<zubJexTransportScript> script, Op late)
      : zubJexScriptedTransport(std::move(script)), late_(late) {}
  void open(xstring serverName) override {
    server_ = serverName.CastToCString();
    zubJexScriptedTransport::open(serverName);
    if (late_ == Op::Open) zubJexRaiseDeadlineExceeded(server_.c_str());
  }
  int finishOutput() override {
    int status = zubJexScriptedTransport::finishOutput();
    if (late_ == Op::FinishOutput) zubJexRaiseDeadlineExceeded(server_.c_str());
    return status;
  }
  btkIStream* startInput() override {
    btkIStream* stream = zubJexScriptedTransport::startInput();
    if (late_ == Op::StartInput) zubJexRaiseDeadlineExceeded(server_.c_str());
    return stream;
  }

 private:
  Op late_;
  std::string server_;
};

class LateFactory : public zubJexTransportFactory {
 public:
  LateFactory(std::shared_ptr<zubJexTransportScript> script, Op late)
      : script_(std::move(script)), late_(late) {}
  zubJexTransport* createTransport() override { return new LateTransport(script_, late_); }

 private:
  std::shared_ptr<zubJexTransportScript> script_;
  Op late_;
};

// Rewords only the deadline's text.
class DeadlineWording : public zubMessageService {
 public:
  xstring getLocalizedMessage(xstring key, xrchandle<xstringsequence> args) override {
    if (key != "zubJEX_DEADLINE_EXCEEDED") return "";
    return xstring::Printf("%s was too slow", args->getAt(0).CastToCString());
  }
};

TEST(ClientDeadline, TransportDeadlineErrorReachesTheHostAsAClientError) {
  DeadlineWording wording;
  struct Case {
    Op late;
    zubMessageService* service;
    const char* text;  // "%s": the server name
    const char* operations;
  } cases[] = {
      {Op::Open, nullptr, "JEX call to %s exceeded its deadline", "open close reportException"},
      {Op::FinishOutput, nullptr, "JEX call to %s exceeded its deadline",
       "open startOutput finishOutput close reportException"},
      {Op::StartInput, nullptr, "JEX call to %s exceeded its deadline",
       "open startOutput finishOutput startInput close reportException"},
      {Op::StartInput, &wording, "%s was too slow",
       "open startOutput finishOutput startInput close reportException"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.operations);
    ScriptedServer server(c.service);
    LateFactory factory(server.script, c.late);
    zubJexConfig config = zubJexClient::getServerConfig(server.name.c_str());
    config.setJexTransportFactory(&factory);
    zubJexClient::setServerConfig(server.name.c_str(), config);
    server.script->queueResponse(responseBytes("addResponse", zubJexResponseValue, xint(3)));
    std::string expected = "JEX Client Error: " + withName(c.text, server.name) + ".";

    Outcome outcome = outcomeOf(server, [](zubJexClient* client) {
      client->makeCall("ICalc", "add", values({xint(1), xint(2)}));
    });

    ASSERT_TRUE(zubXSerialization::softcast(outcome.raised.get()));
    EXPECT_EQ(descriptionOf(outcome.raised.get()), expected);
    EXPECT_EQ(causesOf(outcome.raised.get()), "");
    EXPECT_EQ(outcome.stderrText, expected + "\n");
    EXPECT_EQ(server.script->operationNames(), c.operations);
    EXPECT_EQ(server.script->reportedErrors(), std::vector<std::string>{expected});
    EXPECT_TRUE(outcome.clientFree);
  }
}

}  // namespace
