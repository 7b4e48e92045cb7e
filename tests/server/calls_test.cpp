// Calls of every kind through a real client to the calculator, run over the loopback
// transport and over TCP alike: values, void and one-way calls, objects returned as
// proxies, and every kind of fault.
#include "calc.jex.h"
#include "server_test_support.h"

using namespace jex_test;

namespace {

enum class Via { kLoopback, kTcp };

class CallKinds : public ::testing::TestWithParam<Via> {
 protected:
  CallKinds()
      : calc(GetParam() == Via::kLoopback ? static_cast<CalcDispatcher*>(new LoopbackCalc())
                                          : new TcpCalc()) {}

  xany call(const char* method, std::initializer_list<xany> params) {
    return client(calc->name)->makeCall("ICalc", method, values(params));
  }
  // A call record made by hand, for what the proxy's generators never produce.
  xany callPrepared(const char* name, std::initializer_list<std::pair<const char*, xany>> params) {
    zubJexCall call;
    call.setName(name);
    call.setReturnType(zubGetRtti_int());
    for (const auto& p : params) call.addParam(p.first, p.second);
    return client(calc->name)->makeCall(&call);
  }
  xrcunihandle<xobject> proxyOf(const char* id) {
    zubJexClient* c = client(calc->name);
    xrcunihandle<xobject> proxy = c->getRootObject("ICalc", id);
    zubJexClient::freeInstance(c);
    return proxy;
  }

  std::unique_ptr<CalcDispatcher> calc;
};

TEST_P(CallKinds, ValueAndOneWayCallsReachTheServer) {
  EXPECT_EQ(call("add", {xint(2), xint(3)}).toInt(), 5);
  EXPECT_EQ(call("getName", {}).toString(), "root");
  EXPECT_EQ(call("add", {proxyOf(kCalcRootId).get(), xint(-4), xint(1)}).toInt(), -3);  // "this"

  client(calc->name)->makeVoidCall("ICalc", "log", values({"first"}));
  client(calc->name)->makeVoidCall("ICalc", "log", values({"second"}));
  EXPECT_EQ(call("add", {xint(1), xint(1)}).toInt(), 2);  // the connection is still in step
  ASSERT_TRUE(calc->root->waitForLogged(2, 5000));
  EXPECT_EQ(calc->root->loggedMessages(), (std::vector<std::string>{"first", "second"}));
}

TEST_P(CallKinds, ReturnedServerObjectArrivesAsAProxyBoundToTheServer) {
  xany kid = call("createChild", {"kid"});
  xany other = call("createChild", {"other"});
  ICalcProxy* kidProxy = ICalcProxy::softcast(kid.toObject());
  ICalcProxy* otherProxy = ICalcProxy::softcast(other.toObject());
  ASSERT_TRUE(kidProxy && otherProxy);
  EXPECT_EQ(kidProxy->getServerUrl(), calc->name.c_str());
  EXPECT_FALSE(kidProxy->getProxyId().IsEmpty());
  EXPECT_NE(kidProxy->getProxyId(), otherProxy->getProxyId());

  EXPECT_EQ(call("getName", {kid}).toString(), "kid");
  EXPECT_EQ(call("getName", {other}).toString(), "other");
  xany grandchild = call("createChild", {kid, "grandchild"});
  EXPECT_EQ(call("getName", {grandchild}).toString(), "grandchild");
}

// The host's errors are zubXSerialization objects with texts that begin with
// "JEX Client Error: "; the service's own exceptions arrive as CalcError objects.
TEST_P(CallKinds, FailuresArriveAsTheServersExceptionOrAsWordedFaults) {
  struct Case {
    const char* name;
    std::function<void()> action;
    std::string text;
  } cases[] = {
      {"exception with a descriptor",
       [&] {
         call("divide", {xint(1), xint(0)});
       },
       "division by zero"},
      {"sum beyond an int",
       [&] {
         call("add", {xint(2147483647), xint(1)});
       },
       "integer overflow"},
      // A parameter of the wrong kind never reaches the conversion that would end the
      // server process: the skeleton answers with a fault that names it.
      {"parameter of the wrong kind",
       [&] {
         callPrepared("ICalc:add", {{"a", "two"}, {"b", 2}});
       },
       "JEX Client Error: zubXSerialization: the parameter a of ICalc:add: expected int, got a "
       "string."},
      {"unknown object", [&] { call("getName", {proxyOf("nope").get()}); },
       "JEX Client Error: UnknownObject: unknown object nope."},
      {"unknown method", [&] { callPrepared("ICalc:frobnicate", {}); },
       "JEX Client Error: UnknownMethod: unknown method frobnicate of ICalc."},
      {"interface without a root", [&] { callPrepared("IOther:ping", {}); },
       "JEX Client Error: UnknownObject: no root object of interface IOther."},
      {"target that is no object",
       [&] {
         callPrepared("ICalc:getName", {{"this", xint(1)}});
       },
       "JEX Client Error: UnknownObject: the call names no target object."},
      {"exception without descriptor", [&] { callPrepared("ICalc:failPlain", {}); },
       "JEX Client Error: zubXException: boom."},
      {"standard exception", [&] { callPrepared("ICalc:failStd", {}); },
       "JEX Client Error: ServerError: bad thing."},
  };
  for (const Case& c : cases) {
    xrcunihandle<xthrowable> raised = raisedBy(c.action);
    ASSERT_TRUE(raised) << c.name;
    bool hostError = c.text.rfind("JEX Client Error: ", 0) == 0;
    EXPECT_EQ(raised->getZubTypeName(), hostError ? "zubXSerialization" : "CalcError") << c.name;
    EXPECT_EQ(descriptionOf(raised.get()), c.text) << c.name;
  }
  EXPECT_EQ(call("add", {xint(2), xint(2)}).toInt(), 4);
}

INSTANTIATE_TEST_SUITE_P(Transports, CallKinds, ::testing::Values(Via::kLoopback, Via::kTcp),
                         [](const ::testing::TestParamInfo<Via>& info) {
                           return info.param == Via::kLoopback ? "Loopback" : "Tcp";
                         });

}  // namespace
