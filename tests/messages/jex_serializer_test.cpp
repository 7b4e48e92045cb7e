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
#include "test_support/piecewise_streams.h"

namespace {

using namespace fixtures;  // NOLINT(build/namespaces)

using JexSerializerTest = MessageTest;

const std::string kInt1 = Bytes({0x02, 0x01, 0x00, 0x00, 0x00});
const std::string kAddCall =
    Str("JEXCall") + Str("Calc:add") + Str("any") + Seq("xstringsequence", 2) + Str("a") +
    Str("s") + Seq("xanysequence", 2) + kInt1 + Bytes({0x08}) + Str("abc") + Bytes({0x00, 0x0A});
const std::string kInitialResponse = Str("JEXResponse") + kNil + Bytes({0, 0, 0, 0}) + kNil +
                                     Bytes({0x00}) + kNil + kNil + Bytes({0x0A});

// A proxy read from a message is bound to the server it came from.
void ExpectBound(const xany& value) {
  zubS11nJexProxy* p =
      value.getKind() == xany_object ? zubS11nCastToJexProxy(value.toObject()) : nullptr;
  if (p != nullptr) {
    EXPECT_TRUE(p->serverUrl == "srv");
  }
}

void Write(btkOStream* o, zubJexCall& c, zubJexProxyMap* m) { Jex()->writeCall(o, c, m); }
void Write(btkOStream* o, zubJexResponse& r, zubJexProxyMap* m) { Jex()->writeResponse(o, r, m); }
void Read(btkIStream* i, zubJexCall& c, zubJexProxyMap* m) { Jex()->readCall(i, c, m, "srv"); }
void Read(btkIStream* i, zubJexResponse& r, zubJexProxyMap* m) {
  Jex()->readResponse(i, r, m, "srv");
}

// Writes the record that `build` fills and expects `bytes`; reads `bytes` into `read`,
// consuming all of them, and writes `read` again to the same bytes. Memory streams and
// streams of another kind give the same bytes.
template <class Record, class Build>
void BothWays(const Build& build, const std::string& bytes, Record& read, zubJexProxyMap* map) {
  btkMemOStream out;
  jex_test::PiecewiseOStream pieces;
  {
    Record built;
    build(built);
    Write(&out, built, map);
    Write(&pieces, built, map);
  }
  EXPECT_EQ(Hex(out.str()), Hex(bytes));
  EXPECT_EQ(Hex(pieces.bytes), Hex(bytes));
  jex_test::PiecewiseIStream piecewiseIn(bytes);
  Read(&piecewiseIn, read, map);
  EXPECT_EQ(piecewiseIn.remaining(), 0u);
  btkMemIStream in(bytes);
  Read(&in, read, map);
  EXPECT_EQ(in.remaining(), 0u);
  btkMemOStream again;
  Write(&again, read, map);
  EXPECT_EQ(Hex(again.str()), Hex(bytes));
}

TEST_F(JexSerializerTest, GoldenCallsInBothDirections) {
  const struct {
    const char* name;
    std::function<void(zubJexCall&)> build;
    std::string bytes;
  } cases[] = {
      {"reset call is empty: no name, return type or parameters, not one-way",
       [](zubJexCall& c) {
         c.initialize("m", zubGetRtti_int(), xstringsequence::create(), xanysequence::create(),
                      true);
         c.reset();
       },
       Str("JEXCall") + kNil + kNil + Bytes({0x01, 0x01, 0x00, 0x0A})},
      {"one-way ping", [](zubJexCall& c) { c.initialize("ping", nullptr, nullptr, nullptr, true); },
       Str("JEXCall") + Str("ping") + kNil + Bytes({0x01, 0x01, 0x01, 0x0A})},
      {"Calc:add with return type and parameters",
       [](zubJexCall& c) {
         c.setName("Calc:add");
         c.setReturnType(zubGetRtti_any());
         c.addParam("a", xint{1});
         c.addParam("s", "abc");
       },
       kAddCall},
      {"proxy and host object as parameters",
       [this](zubJexCall& c) {
         c.setName("IFoo:link");
         c.addParam("this", xany(Proxy("42").get()));
         c.addParam("peer", xany(host.get()));
       },
       Str("JEXCall") + Str("IFoo:link") + kNil + Seq("xstringsequence", 2) + Str("this") +
           Str("peer") + Seq("xanysequence", 2) + Bytes({0x0A, 0x00}) + Str("IFoo") + Str("42") +
           Bytes({0x0A, 0x00}) + Str("IFoo") + Str("h7") + Bytes({0x00, 0x0A})},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    zubJexCall read;
    BothWays(c.build, c.bytes, read, &map);
    for (int32_t i = 0; read.getParamValues() && i < read.getParamValues()->getCount(); ++i) {
      ExpectBound(read.getParamValues()->getAt(i));
    }
    if (read.getName() == "IFoo:link") {
      EXPECT_EQ(read.getParamByName("peer").toObject(), host.get());
    }
  }
}

// Fills a response of the golden table.
std::function<void(zubJexResponse&)> Fill(const char* name, int kind, xrtti* type, xany object,
                                          const char* code = nullptr, const char* text = nullptr) {
  return [=](zubJexResponse& r) {
    r.setName(name);
    r.setKind(static_cast<zubJexResponseKind>(kind));
    r.setReturnType(type);
    r.setObject(object);
    r.setFaultCode(code);
    r.setFaultString(text);
  };
}

TEST_F(JexSerializerTest, GoldenResponsesInBothDirections) {
  const struct {
    const char* name;
    std::function<void(zubJexResponse&)> build;
    std::string bytes;
  } cases[] = {
      {"initial state is 27 bytes", [](zubJexResponse&) {}, kInitialResponse},
      {"reset response is in the initial state",
       [](zubJexResponse& r) {
         Fill("addResponse", zubJexResponseFault, zubGetRtti_int(), xint{3}, "code", "text")(r);
         r.reset();
       },
       kInitialResponse},
      {"value", Fill("addResponse", zubJexResponseValue, zubGetRtti_any(), xint{3}),
       Str("JEXResponse") + Str("addResponse") + Bytes({2, 0, 0, 0}) + Str("any") +
           Bytes({0x02, 0x03, 0x00, 0x00, 0x00}) + kNil + kNil + Bytes({0x0A})},
      {"fault", Fill("addResponse", zubJexResponseFault, nullptr, "detail", "E1", "boom"),
       Str("JEXResponse") + Str("addResponse") + Bytes({3, 0, 0, 0}) + kNil + Bytes({0x08}) +
           Str("detail") + Str("E1") + Str("boom") + Bytes({0x0A})},
      {"kind out of range, ordinary object value",
       Fill(nullptr, -2, nullptr, xany(static_cast<xobject*>(new Point(7)))),
       Str("JEXResponse") + kNil + Bytes({0xFE, 0xFF, 0xFF, 0xFF}) + kNil + Bytes({0x0A, 0x00}) +
           Str("Point") + Bytes({7, 0, 0, 0}) + kNil + kNil + Bytes({0x0A})},
      {"proxy as result", Fill(nullptr, zubJexResponseValue, nullptr, xany(Proxy("9").get())),
       Str("JEXResponse") + kNil + Bytes({2, 0, 0, 0}) + kNil + Bytes({0x0A, 0x00}) + Str("IFoo") +
           Str("9") + kNil + kNil + Bytes({0x0A})},
  };
  EXPECT_EQ(kInitialResponse.size(), 27u);
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    zubJexResponse read;
    BothWays(c.build, c.bytes, read, &map);
    ExpectBound(read.getObject());
  }
}

