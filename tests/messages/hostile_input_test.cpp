// Readers facing input that no honest writer produces: wrong kinds in sequence fields,
// messages cut short at every length, random byte mutations. A read either succeeds or
// raises a zubXSerialization; it never ends the process, leaks, or touches the record.
#include <gtest/gtest.h>

#include <functional>
#include <random>
#include <string>

#include "message_fixtures.h"
#include "messages/jex_serializer.h"
#include "platform/memory_streams.h"
#include "platform/rtti_registry.h"

namespace {

using fixtures::Bytes;
using fixtures::Capture;
using fixtures::FakeProxyMap;
using fixtures::FooProxy;
using fixtures::HostFoo;
using fixtures::Point;
using fixtures::Str;

zubJEXSerializer* Jex() { return zubJEXSerializer::getInstance(); }

const std::string kCallHead = Str("JEXCall") + Str("ping") + Bytes({0x01, 0x00});
const std::string kNames =
    Bytes({0x0A, 0x00}) + Str("xstringsequence") + Bytes({1, 0, 0, 0}) + Str("a");
const std::string kValues = Bytes({0x0A, 0x00}) + Str("xanysequence") + Bytes({1, 0, 0, 0}) +
                            Bytes({0x02, 0x01, 0x00, 0x00, 0x00});
const std::string kTail = Bytes({0x00, 0x0A});

class HostileInputTest : public ::testing::Test {
 protected:
  void SetUp() override {
    fixtures::RegisterTypes();
    host = new HostFoo(1);
    map.add("h7", host.get());
    call.setName("before");
    call.addParam("p", xint{1});
    response.setName("before");
    response.setObject(xint{9});
  }
  void TearDown() override { EXPECT_EQ(FooProxy::live, 0) << "a proxy leaked"; }

  void ExpectRecordsUntouched() {
    EXPECT_TRUE(call.getName() == "before");
    EXPECT_EQ(call.getParamByName("p").toInt(), 1);
    EXPECT_TRUE(response.getName() == "before");
    EXPECT_EQ(response.getObject().toInt(), 9);
  }

  fixtures::Failure ReadCall(const std::string& bytes) {
    return Capture([&] {
      btkMemIStream in(bytes);
      Jex()->readCall(&in, call, &map, "srv");
    });
  }
  fixtures::Failure ReadResponse(const std::string& bytes) {
    return Capture([&] {
      btkMemIStream in(bytes);
      Jex()->readResponse(&in, response, &map, "srv");
    });
  }

  // A call that uses every kind of field: return type, strings of both widths, a
  // proxy, a host object, an ordinary object, a nested sequence.
  std::string RealCall() {
    zubJexCall c;
    c.setName("IFoo:everything");
    c.setReturnType(zubGetRtti_any());
    xrcunihandle<xobject> proxy(new FooProxy());
    zubS11nCastToJexProxy(proxy.get())->setProxyId("42");
    xrchandle<xanysequence> nested(xanysequence::create());
    nested->append(xlong{-1});
    nested->append(xany(host.get()));
    c.addParam("this", xany(proxy.get()));
    c.addParam("peer", xany(host.get()));
    c.addParam("point", xany(static_cast<xobject*>(new Point(3))));
    c.addParam("long", xstring(std::string(300, 'x').c_str()));
    c.addParam("list", xany(static_cast<xobject*>(nested.get())));
    c.addParam("real", xreal{1.5});
    btkMemOStream out;
    Jex()->writeCall(&out, c, &map);
    return out.str();
  }

  std::string RealResponse() {
    zubJexResponse r;
    r.setName("everythingResponse");
    r.setKind(zubJexResponseFault);
    xrcunihandle<xobject> proxy(new FooProxy());
    zubS11nCastToJexProxy(proxy.get())->setProxyId("9");
    r.setObject(xany(proxy.get()));
    r.setFaultCode("E1");
    r.setFaultString("boom");
    btkMemOStream out;
    Jex()->writeResponse(&out, r, &map);
    return out.str();
  }

