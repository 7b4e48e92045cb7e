#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "platform/sequences.h"
#include "s11n_test_types.h"
#include "s11n_test_util.h"
#include "test_support/piecewise_streams.h"

namespace {

using s11ntest::Bytes;
using s11ntest::Chain;
using s11ntest::Counted;
using s11ntest::Encode;
using s11ntest::ErrorOf;
using s11ntest::Reader;

// A value that exercises every reading path: primitives of all kinds, short and long
// strings, nil, nested sequences and objects.
std::string RichEncoding() {
  xrchandle<xanysequence> values(xanysequence::create());
  for (xany v : {xany(xint{-5}), xany(xlong{1} << 40), xany(xbyte{3}), xany(xshort{-300}),
                 xany(xbool{1}), xany(xreal{2.5}), xany("text"), xany::Nil(), xany()}) {
    values->append(v);
  }
  values->append(xany(xstring(std::string(300, 'w').c_str())));
  xrchandle<xstringsequence> names(xstringsequence::create());
  names->append("first");
  names->append(xstring());
  values->append(xany(names.get()));
  xrchandle<s11ntest::Node> chain = s11ntest::Chain(3);
  values->append(xany(chain.get()));
  return Encode([&](zubSerializer& s) {
    s.writeAny(xany(values.get()));
    s.writeString("tail");
  });
}

void ReadRich(zubDeserializer& d) {
  xany value;
  d.readAny(value);
  xstring tail;
  d.readString(tail);
}

// Every truncation raises and frees what was made so far. Corrupted bytes are fuzzed in
// the message tests, whose messages go through the same reader.
TEST(HostileInputTest, EveryTruncationRaisesAndFreesWhatWasMade) {
  s11ntest::RegisterTestTypes();
  const int liveBefore = Counted::live;
  const std::string full = RichEncoding();
  Reader whole(full);
  ReadRich(whole.d());
  ASSERT_TRUE(whole.atEnd());
  for (size_t cut = 0; cut < full.size(); ++cut) {
    Reader r(full.substr(0, cut));
    EXPECT_NE(ErrorOf([&] { ReadRich(r.d()); }), "<none>") << "cut at " << cut;
    EXPECT_EQ(Counted::live, liveBefore) << "cut at " << cut;
  }
}

// ---- the decoding budget ----

const char* const kRefusal = "message would take more than 7 bytes of memory per byte read";

std::string Int32(uint32_t n) {
  return std::string{static_cast<char>(n), static_cast<char>(n >> 8), static_cast<char>(n >> 16),
                     static_cast<char>(n >> 24)};
}

// A string field with a one-byte size.
std::string Str(const std::string& text) {
  return std::string{'\x01', static_cast<char>(text.size())} + text;
}

// A sequence object of `type` holding `count` copies of `element` (as its contents).
std::string SeqObject(const char* type, int count, const std::string& element) {
  std::string out = Bytes("00") + Str(type) + Int32(static_cast<uint32_t>(count));
  for (int i = 0; i < count; ++i) out += element;
  return out;
}

// The same as a tagged value.
std::string SeqValue(const char* type, int count, const std::string& element) {
  return Bytes("0A") + SeqObject(type, count, element);
}

// Reads one tagged value from `bytes` with the default limits, over a memory stream
// (the in-place path) or another stream (the general path); the error raised, or
// "<none>" when the whole was read.
std::string ReadValue(const std::string& bytes, bool inPlace) {
  xany value;
  if (inPlace) {
    Reader r(bytes);
    std::string error = ErrorOf([&] { r.d().readAny(value); });
    return error != "<none>" || r.atEnd() ? error : "<not at the end>";
  }
  jex_test::PiecewiseIStream in(bytes);
  zubBinDeserializer d(&in);
  std::string error = ErrorOf([&] { d.readAny(value); });
  return error != "<none>" || in.remaining() == 0 ? error : "<not at the end>";
}

// Messages that make many times their size are refused early, on both paths, and free
// what they made; the honest shapes nearest to them are read.
TEST(DecodingBudgetTest, RefusesValuesThatOutgrowTheBytesReadAndReadsHonestLists) {
  s11ntest::RegisterTestTypes();
  const int n = 200000;
  const std::string nil = Bytes("01");
  const std::string int7 = Bytes("02 07 00 00 00");
  const struct {
    const char* name;
    std::string bytes;
    bool refused;
  } cases[] = {
      {"nils", SeqValue("xanysequence", n, nil), true},
      {"empty strings as values", SeqValue("xanysequence", n, Bytes("08 01 00")), true},
      {"empty sequences", SeqValue("xanysequence", n / 10, SeqValue("xanysequence", 0, "")), true},
      {"empty objects", SeqValue("xanysequence", n, Bytes("0A 00") + Str("t")), true},
      {"sequences of four nils", SeqValue("xanysequence", n / 10, SeqValue("xanysequence", 4, nil)),
       true},
      {"sequences of 100 nils",
       SeqValue("xanysequence", n / 100, SeqValue("xanysequence", 100, nil)), true},
      {"ints", SeqValue("xanysequence", n, int7), false},
      {"longs", SeqValue("xanysequence", n, Bytes("03 01 02 03 04 05 06 07 08")), false},
      {"one-byte strings", SeqValue("xstringsequence", n, Str("x")), false},
      {"one-byte strings as values", SeqValue("xanysequence", n, Bytes("08") + Str("x")), false},
      {"empty strings", SeqValue("xstringsequence", n, Str("")), false},
      {"a few empty strings as values", SeqValue("xanysequence", 2000, Bytes("08 01 00")), false},
      {"a few nils", SeqValue("xanysequence", 2000, nil), false},
      {"sequences of ints", SeqValue("xanysequence", n / 10, SeqValue("xanysequence", 3, int7)),
       false},
      {"sequences of one int", SeqValue("xanysequence", n / 10, SeqValue("xanysequence", 1, int7)),
       false},
      {"objects with a field",
       SeqValue("xanysequence", n / 10,
                Bytes("0A") + Bytes("00") + Str("test.Node") + Bytes("07 00 00 00") + Bytes("01")),
       false},
      {"a 1 MiB string", Bytes("08 04") + Int32(1 << 20) + std::string(1 << 20, 's'), false},
  };
  const int liveBefore = Counted::live;
  for (const auto& c : cases) {
    for (bool inPlace : {true, false}) {
      SCOPED_TRACE(std::string(c.name) + (inPlace ? ", in place" : ", general path"));
      EXPECT_EQ(ReadValue(c.bytes, inPlace), c.refused ? kRefusal : "<none>");
      EXPECT_EQ(Counted::live, liveBefore);
    }
  }
}

// A deserializer of a derived class reads sequences through their descriptors, which
// see only the values they read.
class DescriptorPathDeserializer : public zubBinDeserializer {
 public:
  using zubBinDeserializer::zubBinDeserializer;
};

TEST(DecodingBudgetTest, ValuesReadByDescriptorsAreCharged) {
  s11ntest::RegisterTestTypes();
  for (bool nils : {true, false}) {
    SCOPED_TRACE(nils ? "nils" : "ints");
    const std::string bytes =
        SeqValue("xanysequence", 100000, nils ? Bytes("01") : Bytes("02 07 00 00 00"));
    btkMemIStream in(bytes);
    DescriptorPathDeserializer d(&in);
    xany value;
    EXPECT_EQ(ErrorOf([&] { d.readAny(value); }), nils ? kRefusal : "<none>");
  }
}

TEST(DecodingBudgetTest, LimitsCanBeChangedPerReader) {
  s11ntest::RegisterTestTypes();
  const std::string nils = SeqValue("xanysequence", 100000, Bytes("01"));
  const std::string chain3 = Encode([](zubSerializer& s) { s.writeObject(Chain(3).get()); });
  zubBinDecodeLimits generous;
  generous.maxBytesPerByteRead = 40;
  zubBinDecodeLimits frugal;
  frugal.maxBytesPerByteRead = 2;
  frugal.allowance = 0;
  zubBinDecodeLimits shallow;
  shallow.maxObjectDepth = 2;
  const struct {
    const char* name;
    zubBinDecodeLimits limits;
    const std::string& bytes;
    const char* error;
  } cases[] = {
      {"nils, 40 bytes per byte", generous, nils, "<none>"},
      {"a chain of 3, 2 bytes per byte, no allowance", frugal, chain3,
       "message would take more than 2 bytes of memory per byte read"},
      {"a chain of 3, depth 2", shallow, chain3, "object nesting too deep"},
      {"a chain of 3, the defaults", zubBinDecodeLimits(), chain3, "<none>"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    Reader r(c.bytes);
    r.d().setLimits(c.limits);
    EXPECT_EQ(ErrorOf([&] {
                if (c.bytes == nils) {
                  xany value;
                  r.d().readAny(value);
                } else {
                  r.object();
                }
              }),
              c.error);
  }
}

}  // namespace
