// Every failure reaches the host as one raised throwable with the right text and
// cause, writes one line to standard error, ends the exchange only when there is a
// transport, and leaves the client free in the pool.
#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "client_test_support.h"
#include "errors/message_service.h"

using namespace client_test;

namespace {

// A throwable that is no zubXException: the host is told its type name.
class OddThrowable : public xthrowable {
  XOBJECT_DECLARE_RTTI()
};
XOBJECT_DEFINE_RTTI(OddThrowable, "OddThrowable", xthrowable)

// What a failing call shows the host and the transport.
struct FailureCase {
  const char* what;
  std::function<void(ScriptedServer&)> arrange;
  std::function<void(zubJexClient*)> call;
  std::string text;        // of the raised zubXSerialization; "%s": the server name
  const char* cause;       // its cause's description, or "<no cause>"
  const char* operations;  // the transport operations seen
};

void addCall(zubJexClient* c) { c->makeCall("ICalc", "add", values({xint(1), xint(2)})); }

std::string addResponse() { return responseBytes("addResponse", zubJexResponseValue, xint(3)); }

std::vector<FailureCase> failureCases() {
  const char* failedOutput = "create open startOutput close reportException";
  return {
      {"no transport factory",
       [](ScriptedServer& s) { zubJexClient::setServerConfig(s.name.c_str(), zubJexConfig()); },
       addCall, "JEX Client Error: No JEX transport factory is configured for server %s.",
       "<no cause>", ""},
      {"factory makes no transport", [](ScriptedServer& s) { s.script->failCreate(); }, addCall,
       "JEX Client Error: The JEX transport factory made no transport for server %s.", "<no cause>",
       "create"},
      {"factory raises",
       [](ScriptedServer& s) { s.script->raiseFrom(zubJexTransportOp::Create, "no route"); },
       addCall, "JEX Client Error: no route.", "no route", "create"},
      {"open raises",
       [](ScriptedServer& s) { s.script->raiseFrom(zubJexTransportOp::Open, "refused"); }, addCall,
       "JEX Client Error: refused.", "refused", "create open close reportException"},
      {"no request stream",
       [](ScriptedServer& s) { s.script->returnNullStream(zubJexTransportOp::StartOutput); },
       addCall, "JEX Client Error: Failed to open JEX RPC call request stream.", "<no cause>",
       failedOutput},
      {"reportException raises as well",
       [](ScriptedServer& s) {
         s.script->returnNullStream(zubJexTransportOp::StartOutput);
         s.script->raiseFrom(zubJexTransportOp::ReportException, "report lost");
       },
       addCall, "JEX Client Error: Failed to open JEX RPC call request stream.", "<no cause>",
       failedOutput},
      {"startOutput raises",
       [](ScriptedServer& s) { s.script->raiseFrom(zubJexTransportOp::StartOutput, "down"); },
       addCall, "JEX Client Error: down.", "down", failedOutput},
      {"finish status 1",
       [](ScriptedServer& s) { s.script->queueFinishStatus(zubJexFinishFailed); }, addCall,
       "JEX Client Error: Failed to finish writing JEX call request.", "<no cause>",
       "create open startOutput finishOutput close reportException"},
      {"finish status 1 after a resend",
       [](ScriptedServer& s) {
         s.script->queueFinishStatus(zubJexFinishResend);
         s.script->queueFinishStatus(zubJexFinishFailed);
       },
       addCall, "JEX Client Error: Failed to finish writing JEX call request.", "<no cause>",
       "create open startOutput finishOutput close startOutput finishOutput close "
       "reportException"},
      {"no response stream",
       [](ScriptedServer& s) { s.script->returnNullStream(zubJexTransportOp::StartInput); },
       addCall, "JEX Client Error: Failed to open JEX RPC call response stream.", "<no cause>",
       "create open startOutput finishOutput startInput close reportException"},
      {"response cut short", [](ScriptedServer& s) { s.script->queueResponse("\x01\x0bJEXResp"); },
       addCall, "JEX Client Error: failed to read a response.", "failed to read a response",
       "create open startOutput finishOutput startInput close reportException"},
      {"close raises after a good exchange",
       [](ScriptedServer& s) {
         s.script->queueResponse(addResponse());
         s.script->raiseFrom(zubJexTransportOp::Close, "reset by peer");
       },
       addCall, "JEX Client Error: reset by peer.", "reset by peer",
       "create open startOutput finishOutput startInput close close reportException"},
      {"transport raises no exception class",
       [](ScriptedServer& s) {
         s.script->raiseFrom(zubJexTransportOp::StartInput,
                             xrcunihandle<xthrowable>(new OddThrowable()));
       },
       addCall, "JEX Client Error: OddThrowable.", "<no cause>",
       "create open startOutput finishOutput startInput close reportException"},
      {"no proxy map",
       [](ScriptedServer& s) { zubJexClient::setServerProxyMap(s.name.c_str(), nullptr); }, addCall,
       "JEX Client Error: failed to write a call.", "failed to write a call", failedOutput},
      {"no descriptor for the interface", nullptr,
       [](zubJexClient* c) { c->makeCall("INowhere", "add", values({})); },
       "JEX Client Error: Missing s11n descriptor for ZUB type INowhere.", "<no cause>", ""},
      {"descriptor of no remote interface", nullptr,
       [](zubJexClient* c) { c->makeVoidCall("CalcError", "add", values({})); },
       "JEX Client Error: Invalid s11n descriptor for proxy of ZUB type CalcError.", "<no cause>",
       ""},
      {"method the interface lacks", nullptr,
       [](zubJexClient* c) { c->makeCall("ICalc", "power", values({xint(2)})); },
       "JEX Client Error: Failed to generate RPC call for method \"power\" of ZUB interface "
       "ICalc.",
       "<no cause>", ""},
      {"generator refuses the parameters", nullptr,
       [](zubJexClient* c) { c->makeCall("ICalc", "add", values({xint(2)})); },
       "JEX Client Error: invalid parameter count for ICalc:add.",
       "invalid parameter count for ICalc:add", ""},
  };
}

std::string withServer(std::string text, const std::string& server) {
  size_t at = text.find("%s");
  if (at != std::string::npos) text.replace(at, 2, server);
  return text;
}

TEST(ClientFailures, ReachTheHostWithTheirTextOnceOnStandardError) {
  for (const FailureCase& c : failureCases()) {
    SCOPED_TRACE(c.what);
    ScriptedServer server;
    if (c.arrange) c.arrange(server);
    zubJexClient* client = server.client();
    std::string expected = withServer(c.text, server.name);

    testing::internal::CaptureStderr();
    xrcunihandle<xthrowable> raised = raisedBy([&] { c.call(client); });
    std::string stderrText = testing::internal::GetCapturedStderr();

    ASSERT_TRUE(zubXSerialization::softcast(raised.get())) << descriptionOf(raised.get());
    EXPECT_EQ(descriptionOf(raised.get()), expected);
    EXPECT_EQ(causeOf(raised.get()), c.cause);
    EXPECT_EQ(stderrText, expected + "\n");
    EXPECT_EQ(server.script->operationNames(), c.operations);
    if (std::string(c.operations).find("reportException") != std::string::npos) {
      EXPECT_EQ(server.script->reportedErrors(), std::vector<std::string>{expected});
    }
    EXPECT_EQ(server.client(), client) << "the client goes back to the pool";
    zubJexClient::freeInstance(client);
  }
}

TEST(ClientFailures, ClientRecoversOnTheSameTransport) {
  ScriptedServer server;
  server.script->returnNullStream(zubJexTransportOp::StartOutput);
  server.script->queueResponse(addResponse());
  testing::internal::CaptureStderr();
  EXPECT_TRUE(raisedBy([&] { addCall(server.client()); }));
  testing::internal::GetCapturedStderr();

  EXPECT_EQ(server.client()->makeCall("ICalc", "add", values({xint(1), xint(2)})).toInt(), 3);
  EXPECT_EQ(server.script->operationNames(),
            "create open startOutput close reportException "
            "startOutput finishOutput startInput close");
}

TEST(ClientFailures, EncoderCauseChainIsKept) {
  ScriptedServer server;
  zubJexClient::setServerProxyMap(server.name.c_str(), nullptr);
  testing::internal::CaptureStderr();
  xrcunihandle<xthrowable> raised = raisedBy([&] { addCall(server.client()); });
  testing::internal::GetCapturedStderr();
  zubXException* error = zubXException::softcast(raised.get());
  ASSERT_TRUE(error && error->getCause());
  EXPECT_EQ(causeOf(error->getCause().get()), "invalid parameters");
}

TEST(ClientFaults, FaultWithAnExceptionObjectRaisesThatObject) {
  ScriptedServer server;
  xrcunihandle<xobject> detail(new CalcError("division by zero"));
  server.script->queueResponse(responseBytes("divideResponse", zubJexResponseFault, detail.get(),
                                             nullptr, "Server", "cannot divide"));
  zubJexClient* client = server.client();

  testing::internal::CaptureStderr();
  xrcunihandle<xthrowable> raised = raisedBy([&] {
    client->makeCall("ICalc", "divide", values({xint(1), xint(0)}));
  });
  std::string stderrText = testing::internal::GetCapturedStderr();

  CalcError* error = CalcError::softcast(raised.get());
  ASSERT_TRUE(error) << descriptionOf(raised.get());
  EXPECT_EQ(std::string(error->getDescription().CastToCString()), "division by zero");
  EXPECT_EQ(stderrText, "Server: cannot divide\n");
  EXPECT_EQ(server.script->operationNames(),
            "create open startOutput finishOutput startInput close");
  EXPECT_EQ(server.client(), client);
  zubJexClient::freeInstance(client);
}

TEST(ClientFaults, FaultWithoutAnExceptionObjectRaisesAClientError) {
  struct Detail {
    const char* what;
    xany value;
  };
  for (const Detail& d :
       {Detail{"uninit", xany()}, Detail{"nil", xany::Nil()}, Detail{"int", xint(4)}}) {
    SCOPED_TRACE(d.what);
    ScriptedServer server;
    server.script->queueResponse(
        responseBytes("resetResponse", zubJexResponseFault, d.value, nullptr, "Server", "busy"));
    zubJexCall call;
    call.setName("reset");
    zubJexClient* client = server.client();

    testing::internal::CaptureStderr();
    xrcunihandle<xthrowable> raised = raisedBy([&] { client->makeVoidCall(&call); });
    std::string stderrText = testing::internal::GetCapturedStderr();

    ASSERT_TRUE(zubXSerialization::softcast(raised.get()));
    EXPECT_EQ(descriptionOf(raised.get()), "JEX Client Error: Server: busy.");
    zubXException* cause = zubXException::softcast(raised.get())->getCause().get();
    ASSERT_TRUE(zubXJexFault::isObjKindOf(cause));
    xany detail = zubXJexFault::cast(cause)->getFaultDetail();
    EXPECT_EQ(detail.getKind(), d.value.isuninit() ? xany_nil : d.value.getKind());
    EXPECT_EQ(stderrText, "JEX Client Error: Server: busy.\n");
    EXPECT_EQ(server.script->reportedErrors().size(), 1u);
    EXPECT_EQ(server.client(), client);
    zubJexClient::freeInstance(client);
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

TEST(ClientFailures, HostMessageServiceRewordsTheTexts) {
  Rewording service;
  ScriptedServer server("server", &service);
  server.script->returnNullStream(zubJexTransportOp::StartOutput);
  server.script->queueFinishStatus(zubJexFinishFailed);

  testing::internal::CaptureStderr();
  xrcunihandle<xthrowable> first = raisedBy([&] { addCall(server.client()); });
  xrcunihandle<xthrowable> second = raisedBy([&] { addCall(server.client()); });
  std::string stderrText = testing::internal::GetCapturedStderr();

  EXPECT_EQ(descriptionOf(first.get()), "Client trouble -- the line is busy");
  EXPECT_EQ(descriptionOf(second.get()),
            "Client trouble -- Failed to finish writing JEX call request");
  EXPECT_EQ(stderrText,
            "Client trouble -- the line is busy\n"
            "Client trouble -- Failed to finish writing JEX call request\n");
}

}  // namespace
