#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <string>

#include "s11n_test_util.h"

namespace {

using s11ntest::Bytes;
using s11ntest::Encode;
using s11ntest::ErrorOf;
using s11ntest::Hex;
using s11ntest::Reader;

// One golden vector, checked both ways: the value encodes to exactly these bytes, and
// these bytes decode to the same bit pattern, consuming all of them.
struct PrimitiveCase {
  const char* label;
  const char* hex;
  std::function<void(zubSerializer&)> write;
  std::function<bool(zubDeserializer&)> readMatches;
};

template <class T>
PrimitiveCase Case(const char* label, const char* hex, T value, void (zubSerializer::*write)(T),
                   void (zubDeserializer::*read)(T&)) {
  return {label, hex, [=](zubSerializer& s) { (s.*write)(value); },
          [=](zubDeserializer& d) {
            T got{};
            (d.*read)(got);
            return std::memcmp(&got, &value, sizeof(T)) == 0;
          }};
}

#define ROW(T, Op, label, hex, value) \
  Case<T>(label, hex, value, &zubSerializer::write##Op, &zubDeserializer::read##Op)

const PrimitiveCase kPrimitives[] = {
    ROW(unsigned char, Bool, "bool 0", "00", 0),
    ROW(unsigned char, Bool, "bool 2 kept", "02", 2),
    ROW(unsigned char, Bool, "bool 255", "FF", 255),
    ROW(signed char, Byte, "byte -1", "FF", -1),
    ROW(signed char, Byte, "byte nil marker", "80", -128),
    ROW(short, Short, "short -2", "FE FF", -2),
    ROW(short, Short, "short 0x1234", "34 12", 0x1234),
    ROW(int, Int, "int 1", "01 00 00 00", 1),
    ROW(int, Int, "int nil marker", "00 00 00 80", XINT_NIL),
    ROW(int, Int, "int 0x12345678", "78 56 34 12", 0x12345678),
    ROW(int64_t, Long, "long -1", "FF FF FF FF FF FF FF FF", -1),
    ROW(int64_t, Long, "long 2^32", "00 00 00 00 01 00 00 00", int64_t{1} << 32),
    ROW(double, Real, "real 1.0", "00 00 00 00 00 00 F0 3F", 1.0),
    ROW(double, Real, "real -0.0", "00 00 00 00 00 00 00 80", -0.0),
    ROW(double, Real, "real uninit marker", "06 5D DF 16 D5 45 15 5A", XREAL_UNINIT),
};

TEST(PrimitiveEncodingTest, GoldenVectorsBothWays) {
  for (const PrimitiveCase& c : kPrimitives) {
    SCOPED_TRACE(c.label);
    EXPECT_EQ(Hex(Encode(c.write)), c.hex);
    Reader r(Bytes(c.hex));
    EXPECT_TRUE(c.readMatches(r.d()));
    EXPECT_TRUE(r.atEnd());
  }
}

std::string Text(size_t n) {
  std::string s(n, 'x');
  for (size_t i = 0; i < n; i += 7) s[i] = static_cast<char>('a' + i % 26);
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
      {"width 08", Bytes("08 05 61 62"), "kept", "unsupported string size", 1},
      {"width FF", Bytes("FF 05 61 62"), "kept", "unsupported string size", 1},
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
    if (c.text == nullptr) {
      EXPECT_TRUE(got.IsNil());
    }
    if (c.text != nullptr) {
      EXPECT_STREQ(got.CastToCString(), c.text);
    }
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
