#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "examples/calc/calc_types.h"
#include "messages/jex_call.h"
#include "platform/exceptions.h"
#include "platform/rtti_registry.h"
#include "serialization/descriptors.h"

namespace {

std::string Names(const zubJexCall& call) {
  std::string out;
  xrchandle<xstringsequence> names = call.getParamNames();
  for (int32_t i = 0; i < names->getCount(); ++i) {
    out += std::string(i > 0 ? "," : "") + names->getAt(i).CastToCString();
  }
  return out;
}

xrchandle<xanysequence> Values(std::initializer_list<xany> values) {
  xrchandle<xanysequence> seq(xanysequence::create());
  for (const xany& v : values) seq->append(v);
  return seq;
}

std::string ErrorOf(const std::function<void()>& op) {
  try {
    op();
  } catch (xthrowable* t) {
    xrcunihandle<xthrowable> caught = xadoptThrown(t);
    return zubXException::softcast(caught.get())->getDescription().CastToCString();
  }
  return "<none>";
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
  struct Case {
    const char* method;
    std::initializer_list<xany> values;
    const char* name;
    const char* names;
    const char* returnType;  // null: none
    bool oneWay;
  };
  xrcunihandle<xobject> target = calc->createProxy("calc-server", "root");
  const Case cases[] = {
      {"add", {xany(xint{1}), xany(xint{2})}, "ICalc:add", "a,b", "int", false},
      {"add",
       {xany(target.get()), xany(xint{1}), xany(xint{2})},
       "ICalc:add",
       "this,a,b",
       "int",
       false},
      {"divide", {xany(xint{1}), xany(xint{0})}, "ICalc:divide", "a,b", "int", false},
      {"log", {xany("hello")}, "ICalc:log", "message", nullptr, true},
      {"createChild",
       {xany(target.get()), xany("kid")},
       "ICalc:createChild",
       "this,name",
       "ICalc",
       false},
      {"getName", {}, "ICalc:getName", "", "string", false},
      {"getName", {xany(target.get())}, "ICalc:getName", "this", "string", false},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(std::string(c.method) + " " + c.names);
    zubJexCall call;
    xrchandle<xanysequence> values = Values(c.values);
    ASSERT_TRUE(calc->createCall(call, c.method, values));
    EXPECT_TRUE(call.getName() == c.name);
    EXPECT_EQ(Names(call), c.names);
    EXPECT_EQ(call.getParamValues().get(), values.get());  // shared, not copied
    if (c.returnType == nullptr) {
      EXPECT_EQ(call.getReturnType(), nullptr);
    } else {
      ASSERT_NE(call.getReturnType(), nullptr);
      EXPECT_TRUE(call.getReturnType()->getName() == c.returnType);
      // Readers find the return type by its name.
      EXPECT_EQ(zubRttiGetFromMap(c.returnType), call.getReturnType());
    }
    EXPECT_EQ(call.getIsAsync(), c.oneWay);
  }
}

TEST_F(ProxyDescriptorTest, WrongNumberOfValuesIsRefused) {
  zubJexCall call;
  EXPECT_EQ(ErrorOf([&] { calc->createCall(call, "add", Values({xany(xint{1})})); }),
            "invalid parameter count for ICalc:add");
  EXPECT_EQ(ErrorOf([&] {
              calc->createCall(call, "getName", Values({xany(), xany()}));
            }),
            "invalid parameter count for ICalc:getName");
}

TEST_F(ProxyDescriptorTest, UnknownMethodOrNoTableGivesFalseAndReleasesTheValues) {
  xrchandle<xanysequence> values = Values({xany(xint{1})});
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
  zubBinS11nRtti* d = zubBinS11nRttiGetDescriptor("CalcError");
  ASSERT_NE(d, nullptr);
  zubBinS11nRttiProxy* untouched = calc;
  EXPECT_FALSE(d->isProxy(&untouched));
  EXPECT_EQ(untouched, calc);
}

}  // namespace
