// Calls of every kind through a real client to the calculator, run over the loopback
// transport and over TCP alike: values, void and one-way calls, objects returned as
// proxies, and every kind of fault.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>

#include "examples/calc/calc_proxy.h"
#include "platform/rtti_registry.h"
#include "server_test_support.h"

using namespace server_test;

namespace {

enum class Via { kLoopback, kTcp };

class CallKinds : public ::testing::TestWithParam<Via> {
 protected:
  void SetUp() override {
    if (GetParam() == Via::kLoopback) {
      loopback_ = std::make_unique<LoopbackCalc>();
    } else {
      tcp_ = std::make_unique<TcpCalc>();
    }
  }
  const std::string& server() const { return loopback_ ? loopback_->name() : tcp_->name(); }
  CalcService& root() const { return loopback_ ? *loopback_->root : *tcp_->root; }

  xany call(const char* method, std::initializer_list<xany> params) {
    return client(server())->makeCall("ICalc", method, values(params));
  }
  // A call record made by hand, for what the proxy's generators never produce.
  xany callPrepared(const char* name, std::initializer_list<std::pair<const char*, xany>> params) {
    zubJexCall call;
    call.setName(name);
    call.setReturnType(zubGetRtti_int());
    for (const auto& p : params) call.addParam(p.first, p.second);
    return client(server())->makeCall(&call);
  }
  xrcunihandle<xobject> proxyOf(const char* id) {
    zubJexClient* c = client(server());
    xrcunihandle<xobject> proxy = c->getRootObject("ICalc", id);
    zubJexClient::freeInstance(c);
    return proxy;
  }

 private:
  std::unique_ptr<LoopbackCalc> loopback_;
  std::unique_ptr<TcpCalc> tcp_;
};

TEST_P(CallKinds, ValueCallsReturnTheServersResults) {
  EXPECT_EQ(call("add", {xint(2), xint(3)}).toInt(), 5);
  EXPECT_EQ(call("divide", {xint(7), xint(2)}).toInt(), 3);
  EXPECT_EQ(call("getName", {}).toString(), "root");
  xrcunihandle<xobject> root = proxyOf(kCalcRootId);
  EXPECT_EQ(call("add", {root.get(), xint(-4), xint(1)}).toInt(), -3);  // with "this"
}

TEST_P(CallKinds, OneWayCallRunsWithoutAnAnswer) {
  client(server())->makeVoidCall("ICalc", "log", values({"first"}));
  client(server())->makeVoidCall("ICalc", "log", values({"second"}));
  EXPECT_EQ(call("add", {xint(1), xint(1)}).toInt(), 2);  // the connection is still in step
  ASSERT_TRUE(root().waitForLogged(2, 5000));
  EXPECT_EQ(root().loggedMessages(), (std::vector<std::string>{"first", "second"}));
}

TEST_P(CallKinds, ReturnedServerObjectArrivesAsAProxyBoundToTheServer) {
  xany kid = call("createChild", {"kid"});
  xany other = call("createChild", {"other"});
  CalcProxy* kidProxy = CalcProxy::softcast(kid.toObject());
  CalcProxy* otherProxy = CalcProxy::softcast(other.toObject());
  ASSERT_TRUE(kidProxy != nullptr);
  ASSERT_TRUE(otherProxy != nullptr);
  EXPECT_EQ(kidProxy->getServerUrl(), server().c_str());
  EXPECT_FALSE(kidProxy->getProxyId().IsEmpty());
  EXPECT_NE(kidProxy->getProxyId(), otherProxy->getProxyId());

  EXPECT_EQ(call("getName", {kid}).toString(), "kid");
  EXPECT_EQ(call("getName", {other}).toString(), "other");
  xany grandchild = call("createChild", {kid, "grandchild"});
  EXPECT_EQ(call("getName", {grandchild}).toString(), "grandchild");
}

TEST_P(CallKinds, ExceptionWithADescriptorIsRaisedAsTheServersOwnObject) {
  xrcunihandle<xthrowable> raised = raisedBy([&] { call("divide", {xint(1), xint(0)}); });
  CalcError* error = CalcError::softcast(raised.get());
  ASSERT_TRUE(error != nullptr) << descriptionOf(raised);
  EXPECT_EQ(error->getDescription(), "division by zero");
}

TEST_P(CallKinds, OtherFailuresArriveAsFaultsWorded) {
  struct Case {
    const char* name;
    std::function<void()> action;
    std::string text;
  } cases[] = {
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
    EXPECT_TRUE(zubXSerialization::softcast(raised.get()) != nullptr) << c.name;
    EXPECT_EQ(descriptionOf(raised), c.text) << c.name;
  }
  // A parameter of the wrong kind never reaches the conversion that would end the
  // server process: it is the service's own error.
  xrcunihandle<xthrowable> raised = raisedBy([&] {
    callPrepared("ICalc:add", {{"a", "two"}, {"b", xint(2)}});
  });
  ASSERT_TRUE(CalcError::softcast(raised.get()) != nullptr);
  EXPECT_EQ(descriptionOf(raised), "invalid parameter a");
  EXPECT_EQ(call("add", {xint(2), xint(2)}).toInt(), 4);
}

INSTANTIATE_TEST_SUITE_P(Transports, CallKinds, ::testing::Values(Via::kLoopback, Via::kTcp),
                         [](const ::testing::TestParamInfo<Via>& info) {
                           return info.param == Via::kLoopback ? "Loopback" : "Tcp";
                         });

}  // namespace