TEST_F(JexSerializerTest, ReaderAcceptsAnyFlagAndEndByte) {
  EXPECT_FALSE(ReadCall(Str("JEXCall") + Str("ping") + kNil + Bytes({1, 1, 2, 0})).raised);
  EXPECT_TRUE(call.getIsAsync());
  EXPECT_FALSE(ReadResponse(Str("JEXResponse") + kNil + Bytes({1, 0, 0, 0, 1, 0, 1}) + kNil + kNil +
                            Bytes({0}))
                   .raised);
  EXPECT_EQ(response.getKind(), zubJexResponseVoid);
  EXPECT_TRUE(response.getObject().isnil());
}

// An unknown return type name reads as none, and is found once registered.
TEST_F(JexSerializerTest, ReturnTypeIsLookedUpOnEveryRead) {
  const std::string late = Str("JEXResponse") + kNil + Bytes({2, 0, 0, 0}) + Str("LateType") +
                           Bytes({0x01}) + kNil + kNil + Bytes({0x0A});
  response.setReturnType(zubGetRtti_any());
  EXPECT_FALSE(ReadResponse(late).raised);
  EXPECT_EQ(response.getReturnType(), nullptr);
  static xrttiobject type;
  initializeRttiObject(&type, "LateType", 0, 0, nullptr);
  zubRttiRegister(&type);
  EXPECT_FALSE(ReadResponse(late).raised);
  EXPECT_EQ(response.getReturnType(), &type);
}

