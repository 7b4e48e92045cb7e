// The calls and proxies that a proxy descriptor makes. What a server makes of the calls
// is seen in the client and server tests.
#include "calc.jex.h"
#include "serialization/descriptors.h"
#include "test_support/jex_test_support.h"

using namespace jex_test;

namespace {

zubBinS11nRttiProxy* calcDescriptor() {
  calcRegisterTypes();
  zubBinS11nRttiProxy* calc = nullptr;
  EXPECT_TRUE(zubBinS11nRttiGetDescriptor("ICalc")->isProxy(&calc));
  return calc;
}

// The generated call for each kind of method of ICalc, without and with a target.
TEST(ProxyDescriptorTest, CallsOfTheCalculatorMethods) {
  zubBinS11nRttiProxy* calc = calcDescriptor();
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
      {"log", {"hello"}, "message", nullptr, true},
      {"createChild", {t, "kid"}, "this,name", "ICalc", false},
      {"getName", {}, "", "string", false},
      {"getName", {t}, "this", "string", false},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(std::string(c.method) + " " + c.names);
    zubJexCall call;
    xrchandle<xanysequence> params = values(c.values);
    ASSERT_TRUE(calc->createCall(call, c.method, params));
    EXPECT_EQ(call.getName(), (std::string("ICalc:") + c.method).c_str());
    std::string names;
    for (int32_t i = 0; i < call.getParamNames()->getCount(); ++i) {
      names += std::string(i > 0 ? "," : "") + call.getParamNames()->getAt(i).CastToCString();
    }
    EXPECT_EQ(names, c.names);
    EXPECT_EQ(call.getParamValues().get(), params.get());  // shared, not copied
    // Readers find the return type by its name.
    EXPECT_EQ(call.getReturnType(), c.returnType ? zubRttiGetFromMap(c.returnType) : nullptr);
    EXPECT_TRUE(c.returnType == nullptr || call.getReturnType() != nullptr);
    EXPECT_EQ(call.getIsAsync(), c.oneWay);
  }
  zubJexCall call;  // one value more than a target and the parameters
  EXPECT_EQ(raisedText([&] {
              calc->createCall(call, "getName", values({t, t}));
            }),
            "invalid parameter count for ICalc:getName");
}

TEST(ProxyDescriptorTest, UnknownMethodOrNoTableGivesFalseAndReleasesTheValues) {
  zubBinS11nRttiProxy* calc = calcDescriptor();
  xrchandle<xanysequence> params = values({xint{1}});
  zubJexCall call;
  EXPECT_FALSE(calc->createCall(call, "multiply", params));
  EXPECT_FALSE(calc->createCall(call, nullptr, params));
  zubBinS11nRttiProxy noTable(&zubSupportCreate<ICalcProxy>, &zubSupportCast<ICalcProxy>, nullptr);
  EXPECT_FALSE(noTable.createCall(call, "add", params));
  EXPECT_EQ(params->refCount(), 1);
  EXPECT_TRUE(call.getName().IsNil());
}

TEST(ProxyDescriptorTest, CreateProxyBindsServerAndId) {
  xrcunihandle<xobject> made = calcDescriptor()->createProxy("calc-server", "");
  ICalcProxy* proxy = ICalcProxy::softcast(made.get());
  ASSERT_NE(proxy, nullptr);
  EXPECT_EQ(made->refCount(), 1);
  EXPECT_EQ(proxy->getServerUrl(), "calc-server");
  EXPECT_EQ(proxy->getProxyId(), "");  // empty, not nil
}

// The identity part is found through one marker type; only proxies have it.
TEST(JexProxyTest, CastFindsTheIdentityPartOfProxiesOnly) {
  EXPECT_EQ(zubGetRtti_jexproxy()->getName(), "_s11n_jexproxy");
  EXPECT_EQ(zubS11nCastToJexProxy(values({}).get()), nullptr);
  xrchandle<ICalcProxy> proxy(new ICalcProxy());
  EXPECT_EQ(zubS11nCastToJexProxy(proxy.get()), &proxy->identity());
  // An ordinary cast still answers for the proxy's own classes.
  EXPECT_EQ(proxy->castByRtti(ICalcProxy::getClassRtti()), proxy.get());
}

}  // namespace
