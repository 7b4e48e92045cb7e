#include <gtest/gtest.h>

#include <string>

#include "s11n_test_util.h"
#include "test_support/piecewise_streams.h"

namespace {

using s11ntest::Bytes;
using s11ntest::Encode;
using s11ntest::ErrorOf;
using s11ntest::Hex;
using s11ntest::Reader;

// The plain operations write the bytes the tagged values carry after their tag (see the
// golden tagged values); plain reads keep the marker values, which only tagged values
// turn into nil or uninit.
TEST(PrimitiveEncodingTest, PlainValuesKeepTheMarkers) {
  const std::string golden = Bytes("80 00 00 00 80 06 5D DF 16 D5 45 15 5A");
  EXPECT_EQ(Hex(Encode([](zubSerializer& s) {
              s.writeByte(-128);
              s.writeInt(XINT_NIL);
              s.writeReal(XREAL_UNINIT);
            })),
            Hex(golden));
  Reader r(golden);
  signed char b = 0;
  int i = 0;
  double d = 0;
  r.d().readByte(b);
  r.d().readInt(i);
  r.d().readReal(d);
  EXPECT_EQ(b, -128);
  EXPECT_EQ(i, XINT_NIL);
  EXPECT_EQ(d, XREAL_UNINIT);
  EXPECT_TRUE(r.atEnd());
}

// Every byte differs from its neighbours, so that a byte copied to the wrong place shows.
std::string Text(size_t n) {
  std::string s(n, 'x');
  for (size_t i = 0; i < n; ++i) s[i] = static_cast<char>('a' + i % 26);
  return s;
}

// A string: its size prefix at the width thresholds, and its bytes passed through
// unchanged, in both directions.
TEST(StringEncodingTest, SizePrefixAndBytesBothWays) {
  const struct {
    const char* label;
    std::string text;
    const char* prefix;
  } cases[] = {
      {"binary bytes", std::string("a\0\xC3\xA9\xFF", 5), "01 05"},
      {"1", Text(1), "01 01"},
      // Names are copied a few bytes at a time: each size of a piece's edge.
      {"2", Text(2), "01 02"},
      {"3", Text(3), "01 03"},
      {"4", Text(4), "01 04"},
      {"7", Text(7), "01 07"},
      {"8", Text(8), "01 08"},
      {"15", Text(15), "01 0F"},
      {"16", Text(16), "01 10"},
      {"17", Text(17), "01 11"},
      {"255", Text(255), "01 FF"},
      {"256", Text(256), "02 00 01"},
      {"65535", Text(65535), "02 FF FF"},
      {"65536", Text(65536), "04 00 00 01 00"},
      {"200000", Text(200000), "04 40 0D 03 00"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.label);
    const std::string expected = Bytes(c.prefix) + c.text;
    EXPECT_EQ(
        Encode([&](zubSerializer& s) { s.writeString(xstring(c.text.data(), c.text.size())); }),
        expected);
    Reader r(expected);
    xstring got;
    r.d().readString(got);
    EXPECT_EQ(std::string(got.CastToCString(), got.GetMBSize()), c.text);
    EXPECT_TRUE(r.atEnd());
    // From another stream a large body is read into room that grows as it arrives.
    jex_test::PiecewiseIStream pieces(expected);
    zubBinDeserializer general(&pieces);
    xstring fromPieces;
    general.readString(fromPieces);
    EXPECT_EQ(std::string(fromPieces.CastToCString(), fromPieces.GetMBSize()), c.text);
    EXPECT_EQ(pieces.remaining(), 0u);
  }
  EXPECT_EQ(Hex(Encode([](zubSerializer& s) { s.writeString(xstring()); })), "01 00");
  EXPECT_EQ(Hex(Encode([](zubSerializer& s) { s.writeString(xstring("")); })), "01 00");
}

// Encodings only a reader meets. A failed read leaves the target string unchanged.
TEST(StringEncodingTest, ReadingOddAndBrokenPrefixes) {
  const struct {
    const char* label;
    std::string bytes;
    const char* text;   // the string read; nullptr: nil
    const char* error;  // nullptr: none
    size_t consumed;    // 0: not checked
  } cases[] = {
      {"size 0 reads as nil", Bytes("01 00 61"), nullptr, nullptr, 2},
      {"wider prefix 02", Bytes("02 05 00") + "hello", "hello", nullptr, 8},
      {"wider prefix 04", Bytes("04 05 00 00 00") + "hello", "hello", nullptr, 10},
      {"width 00", Bytes("00 05 61 62"), "kept", "unsupported string size", 1},
      {"width 03", Bytes("03 05 61 62"), "kept", "unsupported string size", 1},
      {"above the largest buffer", Bytes("04 00 00 00 80 61"), "kept", "unsupported string size",
       0},
      {"size lies, one read", Bytes("01 FF") + Text(100), "kept", "unexpected end of stream", 0},
      {"size lies, 02", Bytes("02 00 10") + Text(100), "kept", "unexpected end of stream", 0},
      {"size lies, read in pieces", Bytes("04 FF FF FF 7F") + Text(100), "kept",
       "unexpected end of stream", 0},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.label);
    Reader r(c.bytes);
    xstring got("kept");
    EXPECT_EQ(ErrorOf([&] { r.d().readString(got); }), c.error ? c.error : "<none>");
    EXPECT_EQ(got.IsNil() ? "<nil>" : got.CastToCString(), std::string(c.text ? c.text : "<nil>"));
    if (c.consumed != 0) {
      EXPECT_EQ(r.consumed(), c.consumed);
    }
  }
}

TEST(SerializerConstructionTest, StreamInAnotherModeIsRefused) {
  btkMemOStream out;
  out.GetSerializer()->SetMode(2);
  EXPECT_EQ(ErrorOf([&] { zubBinSerializer s(&out); }), "invalid stream mode");
  btkMemIStream in("", 0);
  in.GetSerializer()->SetMode(0);
  EXPECT_EQ(ErrorOf([&] { zubBinDeserializer d(&in); }), "invalid stream mode");
}

}  // namespace
