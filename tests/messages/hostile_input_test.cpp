// Readers facing input that no honest writer produces: wrong kinds in sequence fields,
// messages cut short at every length (from every kind of stream), random byte mutations. A read
// either succeeds or raises a zubXSerialization; it never ends the process, leaks, or touches the
// record.
#include <gtest/gtest.h>

#include <random>
#include <string>

#include "message_fixtures.h"
#include "platform/memory_streams.h"
#include "platform/rtti_registry.h"
#include "test_support/piecewise_streams.h"

namespace {

using namespace fixtures;  // NOLINT(build/namespaces)

class HostileInputTest : public MessageTest {
 protected:
  // A call that uses every kind of field: return type, strings of both widths, a
  // proxy, a host object, an ordinary object, a nested sequence; and a fault response
  // with a proxy.
  void MakeRealMessages() {
    zubJexCall c;
    c.setName("IFoo:everything");
    c.setReturnType(zubGetRtti_any());
    xrchandle<xanysequence> nested(xanysequence::create());
    nested->append(xlong{-1});
    nested->append(xany(host.get()));
    c.addParam("this", xany(Proxy("42").get()));
    c.addParam("peer", xany(host.get()));
    c.addParam("point", xany(static_cast<xobject*>(new Point(3))));
    c.addParam("long", xstring(std::string(300, 'x').c_str()));
    c.addParam("list", xany(static_cast<xobject*>(nested.get())));
    c.addParam("real", xreal{1.5});
    btkMemOStream callOut;
    Jex()->writeCall(&callOut, c, &map);
    realCall = callOut.str();

    zubJexResponse r;
    r.setName("everythingResponse");
    r.setKind(zubJexResponseFault);
    r.setObject(xany(Proxy("9").get()));
    r.setFaultCode("E1");
    r.setFaultString("boom");
    btkMemOStream responseOut;
    Jex()->writeResponse(&responseOut, r, &map);
    realResponse = responseOut.str();
  }

  Failure Read(bool isCall, const std::string& bytes) {
    return isCall ? ReadCall(bytes) : ReadResponse(bytes);
  }

