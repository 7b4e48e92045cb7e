#include <gtest/gtest.h>

#include <string>

#include "examples/calc/calc_types.h"
#include "message_fixtures.h"
#include "messages/jex_call.h"
#include "platform/rtti_registry.h"
#include "serialization/descriptors.h"

namespace {

using fixtures::Capture;

xrchandle<xanysequence> Values(std::initializer_list<xany> values) {
  xrchandle<xanysequence> seq(xanysequence::create());
  for (const xany& v : values) seq->append(v);
  return seq;
}

class ProxyDescriptorTest : public ::testing::Test {
 protected:
  void SetUp() override {
    calcRegisterTypes();
    zubBinS11nRtti* d = zubBinS11nRttiGetDescriptor("ICalc");
    ASSERT_NE(d, nullptr);
    ASSERT_TRUE(d->isProxy(&calc));
    ASSERT_EQ(static_cast<zubBinS11nRtti*>(calc), d);
    EXPECT_TRUE(d->isProxy(nullptr));
  }
  zubBinS11nRttiProxy* calc = nullptr;
};

// The generated call for each method of ICalc, without and with a target.
TEST_F(ProxyDescriptorTest, CallsOfTheCalculatorMethods) {
  xrcunihandle<xobject> target = calc->createProxy("calc-server", "root");
  const xany t(target.get());
  const struct {
    const char* method;
    std::initializer_list<xany> values;
    const char* names;
    const char* returnType;  // null: none
    bool oneWay;
  } cases[] = {
      {"add", {xint{1}, xint{2}}, "a,b", "int", false},
      {"add", {t, xint{1}, xint{2}}, "this,a,b", "int", false},
      {"divide", {xint{1}, xint{0}}, "a,b", "int", false},
      {"log", {"hello"}, "message", nullptr, true},
      {"createChild", {t, "kid"}, "this,name", "ICalc", false},
      {"getName", {}, "", "string", false},
      {"getName", {t}, "this", "string", false},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(std::string(c.method) + " " + c.names);
    zubJexCall call;
    xrchandle<xanysequence> values = Values(c.values);
    ASSERT_TRUE(calc->createCall(call, c.method, values));
    EXPECT_TRUE(call.getName() == (std::string("ICalc:") + c.method).c_str());
    std::string names;
    for (int32_t i = 0; i < call.getParamNames()->getCount(); ++i) {
      names += std::string(i > 0 ? "," : "") + call.getParamNames()->getAt(i).CastToCString();
    }
    EXPECT_EQ(names, c.names);
    EXPECT_EQ(call.getParamValues().get(), values.get());  // shared, not copied
    // Readers find the return type by its name.
    EXPECT_EQ(call.getReturnType(), c.returnType ? zubRttiGetFromMap(c.returnType) : nullptr);
    if (c.returnType != nullptr) {
      EXPECT_NE(call.getReturnType(), nullptr);
    }
    EXPECT_EQ(call.getIsAsync(), c.oneWay);
  }
}

TEST_F(ProxyDescriptorTest, WrongNumberOfValuesIsRefused) {
  zubJexCall call;
  EXPECT_EQ(Capture([&] { calc->createCall(call, "add", Values({xint{1}})); }).text,
            "invalid parameter count for ICalc:add");
  EXPECT_EQ(Capture([&] {
              calc->createCall(call, "getName", Values({xany(), xany()}));
            }).text,
            "invalid parameter count for ICalc:getName");
}

TEST_F(ProxyDescriptorTest, UnknownMethodOrNoTableGivesFalseAndReleasesTheValues) {
  xrchandle<xanysequence> values = Values({xint{1}});
  zubJexCall call;
  EXPECT_FALSE(calc->createCall(call, "multiply", values));
  EXPECT_FALSE(calc->createCall(call, nullptr, values));
  zubBinS11nRttiProxy noTable(&zubSupportCreate<CalcProxy>, &zubSupportCast<CalcProxy>, nullptr);
  EXPECT_FALSE(noTable.createCall(call, "add", values));
  EXPECT_EQ(values->refCount(), 1);
  EXPECT_TRUE(call.getName().IsNil());
}

TEST_F(ProxyDescriptorTest, CreateProxyBindsServerAndId) {
  xrcunihandle<xobject> a = calc->createProxy("calc-server", "");
  xrcunihandle<xobject> b = calc->createProxy("calc-server", "");
  ASSERT_NE(a.get(), b.get());
  CalcProxy* proxy = CalcProxy::softcast(a.get());
  ASSERT_NE(proxy, nullptr);
  EXPECT_EQ(a->refCount(), 1);
  EXPECT_TRUE(proxy->getServerUrl() == "calc-server");
  EXPECT_TRUE(proxy->getProxyId() == "");
  EXPECT_FALSE(proxy->getProxyId().IsNil());
}

TEST_F(ProxyDescriptorTest, OrdinaryDescriptorIsNoProxy) {
  zubBinS11nRttiProxy* untouched = calc;
  EXPECT_FALSE(zubBinS11nRttiGetDescriptor("CalcError")->isProxy(&untouched));
  EXPECT_EQ(untouched, calc);
}

// The identity part is found through one marker type; only proxies have it.
TEST(JexProxyTest, CastFindsTheIdentityPartOfProxiesOnly) {
  EXPECT_TRUE(zubGetRtti_jexproxy()->getName() == "_s11n_jexproxy");

  EXPECT_EQ(zubS11nCastToJexProxy(Values({}).get()), nullptr);
  xrchandle<CalcProxy> proxy(new CalcProxy());
  zubS11nJexProxy* identity = zubS11nCastToJexProxy(proxy.get());
  ASSERT_EQ(identity, &proxy->identity());
  identity->setProxyId("first");
  identity->setProxyId("second");
  identity->setServerUrl("calc-server");
  EXPECT_TRUE(proxy->getProxyId() == "second");
  EXPECT_TRUE(proxy->getServerUrl() == "calc-server");
  // An ordinary cast still answers for the proxy's own classes.
  EXPECT_EQ(proxy->castByRtti(CalcProxy::getClassRtti()), proxy.get());
}

}  // namespace