  FakeProxyMap map;
  xrcunihandle<xobject> host;
  zubJexCall call;
  zubJexResponse response;
};

TEST_F(HostileInputTest, WrongKindWhereASequenceBelongsIsRefused) {
  const struct {
    const char* name;
    std::string names;
    std::string values;
    const char* cause;
  } cases[] = {
      {"names as int", Bytes({0x02, 1, 0, 0, 0}), kValues, "invalid parameter names"},
      {"names as string", Bytes({0x08}) + Str("a"), kValues, "invalid parameter names"},
      {"names uninit", Bytes({0x00}), kValues, "invalid parameter names"},
      {"names as bool", Bytes({0x06, 0x01}), kValues, "invalid parameter names"},
      {"values as int", kNames, Bytes({0x02, 1, 0, 0, 0}), "invalid parameter values"},
      {"values as string", kNames, Bytes({0x08}) + Str("a"), "invalid parameter values"},
      {"values uninit", kNames, Bytes({0x00}), "invalid parameter values"},
      {"values as real", kNames, Bytes({0x07, 0, 0, 0, 0, 0, 0, 0xF0, 0x3F}),
       "invalid parameter values"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    fixtures::Failure f = ReadCall(kCallHead + c.names + c.values + kTail);
    EXPECT_EQ(f.type, "zubXSerialization");
    EXPECT_EQ(f.text, "failed to read a call");
    EXPECT_EQ(f.cause, c.cause);
    ExpectRecordsUntouched();
  }
}

TEST_F(HostileInputTest, ObjectOfAnotherClassGivesNullSequence) {
  const std::string point = Bytes({0x0A, 0x00}) + Str("Point") + Bytes({7, 0, 0, 0});
  fixtures::Failure f = ReadCall(kCallHead + kValues + point + kTail);
  EXPECT_FALSE(f.raised) << f.text << ": " << f.cause;
  EXPECT_TRUE(call.getName() == "ping");
  EXPECT_TRUE(call.getParamNames().isNull());
  EXPECT_TRUE(call.getParamValues().isNull());
}

TEST_F(HostileInputTest, TruncationAtEveryOffsetRaises) {
  const struct {
    const char* name;
    std::string message;
    std::function<fixtures::Failure(const std::string&)> read;
    const char* text;
  } cases[] = {
      {"call", RealCall(), [this](const std::string& b) { return ReadCall(b); },
       "failed to read a call"},
      {"response", RealResponse(), [this](const std::string& b) { return ReadResponse(b); },
       "failed to read a response"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    ASSERT_FALSE(c.read(c.message).raised);  // the whole message is valid
    call.reset();                            // from here on the records must not change
    call.setName("before");
    call.addParam("p", xint{1});
    response.reset();
    response.setName("before");
    response.setObject(xint{9});
    for (size_t n = 0; n < c.message.size(); ++n) {
      fixtures::Failure f = c.read(c.message.substr(0, n));
      ASSERT_TRUE(f.raised) << "length " << n;
      ASSERT_EQ(f.type, "zubXSerialization") << "length " << n;
      ASSERT_EQ(f.text, c.text) << "length " << n;
      ASSERT_EQ(FooProxy::live, 0) << "length " << n;
    }
    ExpectRecordsUntouched();
  }
}

TEST_F(HostileInputTest, RandomMutationsNeverCrash) {
  std::mt19937 random(20261122);
  const struct {
    const char* name;
    std::string message;
    bool isCall;
  } cases[] = {{"call", RealCall(), true}, {"response", RealResponse(), false}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    int failures = 0;
    for (int round = 0; round < 3000; ++round) {
      std::string bytes = c.message;
      const int changes = 1 + static_cast<int>(random() % 3);
      for (int i = 0; i < changes; ++i) {
        bytes[random() % bytes.size()] = static_cast<char>(random() & 0xFF);
      }
      fixtures::Failure f = c.isCall ? ReadCall(bytes) : ReadResponse(bytes);
      if (f.raised) {
        ++failures;
        ASSERT_EQ(f.type, "zubXSerialization") << f.text;
      }
    }
    EXPECT_GT(failures, 0);
    call.reset();
    response.reset();
  }
}

}  // namespace
