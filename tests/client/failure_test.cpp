// Every failure reaches the host as one raised throwable with the right text and
// cause, writes one line to standard error, ends the exchange only when there is a
// transport, and leaves the client free in the pool. Responses that do not answer the
// call are failures too.
#include "errors/message_service.h"
#include "test_support/jex_test_support.h"

using namespace jex_test;

namespace {

// A throwable that is no zubXException: the host is told its type name.
class OddThrowable : public xthrowable {
  XOBJECT_DECLARE_RTTI()
};
XOBJECT_DEFINE_RTTI(OddThrowable, "OddThrowable", xthrowable)

typedef std::function<void(ScriptedServer&)> Arrange;
typedef std::function<void(zubJexClient*)> Call;
typedef zubJexTransportOp Op;

Arrange raise(Op op, const char* text) {
  return [=](ScriptedServer& s) { s.script->raiseFrom(op, text); };
}
Arrange nullStream(Op op) {
  return [=](ScriptedServer& s) { s.script->returnNullStream(op); };
}
Arrange finish(std::vector<int> statuses) {
  return [=](ScriptedServer& s) {
    for (int status : statuses) s.script->queueFinishStatus(status);
  };
}
Arrange respond(std::string bytes) {
  return [=](ScriptedServer& s) { s.script->queueResponse(bytes); };
}
Arrange both(Arrange first, Arrange second) {
  return [=](ScriptedServer& s) {
    first(s);
    second(s);
  };
}
Call call(const char* iface, const char* method, std::vector<xany> params) {
  return [=](zubJexClient* c) {
    xrchandle<xanysequence> seq = values({});
    for (const xany& p : params) seq->append(p);
    c->makeCall(iface, method, seq);
  };
}
Call rootOf(const char* type) {
  return [=](zubJexClient* c) { c->getRootObject(type, "root"); };
}

TEST(ClientFailures, ReachTheHostWithTheirTextOnceOnStandardError) {
  const std::string addResponse = responseBytes("addResponse", zubJexResponseValue, xint(3));
  const Call add = call("ICalc", "add", {xint(1), xint(2)});
  const char* outputFailed = "create open startOutput close reportException";
  const char* inputFailed = "create open startOutput finishOutput startInput close reportException";
  struct Case {
    const char* what;
    Arrange arrange;
    Call call;
    const char* text;        // "%s": the server name
    const char* causes;      // the chain of causes' texts
    const char* operations;  // the transport operations seen
  } cases[] = {
      {"no transport factory",
       [](ScriptedServer& s) { zubJexClient::setServerConfig(s.name.c_str(), zubJexConfig()); },
       add, "No JEX transport factory is configured for server %s", "", ""},
      {"factory makes no transport", [](ScriptedServer& s) { s.script->failCreate(); }, add,
       "The JEX transport factory made no transport for server %s", "", "create"},
      {"factory raises", raise(Op::Create, "no route"), add, "no route", "no route", "create"},
      {"open raises", raise(Op::Open, "refused"), add, "refused", "refused",
       "create open close reportException"},
      {"no request stream", nullStream(Op::StartOutput), add,
       "Failed to open JEX RPC call request stream", "", outputFailed},
      {"reportException raises as well",
       both(nullStream(Op::StartOutput), raise(Op::ReportException, "report lost")), add,
       "Failed to open JEX RPC call request stream", "", outputFailed},
      {"startOutput raises", raise(Op::StartOutput, "down"), add, "down", "down", outputFailed},
      {"finish status 1 after a resend", finish({zubJexFinishResend, zubJexFinishFailed}), add,
       "Failed to finish writing JEX call request", "",
       "create open startOutput finishOutput close startOutput finishOutput close "
       "reportException"},
      {"no response stream", nullStream(Op::StartInput), add,
       "Failed to open JEX RPC call response stream", "", inputFailed},
      {"response cut short", respond("\x01\x0bJEXResp"), add, "failed to read a response",
       "failed to read a response <- unexpected end of stream", inputFailed},
      {"close raises after a good exchange",
       both(respond(addResponse), raise(Op::Close, "reset by peer")), add, "reset by peer",
       "reset by peer",
       "create open startOutput finishOutput startInput close close reportException"},
      {"transport raises no exception class",
       [](ScriptedServer& s) {
         s.script->raiseFrom(Op::StartInput, xrcunihandle<xthrowable>(new OddThrowable()));
       },
       add, "OddThrowable", "", inputFailed},
      {"no proxy map",
       [](ScriptedServer& s) { zubJexClient::setServerProxyMap(s.name.c_str(), nullptr); }, add,
       "failed to write a call", "failed to write a call <- invalid parameters", outputFailed},
      {"no descriptor for the interface", nullptr, call("INowhere", "add", {}),
       "Missing s11n descriptor for ZUB type INowhere", "", ""},
      {"descriptor of no remote interface", nullptr,
       [](zubJexClient* c) { c->makeVoidCall("CalcError", "add", values({})); },
       "Invalid s11n descriptor for proxy of ZUB type CalcError", "", ""},
      {"method the interface lacks", nullptr, call("ICalc", "power", {xint(2)}),
       "Failed to generate RPC call for method \"power\" of ZUB interface ICalc", "", ""},
      {"generator refuses the parameters", nullptr, call("ICalc", "add", {xint(2)}),
       "invalid parameter count for ICalc:add", "invalid parameter count for ICalc:add", ""},
      {"root object of an unknown type", nullptr, rootOf("INowhere"),
       "Missing s11n descriptor for ZUB type INowhere", "", ""},
      {"root object of an ordinary type", nullptr, rootOf("CalcError"),
       "Invalid s11n descriptor for proxy of ZUB type CalcError", "", ""},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    ScriptedServer server;
    if (c.arrange) c.arrange(server);
    std::string expected = "JEX Client Error: " + withName(c.text, server.name) + ".";

    Outcome outcome = outcomeOf(server, c.call);

    ASSERT_TRUE(zubXSerialization::softcast(outcome.raised.get()));
    EXPECT_EQ(descriptionOf(outcome.raised.get()), expected);
    EXPECT_EQ(causesOf(outcome.raised.get()), c.causes);
    EXPECT_EQ(outcome.stderrText, expected + "\n");
    EXPECT_EQ(server.script->operationNames(), c.operations);
    bool reported = std::string(c.operations).find("reportException") != std::string::npos;
    EXPECT_EQ(server.script->reportedErrors(),
              reported ? std::vector<std::string>{expected} : std::vector<std::string>{});
    EXPECT_TRUE(outcome.clientFree);
  }
}

TEST(ClientFaults, FaultDetailIsRaisedWhenItIsAnExceptionElseCarriedInAClientError) {
  xrcunihandle<xobject> calcError(new CalcError("division by zero"));
  for (xany detail : {xany(calcError.get()), xany(), xany::Nil(), xany(xint(4))}) {
    SCOPED_TRACE(detail.getKind());
    ScriptedServer server;
    server.script->queueResponse(
        responseBytes("resetResponse", zubJexResponseFault, detail, nullptr, "Server", "busy"));
    zubJexCall reset;
    reset.setName("reset");
    Outcome outcome = outcomeOf(server, [&](zubJexClient* c) { c->makeVoidCall(&reset); });
    xobject* raised = outcome.raised.get();
    EXPECT_TRUE(outcome.clientFree);
    if (detail.getKind() == xany_object) {
      ASSERT_TRUE(CalcError::softcast(raised));
      EXPECT_EQ(descriptionOf(raised), "division by zero");
      EXPECT_EQ(outcome.stderrText, "Server: busy\n");
      EXPECT_EQ(server.script->operationNames(),
                "create open startOutput finishOutput startInput close");
      continue;
    }
    ASSERT_TRUE(zubXSerialization::softcast(raised));
    EXPECT_EQ(descriptionOf(raised), "JEX Client Error: Server: busy.");
    EXPECT_EQ(outcome.stderrText, "JEX Client Error: Server: busy.\n");
    zubXException* cause = zubXException::softcast(raised)->getCause().get();
    ASSERT_TRUE(zubXJexFault::isObjKindOf(cause));
    EXPECT_EQ(zubXJexFault::cast(cause)->getFaultDetail().getKind(),
              detail.isuninit() ? xany_nil : detail.getKind());
    EXPECT_EQ(server.script->reportedErrors().size(), 1u);
  }
}

// Rewords the client error and the missing request stream; leaves the rest to the
// built-in texts by answering "".
class Rewording : public zubMessageService {
 public:
  xstring getLocalizedMessage(xstring key, xrchandle<xstringsequence> args) override {
    if (key == "zubJEX_JEX_CLIENT_ERROR") {
      return xstring::Printf("Client trouble -- %s", args->getAt(0).CastToCString());
    }
    if (key == "zubJEX_FAILED_GET_REQUEST") return "the line is busy";
    return "";
  }
};

TEST(ClientFailures, HostMessageServiceRewordsTheTextsAndTheTransportServesOnAfterwards) {
  Rewording service;
  ScriptedServer server(&service);
  server.script->returnNullStream(Op::StartOutput);
  server.script->queueFinishStatus(zubJexFinishFailed);
  server.script->queueResponse(responseBytes("addResponse", zubJexResponseValue, xint(3)));
  Call add = call("ICalc", "add", {xint(1), xint(2)});

  EXPECT_EQ(outcomeOf(server, add).stderrText, "Client trouble -- the line is busy\n");
  Outcome second = outcomeOf(server, add);
  EXPECT_EQ(descriptionOf(second.raised.get()),
            "Client trouble -- Failed to finish writing JEX call request");
  EXPECT_EQ(second.stderrText, "Client trouble -- Failed to finish writing JEX call request\n");
  EXPECT_FALSE(outcomeOf(server, add).raised);
  EXPECT_EQ(server.script->operationNames(),
            "create open startOutput close reportException startOutput finishOutput close "
            "reportException startOutput finishOutput startInput close");
}

const char* const kBadName = "JEX Client Error: Invalid JEX response name.";
const char* const kBadKind = "JEX Client Error: Invalid JEX response kind.";
const char* const kValueInVoid = "JEX Client Error: JEX call to void method returned a value.";
const char* const kNoAny =
    "JEX Client Error: JEX call is expected to return a value of ZUB type any.";
const char* const kNoInt =
    "JEX Client Error: JEX call is expected to return a value of ZUB type int.";

// Whether a response answers the call: its kind for the kind of call, its name for the
// method's name, and the presence of a value for the return type.
TEST(ClientResponseChecks, AcceptOrRejectAsTheTableSays) {
  struct Case {
    const char* callName;
    bool voidCall;        // makeVoidCall instead of makeCall
    bool callReturnsInt;  // the call's return type: int, else none
    const char* responseName;
    int kind;
    xany value;
    bool responseNamesInt;  // the return type the server names: int, else none
    const char* error;      // the host's error text, or null
  } cases[] = {
      // Names: a two-word name is compared by its method part, others whole.
      {"Calc:add", false, true, "addResponse", 2, xint(1), false, nullptr},
      {"Calc:add", false, true, "addReply", 2, xint(1), false, nullptr},
      {"Calc:add", false, true, "Calc:addResponse", 2, xint(1), false, nullptr},
      {"add", false, true, "X:addReply", 2, xint(1), false, nullptr},
      {"Calc:add", false, true, "addresult", 2, xint(1), false, kBadName},
      {"Calc:add", false, true, "Calc:add:Response", 2, xint(1), false, kBadName},
      {"Calc:add", false, true, "subResponse", 2, xint(1), false, kBadName},
      {"a:b:c", false, true, "a:b:cResponse", 2, xint(1), false, nullptr},
      {"a:b:c", false, true, "cResponse", 2, xint(1), false, kBadName},
      // Calls with a result: a value must come, nil counts as one; the server's type is
      // replaced by the call's (or any).
      {"get", false, false, "getResponse", 2, xany(), false, kNoAny},
      {"get", false, true, "getResponse", 2, xany(), true, kNoInt},
      {"get", false, false, "getResponse", 2, xany::Nil(), false, nullptr},
      {"get", false, true, "getResponse", 2, "text", false, nullptr},
      {"get", false, true, "getResponse", 1, xany(), false, kBadKind},
      {"get", false, true, "getResponse", 0, xint(1), false, kBadKind},
      // Calls without a result (read all the same): the response's own return type decides;
      // names are checked as for calls with a result.
      {"reset", true, false, "resetResponse", 1, xany(), false, nullptr},
      {"reset", true, false, "resetResponse", 1, xany::Nil(), false, kValueInVoid},
      {"reset", true, false, "resetResponse", 1, xint(3), false, kValueInVoid},
      {"reset", true, false, "resetResponse", 1, xany(), true, kNoInt},
      {"reset", true, false, "resetResponse", 1, xint(3), true, nullptr},
      {"reset", true, false, "resetResponse", 2, xint(3), false, kBadKind},
      {"reset", true, false, "resetResponse", 0, xany(), false, kBadKind},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(std::string(c.callName) + " answered by " + c.responseName + " kind " +
                 std::to_string(c.kind));
    ScriptedServer server;
    server.script->queueResponse(responseBytes(c.responseName,
                                               static_cast<zubJexResponseKind>(c.kind), c.value,
                                               c.responseNamesInt ? zubGetRtti_int() : nullptr));
    zubJexCall request;
    request.setName(c.callName);
    request.setReturnType(c.callReturnsInt ? zubGetRtti_int() : nullptr);
    xany result = c.value;
    Outcome outcome = outcomeOf(server, [&](zubJexClient* client) {
      if (c.voidCall) client->makeVoidCall(&request);
      if (!c.voidCall) result = client->makeCall(&request);
    });
    std::string error = c.error ? c.error : "";
    EXPECT_EQ(outcome.raised ? descriptionOf(outcome.raised.get()) : "", error);
    EXPECT_EQ(outcome.stderrText, c.error ? error + "\n" : "");
    EXPECT_TRUE(!c.error || zubXSerialization::softcast(outcome.raised.get()));
    EXPECT_EQ(causesOf(outcome.raised.get()), "");
    EXPECT_EQ(result, c.value);
    EXPECT_TRUE(outcome.clientFree);
  }
}

}  // namespace
