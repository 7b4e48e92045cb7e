#include "messages/jex_serializer.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "message_fixtures.h"
#include "platform/memory_streams.h"
#include "platform/rtti_registry.h"
#include "platform/sequences.h"

namespace {

using fixtures::Bytes;
using fixtures::Capture;
using fixtures::FakeProxyMap;
using fixtures::FooProxy;
using fixtures::Hex;
using fixtures::HostFoo;
using fixtures::Point;
using fixtures::Str;

zubJEXSerializer* Jex() { return zubJEXSerializer::getInstance(); }

const std::string kInt1 = Bytes({0x02, 0x01, 0x00, 0x00, 0x00});
const std::string kNoType = Bytes({0x01, 0x00});
const std::string kNilString = Bytes({0x01, 0x00});

std::string Seq(const char* type, int count) {
  return Bytes({0x0A, 0x00}) + Str(type) + Bytes({count, 0x00, 0x00, 0x00});
}

class JexSerializerTest : public ::testing::Test {
 protected:
  void SetUp() override {
    fixtures::RegisterTypes();
    host = new HostFoo(1);
    map.add("h7", host.get());
  }
  void TearDown() override { EXPECT_EQ(FooProxy::live, 0) << "a proxy leaked"; }

  FakeProxyMap map;
  xrcunihandle<xobject> host;
};

struct CallCase {
  const char* name;
  std::function<void(zubJexCall&)> build;
  std::string bytes;
  std::function<void(zubJexCall&)> check;  // of the call read from `bytes`
};

TEST_F(JexSerializerTest, GoldenCallsInBothDirections) {
  const CallCase cases[] = {
      {"ping, no return type, no parameters", [](zubJexCall& c) { c.setName("ping"); },
       Str("JEXCall") + Str("ping") + kNoType + Bytes({0x01, 0x01, 0x00, 0x0A}),
       [](zubJexCall& c) {
         EXPECT_TRUE(c.getName() == "ping");
         EXPECT_EQ(c.getReturnType(), nullptr);
         EXPECT_TRUE(c.getParamNames().isNull());
         EXPECT_TRUE(c.getParamValues().isNull());
         EXPECT_FALSE(c.getIsAsync());
       }},
      {"one-way ping",
       [](zubJexCall& c) {
         c.setName("ping");
         c.setIsAsync(true);
       },
       Str("JEXCall") + Str("ping") + kNoType + Bytes({0x01, 0x01, 0x01, 0x0A}),
       [](zubJexCall& c) { EXPECT_TRUE(c.getIsAsync()); }},
      {"Calc:add with return type and parameters",
       [](zubJexCall& c) {
         c.setName("Calc:add");
         c.setReturnType(zubGetRtti_any());
         c.addParam("a", xint{1});
         c.addParam("s", "abc");
       },
       Str("JEXCall") + Str("Calc:add") + Str("any") + Seq("xstringsequence", 2) + Str("a") +
           Str("s") + Seq("xanysequence", 2) + kInt1 + Bytes({0x08}) + Str("abc") +
           Bytes({0x00, 0x0A}),
       [](zubJexCall& c) {
         EXPECT_EQ(c.getReturnType(), zubGetRtti_any());
         ASSERT_FALSE(c.getParamNames().isNull());
         EXPECT_EQ(c.getParamNames()->getCount(), 2);
         EXPECT_TRUE(c.getParamNames()->getAt(1) == "s");
         EXPECT_EQ(c.getParamByName("a").toInt(), 1);
         EXPECT_TRUE(c.getParamByName("s").toString() == "abc");
       }},
      {"proxy and host object as parameters",
       [this](zubJexCall& c) {
         xrcunihandle<xobject> proxy(new FooProxy());
         zubS11nCastToJexProxy(proxy.get())->setProxyId("42");
         c.setName("IFoo:link");
         c.addParam("this", xany(proxy.get()));
         c.addParam("peer", xany(host.get()));
       },
       Str("JEXCall") + Str("IFoo:link") + kNoType + Seq("xstringsequence", 2) + Str("this") +
           Str("peer") + Seq("xanysequence", 2) + Bytes({0x0A, 0x00}) + Str("IFoo") + Str("42") +
           Bytes({0x0A, 0x00}) + Str("IFoo") + Str("h7") + Bytes({0x00, 0x0A}),
       [this](zubJexCall& c) {
         zubS11nJexProxy* target = zubS11nCastToJexProxy(c.getParamByName("this").toObject());
         ASSERT_NE(target, nullptr);
         EXPECT_TRUE(target->serverUrl == "srv");
         EXPECT_TRUE(target->getProxyId() == "42");
         EXPECT_EQ(c.getParamByName("peer").toObject(), host.get());
       }},
  };
  for (const CallCase& c : cases) {
    SCOPED_TRACE(c.name);
    btkMemOStream out;
    {
      zubJexCall call;
      c.build(call);
      Jex()->writeCall(&out, call, &map);
    }
    EXPECT_EQ(Hex(out.str()), Hex(c.bytes));

    zubJexCall read;
    btkMemIStream in(c.bytes);
    Jex()->readCall(&in, read, &map, "srv");
    EXPECT_EQ(in.remaining(), 0u);
    c.check(read);
    btkMemOStream again;
    Jex()->writeCall(&again, read, &map);
    EXPECT_EQ(Hex(again.str()), Hex(c.bytes));
  }
}

struct ResponseCase {
  const char* name;
  std::function<void(zubJexResponse&)> build;
  std::string bytes;
  std::function<void(zubJexResponse&)> check;
};

TEST_F(JexSerializerTest, GoldenResponsesInBothDirections) {
  const ResponseCase cases[] = {
      {"initial state is 27 bytes", [](zubJexResponse&) {},
       Str("JEXResponse") + kNilString + Bytes({0, 0, 0, 0}) + kNoType + Bytes({0x00}) +
           kNilString + kNilString + Bytes({0x0A}),
       [](zubJexResponse& r) {
         EXPECT_EQ(r.getKind(), zubJexResponseNone);
         EXPECT_TRUE(r.getName().IsNil());
         EXPECT_TRUE(r.getObject().isuninit());
         EXPECT_TRUE(r.getFaultCode().IsNil());
       }},
      {"value",
       [](zubJexResponse& r) {
         r.setName("addResponse");
         r.setKind(zubJexResponseValue);
         r.setReturnType(zubGetRtti_any());
         r.setObject(xint{3});
       },
       Str("JEXResponse") + Str("addResponse") + Bytes({2, 0, 0, 0}) + Str("any") +
           Bytes({0x02, 0x03, 0x00, 0x00, 0x00}) + kNilString + kNilString + Bytes({0x0A}),
       [](zubJexResponse& r) {
         EXPECT_TRUE(r.getName() == "addResponse");
         EXPECT_EQ(r.getKind(), zubJexResponseValue);
         EXPECT_EQ(r.getReturnType(), zubGetRtti_any());
         EXPECT_EQ(r.getObject().toInt(), 3);
       }},
      {"fault",
       [](zubJexResponse& r) {
         r.setName("addResponse");
         r.setKind(zubJexResponseFault);
         r.setObject("detail");
         r.setFaultCode("E1");
         r.setFaultString("boom");
       },
       Str("JEXResponse") + Str("addResponse") + Bytes({3, 0, 0, 0}) + kNoType + Bytes({0x08}) +
           Str("detail") + Str("E1") + Str("boom") + Bytes({0x0A}),
       [](zubJexResponse& r) {
         EXPECT_EQ(r.getKind(), zubJexResponseFault);
         EXPECT_TRUE(r.getFaultCode() == "E1");
         EXPECT_TRUE(r.getFaultString() == "boom");
         EXPECT_TRUE(r.getObject().toString() == "detail");
       }},
      {"kind out of range, ordinary object value",
       [](zubJexResponse& r) {
         r.setKind(static_cast<zubJexResponseKind>(-2));
         r.setObject(xany(static_cast<xobject*>(new Point(7))));
       },
       Str("JEXResponse") + kNilString + Bytes({0xFE, 0xFF, 0xFF, 0xFF}) + kNoType +
           Bytes({0x0A, 0x00}) + Str("Point") + Bytes({7, 0, 0, 0}) + kNilString + kNilString +
           Bytes({0x0A}),
       [](zubJexResponse& r) {
         EXPECT_EQ(static_cast<int>(r.getKind()), -2);
         ASSERT_TRUE(r.getObject().toObject()->isKindOf(Point::getClassRtti()));
         EXPECT_EQ(static_cast<Point*>(r.getObject().toObject())->x, 7);
       }},
      {"proxy as result",
       [](zubJexResponse& r) {
         xrcunihandle<xobject> proxy(new FooProxy());
         zubS11nCastToJexProxy(proxy.get())->setProxyId("9");
         r.setKind(zubJexResponseValue);
         r.setObject(xany(proxy.get()));
       },
       Str("JEXResponse") + kNilString + Bytes({2, 0, 0, 0}) + kNoType + Bytes({0x0A, 0x00}) +
           Str("IFoo") + Str("9") + kNilString + kNilString + Bytes({0x0A}),
       [](zubJexResponse& r) {
         zubS11nJexProxy* p = zubS11nCastToJexProxy(r.getObject().toObject());
         ASSERT_NE(p, nullptr);
         EXPECT_TRUE(p->serverUrl == "srv");
         EXPECT_TRUE(p->getProxyId() == "9");
       }},
  };
  EXPECT_EQ(cases[0].bytes.size(), 27u);
  for (const ResponseCase& c : cases) {
    SCOPED_TRACE(c.name);
    btkMemOStream out;
    {
      zubJexResponse response;
      c.build(response);
      Jex()->writeResponse(&out, response, &map);
    }
    EXPECT_EQ(Hex(out.str()), Hex(c.bytes));

    zubJexResponse read;
    btkMemIStream in(c.bytes);
    Jex()->readResponse(&in, read, &map, "srv");
    EXPECT_EQ(in.remaining(), 0u);
    c.check(read);
    btkMemOStream again;
    Jex()->writeResponse(&again, read, &map);
    EXPECT_EQ(Hex(again.str()), Hex(c.bytes));
  }
}

TEST_F(JexSerializerTest, GoldenObjectMessagesInBothDirections) {
  const struct {
    const char* name;
    xany value;
    std::string bytes;
  } cases[] = {
      {"int 5", xany(xint{5}), Str("JEXObject") + Bytes({0x02, 0x05, 0x00, 0x00, 0x00})},
      {"nil", xany::Nil(), Str("JEXObject") + Bytes({0x01})},
      {"string", xany("abc"), Str("JEXObject") + Bytes({0x08}) + Str("abc")},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    btkMemOStream out;
    xany value = c.value;
    Jex()->writeObject(&out, value);
    EXPECT_EQ(Hex(out.str()), Hex(c.bytes));
    btkMemIStream in(c.bytes);
    xany read;
    Jex()->readObject(&in, read);
    EXPECT_TRUE(read == c.value);
    EXPECT_EQ(in.remaining(), 0u);
  }
}

TEST_F(JexSerializerTest, ReaderAcceptsAnyFlagAndEndByte) {
  const std::string call = Str("JEXCall") + Str("ping") + kNoType + Bytes({0x01, 0x01, 0x02, 0x00});
  zubJexCall c;
  btkMemIStream in(call);
  Jex()->readCall(&in, c, &map, "srv");
  EXPECT_TRUE(c.getIsAsync());

  const std::string response = Str("JEXResponse") + kNilString + Bytes({1, 0, 0, 0}) + kNoType +
                               Bytes({0x01}) + kNilString + kNilString + Bytes({0x00});
  zubJexResponse r;
  btkMemIStream rin(response);
  Jex()->readResponse(&rin, r, &map, "srv");
  EXPECT_EQ(r.getKind(), zubJexResponseVoid);
  EXPECT_TRUE(r.getObject().isnil());
}

TEST_F(JexSerializerTest, UnknownReturnTypeNameReadsAsNull) {
  const std::string response = Str("JEXResponse") + kNilString + Bytes({2, 0, 0, 0}) +
                               Str("NoSuchType") + Bytes({0x01}) + kNilString + kNilString +
                               Bytes({0x0A});
  zubJexResponse r;
  r.setReturnType(zubGetRtti_any());
  btkMemIStream in(response);
  Jex()->readResponse(&in, r, &map, "srv");
  EXPECT_EQ(r.getReturnType(), nullptr);
}

TEST_F(JexSerializerTest, TypeRegisteredAfterAFailedLookupIsFound) {
  const std::string response = Str("JEXResponse") + kNilString + Bytes({2, 0, 0, 0}) +
                               Str("LateType") + Bytes({0x01}) + kNilString + kNilString +
                               Bytes({0x0A});
  auto read = [&] {
    zubJexResponse r;
    btkMemIStream in(response);
    Jex()->readResponse(&in, r, &map, "srv");
    return r.getReturnType();
  };
  EXPECT_EQ(read(), nullptr);
  static xrttiobject late;
  initializeRttiObject(&late, "LateType", 0, 0, nullptr);
  zubRttiRegister(&late);
  EXPECT_EQ(read(), &late);
}

// Readers on several threads at once, each thread ending while strings it read are
// still held by the main thread.
TEST_F(JexSerializerTest, ConcurrentReadersShareTheEncoder) {
  const std::string call = Str("JEXCall") + Str("Calc:add") + kNoType + Seq("xstringsequence", 2) +
                           Str("a") + Str("s") + Seq("xanysequence", 2) + kInt1 + Bytes({0x08}) +
                           Str("abc") + Bytes({0x00, 0x0A});
  std::vector<xstring> kept(4);
  std::vector<int> good(4, 0);
  std::vector<std::thread> threads;
  for (size_t t = 0; t < kept.size(); ++t) {
    threads.emplace_back([&, t] {
      for (int i = 0; i < 200; ++i) {
        zubJexCall c;
        btkMemIStream in(call);
        Jex()->readCall(&in, c, &map, "srv");
        if (c.getName() == "Calc:add" && c.getParamByName("s").toString() == "abc") ++good[t];
        kept[t] = c.getParamNames()->getAt(1);
      }
    });
  }
  for (std::thread& t : threads) t.join();
  for (size_t t = 0; t < kept.size(); ++t) {
    EXPECT_EQ(good[t], 200);
    EXPECT_TRUE(kept[t] == "s");
  }
}

// Fills a call and a response with values that every failed read must leave alone.
void FillBefore(zubJexCall& call, zubJexResponse& response) {
  call.setName("before");
  call.addParam("p", xint{1});
  call.setIsAsync(true);
  response.setName("before");
  response.setKind(zubJexResponseValue);
  response.setObject(xint{9});
  response.setFaultCode("c");
}

void ExpectBefore(zubJexCall& call, zubJexResponse& response) {
  EXPECT_TRUE(call.getName() == "before");
  EXPECT_EQ(call.getParamByName("p").toInt(), 1);
  EXPECT_TRUE(call.getIsAsync());
  EXPECT_TRUE(response.getName() == "before");
  EXPECT_EQ(response.getKind(), zubJexResponseValue);
  EXPECT_EQ(response.getObject().toInt(), 9);
  EXPECT_TRUE(response.getFaultCode() == "c");
}

TEST_F(JexSerializerTest, FailuresAreWrappedWithTheirCause) {
  const std::string goodCall = Str("JEXCall") + Str("ping") + kNoType + Bytes({1, 1, 0, 0x0A});
  const std::string goodResponse = Str("JEXResponse") + kNilString + Bytes({1, 0, 0, 0}) + kNoType +
                                   Bytes({0x01}) + kNilString + kNilString + Bytes({0x0A});
  zubJexCall call;
  zubJexResponse response;
  FillBefore(call, response);
  btkMemOStream out;
  btkMemOStream wrongModeOut;
  wrongModeOut.GetSerializer()->SetMode(2);
  auto readCall = [&](const std::string& bytes, zubJexProxyMap* m, xstring url) {
    btkMemIStream in(bytes);
    Jex()->readCall(&in, call, m, url);
  };
  auto readResponse = [&](const std::string& bytes, zubJexProxyMap* m, xstring url) {
    btkMemIStream in(bytes);
    Jex()->readResponse(&in, response, m, url);
  };
  auto readObject = [&](const std::string& bytes) {
    btkMemIStream in(bytes);
    xany v;
    Jex()->readObject(&in, v);
  };
  const struct {
    const char* name;
    std::function<void()> op;
    const char* text;
    const char* cause;
  } cases[] = {
      {"write call without map", [&] { Jex()->writeCall(&out, call, nullptr); },
       "failed to write a call", "invalid parameters"},
      {"write response without map", [&] { Jex()->writeResponse(&out, response, nullptr); },
       "failed to write a response", "invalid parameters"},
      {"write call to a stream in another mode",
       [&] { Jex()->writeCall(&wrongModeOut, call, &map); }, "failed to write a call",
       "invalid stream mode"},
      {"write object to a stream in another mode",
       [&] {
         xany e = xany::Enum(1);
         Jex()->writeObject(&wrongModeOut, e);
       },
       "failed to write an object", "invalid stream mode"},
      {"read call without map", [&] { readCall(goodCall, nullptr, "srv"); },
       "failed to read a call", "invalid parameters"},
      {"read call with nil server", [&] { readCall(goodCall, &map, xstring()); },
       "failed to read a call", "invalid parameters"},
      {"read response without map", [&] { readResponse(goodResponse, nullptr, "srv"); },
       "failed to read a response", "invalid parameters"},
      {"read response with nil server", [&] { readResponse(goodResponse, &map, xstring()); },
       "failed to read a response", "invalid parameters"},
      {"call tag is JEXResponse", [&] { readCall(goodResponse, &map, "srv"); },
       "failed to read a call", "invalid call format"},
      {"call tag of size 0",
       [&] {
         readCall(kNilString + Str("ping") + kNoType + Bytes({1, 1, 0, 0x0A}), &map, "srv");
       },
       "failed to read a call", "invalid call format"},
      {"response tag is JEXCall", [&] { readResponse(goodCall, &map, "srv"); },
       "failed to read a response", "invalid response format"},
      {"object tag is JEXCall", [&] { readObject(goodCall); }, "failed to read an object.",
       "invalid object format"},
      {"call cut short", [&] { readCall(goodCall.substr(0, goodCall.size() - 1), &map, "srv"); },
       "failed to read a call", "unexpected end of stream"},
      {"response value of unknown kind",
       [&] {
         readResponse(
             Str("JEXResponse") + kNilString + Bytes({1, 0, 0, 0}) + kNoType + Bytes({0x09}), &map,
             "srv");
       },
       "failed to read a response", "invalid object kind"},
      {"response object of unknown type",
       [&] {
         readResponse(Str("JEXResponse") + kNilString + Bytes({1, 0, 0, 0}) + kNoType +
                          Bytes({0x0A, 0x00}) + Str("Nope"),
                      &map, "srv");
       },
       "failed to read a response", "invalid rtti Nope"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    fixtures::Failure f = Capture(c.op);
    EXPECT_TRUE(f.raised);
    EXPECT_EQ(f.type, "zubXSerialization");
    EXPECT_EQ(f.text, c.text);
    EXPECT_EQ(f.cause, c.cause);
    ExpectBefore(call, response);
  }
  EXPECT_EQ(out.size(), 0u);
}

TEST_F(JexSerializerTest, WriteEnumFailsAfterTheTag) {
  btkMemOStream out;
  xany e = xany::Enum(1);
  fixtures::Failure f = Capture([&] { Jex()->writeObject(&out, e); });
  EXPECT_EQ(f.text, "failed to write an object");
  EXPECT_EQ(f.cause, "invalid object kind");
  EXPECT_EQ(Hex(out.str()), Hex(Str("JEXObject") + Bytes({0x09})));
}

}  // namespace