// Readers on several threads at once, each thread ending while strings it read are
// still held by the main thread.
TEST_F(JexSerializerTest, ConcurrentReadersShareTheEncoder) {
  std::vector<xstring> kept(4);
  std::vector<int> good(4, 0);
  std::vector<std::thread> threads;
  for (size_t t = 0; t < kept.size(); ++t) {
    threads.emplace_back([&, t] {
      for (int i = 0; i < 200; ++i) {
        zubJexCall c;
        btkMemIStream in(kAddCall);
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

// Every failure is a zubXSerialization naming the operation, with the reason as its
// cause; the records keep their contents, and nothing is written but an enum's tag.
TEST_F(JexSerializerTest, FailuresAreWrappedWithTheirCause) {
  const std::string ping = Str("JEXCall") + Str("ping") + kNil + Bytes({1, 1, 0, 0x0A});
  const std::string voidResponse =
      Str("JEXResponse") + kNil + Bytes({1, 0, 0, 0}) + kNil + Bytes({0x01}) + kNil + kNil + "\n";
  const std::string responseHead = Str("JEXResponse") + kNil + Bytes({1, 0, 0, 0}) + kNil;
  btkMemOStream out;
  btkMemOStream wrongMode;
  wrongMode.GetSerializer()->SetMode(2);
  btkMemOStream enumOut;
  xany e = xany::Enum(1);
  auto readCall = [&](const std::string& bytes, zubJexProxyMap* m, xstring url) {
    btkMemIStream in(bytes);
    Jex()->readCall(&in, call, m, url);
  };
  auto readResponse = [&](const std::string& bytes, zubJexProxyMap* m, xstring url) {
    btkMemIStream in(bytes);
    Jex()->readResponse(&in, response, m, url);
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
      {"write call to a stream in another mode", [&] { Jex()->writeCall(&wrongMode, call, &map); },
       "failed to write a call", "invalid stream mode"},
      {"write object to a stream in another mode", [&] { Jex()->writeObject(&wrongMode, e); },
       "failed to write an object", "invalid stream mode"},
      {"write enum object fails after the tag", [&] { Jex()->writeObject(&enumOut, e); },
       "failed to write an object", "invalid object kind"},
      {"read call without map", [&] { readCall(ping, nullptr, "srv"); }, "failed to read a call",
       "invalid parameters"},
      {"read call with nil server", [&] { readCall(ping, &map, xstring()); },
       "failed to read a call", "invalid parameters"},
      {"read response without map", [&] { readResponse(voidResponse, nullptr, "srv"); },
       "failed to read a response", "invalid parameters"},
      {"read response with nil server", [&] { readResponse(voidResponse, &map, xstring()); },
       "failed to read a response", "invalid parameters"},
      {"call tag is JEXResponse", [&] { readCall(voidResponse, &map, "srv"); },
       "failed to read a call", "invalid call format"},
      {"call tag of size 0", [&] { readCall(kNil + ping.substr(9), &map, "srv"); },
       "failed to read a call", "invalid call format"},
      {"response tag is JEXCall", [&] { readResponse(ping, &map, "srv"); },
       "failed to read a response", "invalid response format"},
      {"object tag is JEXCall",
       [&] {
         btkMemIStream in(ping);
         xany v;
         Jex()->readObject(&in, v);
       },
       "failed to read an object.", "invalid object format"},
      {"call cut short", [&] { readCall(ping.substr(0, ping.size() - 1), &map, "srv"); },
       "failed to read a call", "unexpected end of stream"},
      {"response value of unknown kind",
       [&] { readResponse(responseHead + Bytes({0x09}), &map, "srv"); },
       "failed to read a response", "invalid object kind"},
      {"response object of unknown type",
       [&] {
         readResponse(responseHead + Bytes({0x0A, 0x00}) + Str("Nope"), &map, "srv");
       },
       "failed to read a response", "invalid rtti Nope"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    Failure f = Capture(c.op);
    EXPECT_EQ(f.type, "zubXSerialization");
    EXPECT_EQ(f.text, c.text);
    EXPECT_EQ(f.cause, c.cause);
    ExpectRecordsUntouched();
  }
  EXPECT_EQ(out.size(), 0u);
  EXPECT_EQ(Hex(enumOut.str()), Hex(Str("JEXObject") + Bytes({0x09})));
}

}  // namespace
