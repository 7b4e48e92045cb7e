#include <gtest/gtest.h>

#include <cctype>
#include <string>

#include "s11n_test_util.h"

namespace {

using s11ntest::Bytes;
using s11ntest::Encode;
using s11ntest::ErrorOf;
using s11ntest::Hex;
using s11ntest::Reader;

struct AnyCase {
  const char* label;
  xany value;
  const char* hex;
};

// Values whose encoding reads back as the same value.
const AnyCase kRoundTrips[] = {
    {"uninit", xany(), "00"},
    {"nil", xany::Nil(), "01"},
    {"int 5", xany(xint{5}), "02 05 00 00 00"},
    {"int -1", xany(xint{-1}), "02 FF FF FF FF"},
    {"long -1", xany(xlong{-1}), "03 FF FF FF FF FF FF FF FF"},
    {"byte -127 (uninit marker stays a byte)", xany(XBYTE_UNINIT), "04 81"},
    {"short 2", xany(xshort{2}), "05 02 00"},
    {"short uninit marker stays a short", xany(XSHORT_UNINIT), "05 01 80"},
    {"bool 1", xany(xbool{1}), "06 01"},
    {"bool 2", xany(xbool{2}), "06 02"},
    {"real 1.0", xany(xreal{1.0}), "07 00 00 00 00 00 00 F0 3F"},
    {"string abc", xany("abc"), "08 01 03 61 62 63"},
    {"null object is nil", xany(XOBJECT_NIL), "01"},
};

TEST(TaggedValueTest, GoldenVectorsBothWays) {
  for (const AnyCase& c : kRoundTrips) {
    SCOPED_TRACE(c.label);
    EXPECT_EQ(Hex(Encode([&](zubSerializer& s) { s.writeAny(c.value); })), c.hex);
    Reader r(Bytes(c.hex));
    xany got(xint{99});
    r.d().readAny(got);
    EXPECT_EQ(got.getKind(), c.value.getKind());
    EXPECT_TRUE(got == c.value);
    EXPECT_TRUE(r.atEnd());
  }
}

// Encodings that only the reader meets: the markers turn into nil or uninit.
const AnyCase kMarkersOnReading[] = {
    {"int nil marker", xany::Nil(), "02 00 00 00 80"},
    {"long nil marker", xany::Nil(), "03 00 00 00 00 00 00 00 80"},
    {"byte nil marker", xany::Nil(), "04 80"},
    {"short nil marker", xany::Nil(), "05 00 80"},
    {"bool nil marker", xany::Nil(), "06 80"},
    {"bool uninit marker", xany(), "06 81"},
    {"real uninit marker (9e125)", xany(), "07 06 5D DF 16 D5 45 15 5A"},
    {"real nil marker (1e126)", xany::Nil(), "07 3F A0 14 C4 EC A2 17 5A"},
    {"empty string", xany::Nil(), "08 01 00"},
    {"null object", xany::Nil(), "0A 01"},
    {"int uninit marker stays an int", xany(XINT_UNINIT), "02 01 00 00 80"},
};

TEST(TaggedValueTest, MarkerValuesBecomeNilOrUninit) {
  for (const AnyCase& c : kMarkersOnReading) {
    SCOPED_TRACE(c.label);
    Reader r(Bytes(c.hex));
    xany got("previous");
    r.d().readAny(got);
    EXPECT_EQ(got.getKind(), c.value.getKind());
    EXPECT_TRUE(got == c.value);
    EXPECT_TRUE(r.atEnd());
  }
}

TEST(TaggedValueTest, EmptyStringIsWrittenAsAStringAndReadAsNil) {
  EXPECT_EQ(Hex(Encode([](zubSerializer& s) { s.writeAny(xany(xstring(""))); })), "08 01 00");
}

TEST(TaggedValueTest, EnumKindIsRefusedAfterItsTag) {
  btkMemOStream out;
  zubBinSerializer s(&out);
  s.writeInt(7);
  EXPECT_EQ(ErrorOf([&] { s.writeAny(xany::Enum(3)); }), "invalid object kind");
  EXPECT_EQ(Hex(out.str()), "07 00 00 00 09");
}

TEST(TaggedValueTest, UnknownTagsAreRefusedConsumingOnlyTheTag) {
  for (int tag : {0x09, 0x0B, 0x0C, 0x7F, 0xFF}) {
    SCOPED_TRACE(tag);
    Reader r(std::string(1, static_cast<char>(tag)) + Bytes("05 00 00 00"));
    xany got(xint{1});
    EXPECT_EQ(ErrorOf([&] { r.d().readAny(got); }), "invalid object kind");
    EXPECT_EQ(r.consumed(), 1u);
  }
}

// The content goes through the virtual operations, so a derived serializer changes the
// content of tagged values too.
class UpperCaseSerializer : public zubBinSerializer {
 public:
  using zubBinSerializer::zubBinSerializer;
  void writeString(xstring value) override {
    std::string s = value.CastToCString();
    for (char& c : s) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    zubBinSerializer::writeString(xstring(s.c_str()));
  }
};

TEST(TaggedValueTest, ContentGoesThroughTheVirtualOperations) {
  btkMemOStream out;
  UpperCaseSerializer s(&out);
  s.writeAny(xany("abc"));
  EXPECT_EQ(Hex(out.str()), "08 01 03 41 42 43");
}

}  // namespace