  std::string realCall;
  std::string realResponse;
};

const std::string kCallHead = Str("JEXCall") + Str("ping") + kNil;
const std::string kNames = Seq("xstringsequence", 1) + Str("a");
const std::string kValues = Seq("xanysequence", 1) + Bytes({0x02, 0x01, 0x00, 0x00, 0x00});
const std::string kTail = Bytes({0x00, 0x0A});

TEST_F(HostileInputTest, WrongKindWhereASequenceBelongsIsRefused) {
  const struct {
    const char* name;
    std::string names;
    std::string values;
    const char* cause;
  } cases[] = {
      {"names as int", Bytes({0x02, 1, 0, 0, 0}), kValues, "invalid parameter names"},
      {"names uninit", Bytes({0x00}), kValues, "invalid parameter names"},
      {"values as real", kNames, Bytes({0x07, 0, 0, 0, 0, 0, 0, 0xF0, 0x3F}),
       "invalid parameter values"},
      {"values uninit", kNames, Bytes({0x00}), "invalid parameter values"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    Failure f = ReadCall(kCallHead + c.names + c.values + kTail);
    EXPECT_EQ(f.type, "zubXSerialization");
    EXPECT_EQ(f.text, "failed to read a call");
    EXPECT_EQ(f.cause, c.cause);
    ExpectRecordsUntouched();
  }
}

TEST_F(HostileInputTest, ObjectOfAnotherClassGivesNullSequence) {
  const std::string point = Bytes({0x0A, 0x00}) + Str("Point") + Bytes({7, 0, 0, 0});
  Failure f = ReadCall(kCallHead + kValues + point + kTail);
  EXPECT_FALSE(f.raised) << f.text << ": " << f.cause;
  EXPECT_TRUE(call.getName() == "ping");
  EXPECT_TRUE(call.getParamNames().isNull());
  EXPECT_TRUE(call.getParamValues().isNull());
}

TEST_F(HostileInputTest, TruncationAtEveryOffsetRaises) {
  MakeRealMessages();
  for (bool isCall : {true, false}) {
    SCOPED_TRACE(isCall ? "call" : "response");
    const std::string& message = isCall ? realCall : realResponse;
    for (size_t n = 0; n < message.size(); ++n) {
      const std::string head = message.substr(0, n);
      Failure f = Read(isCall, head);
      ASSERT_EQ(f.type, "zubXSerialization") << "length " << n;
      ASSERT_EQ(f.text, isCall ? "failed to read a call" : "failed to read a response")
          << "length " << n;
      ASSERT_EQ(FooProxy::live, 0) << "length " << n;
      // A stream of another kind, which the reader takes field by field, fails alike.
      Failure fromPieces = Capture([&] {
        jex_test::PiecewiseIStream in(head);
        if (isCall) {
          Jex()->readCall(&in, call, &map, "srv");
        } else {
          Jex()->readResponse(&in, response, &map, "srv");
        }
      });
      ASSERT_EQ(fromPieces.text + " <- " + fromPieces.cause, f.text + " <- " + f.cause)
          << "length " << n;
    }
  }
  ExpectRecordsUntouched();
  for (bool isCall : {true, false}) {
    EXPECT_FALSE(Read(isCall, isCall ? realCall : realResponse).raised);  // the whole is valid
  }
  call.reset();
  response.reset();
}

TEST_F(HostileInputTest, RandomMutationsNeverCrash) {
  MakeRealMessages();
  std::mt19937 random(20261122);
  for (bool isCall : {true, false}) {
    SCOPED_TRACE(isCall ? "call" : "response");
    int failures = 0;
    for (int round = 0; round < 3000; ++round) {
      std::string bytes = isCall ? realCall : realResponse;
      const int changes = 1 + static_cast<int>(random() % 3);
      for (int i = 0; i < changes; ++i) {
        bytes[random() % bytes.size()] = static_cast<char>(random() & 0xFF);
      }
      Failure f = Read(isCall, bytes);
      if (f.raised) {
        ++failures;
        ASSERT_EQ(f.type, "zubXSerialization") << f.text;
      }
    }
    EXPECT_GT(failures, 0);
  }
  call.reset();
  response.reset();
}

// A sequence value of `type` holding `count` copies of `element`.
std::string ManyOf(const char* type, int count, const std::string& element) {
  std::string out = Seq(type, 0);
  for (int shift : {0, 8, 16, 24})
    out[out.size() - 4 + shift / 8] = static_cast<char>(count >> shift);
  for (int i = 0; i < count; ++i) out += element;
  return out;
}

// The decoding budget seen from the message layer, on calls and responses alike: a
// message that makes many times its size is refused with the budget as the cause, and
// the records stay untouched; an honest list of the same length is read. (Which shapes
// the budget refuses is the deserializer's test.)
TEST_F(HostileInputTest, MessagesThatOutgrowTheirBytesAreRefused) {
  const int n = 100000;
  const struct {
    const char* name;
    std::string values;
    bool refused;
  } cases[] = {
      {"nils", ManyOf("xanysequence", n, Bytes({0x01})), true},
      {"ints", ManyOf("xanysequence", n, Bytes({0x02, 7, 0, 0, 0})), false},
  };
  for (const auto& c : cases) {
    for (bool isCall : {true, false}) {
      SCOPED_TRACE(std::string(c.name) + (isCall ? " in a call" : " in a response"));
      const std::string bytes = isCall ? kCallHead + Seq("xstringsequence", 0) + c.values + kTail
                                       : Str("JEXResponse") + Str("r") + Bytes({2, 0, 0, 0}) +
                                             kNil + c.values + kNil + kNil + Bytes({0x0A});
      Failure f = Read(isCall, bytes);
      if (!c.refused) {
        EXPECT_FALSE(f.raised) << f.text << ": " << f.cause;
        call.reset();
        response.reset();
        continue;
      }
      ASSERT_EQ(f.text, isCall ? "failed to read a call" : "failed to read a response");
      EXPECT_EQ(f.cause, "message would take more than 7 bytes of memory per byte read");
      ExpectRecordsUntouched();
    }
  }
}

}  // namespace
