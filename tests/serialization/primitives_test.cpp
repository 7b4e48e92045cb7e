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

const PrimitiveCase kPrimitives[] = {
    Case<unsigned char>("bool 0", "00", 0, &zubSerializer::writeBool, &zubDeserializer::readBool),
    Case<unsigned char>("bool 2 kept", "02", 2, &zubSerializer::writeBool,
                        &zubDeserializer::readBool),
    Case<unsigned char>("bool 255", "FF", 255, &zubSerializer::writeBool,
                        &zubDeserializer::readBool),
    Case<signed char>("byte -1", "FF", -1, &zubSerializer::writeByte, &zubDeserializer::readByte),
    Case<signed char>("byte nil marker", "80", -128, &zubSerializer::writeByte,
                      &zubDeserializer::readByte),
    Case<short>("short -2", "FE FF", -2, &zubSerializer::writeShort, &zubDeserializer::readShort),
    Case<short>("short 0x1234", "34 12", 0x1234, &zubSerializer::writeShort,
                &zubDeserializer::readShort),
    Case<int>("int 1", "01 00 00 00", 1, &zubSerializer::writeInt, &zubDeserializer::readInt),
    Case<int>("int nil marker", "00 00 00 80", XINT_NIL, &zubSerializer::writeInt,
              &zubDeserializer::readInt),
    Case<int>("int 0x12345678", "78 56 34 12", 0x12345678, &zubSerializer::writeInt,
              &zubDeserializer::readInt),
    Case<int64_t>("long -1", "FF FF FF FF FF FF FF FF", -1, &zubSerializer::writeLong,
                  &zubDeserializer::readLong),
    Case<int64_t>("long 2^32", "00 00 00 00 01 00 00 00", int64_t{1} << 32,
                  &zubSerializer::writeLong, &zubDeserializer::readLong),
    Case<double>("real 1.0", "00 00 00 00 00 00 F0 3F", 1.0, &zubSerializer::writeReal,
                 &zubDeserializer::readReal),
    Case<double>("real -0.0", "00 00 00 00 00 00 00 80", -0.0, &zubSerializer::writeReal,
                 &zubDeserializer::readReal),
    Case<double>("real uninit marker", "06 5D DF 16 D5 45 15 5A", XREAL_UNINIT,
                 &zubSerializer::writeReal, &zubDeserializer::readReal),
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

// A string of n bytes: the expected size prefix, in both directions.
struct StringSizeCase {
  size_t size;
  const char* prefix;
};

const StringSizeCase kStringSizes[] = {
    {1, "01 01"},
    {255, "01 FF"},
    {256, "02 00 01"},
    {65535, "02 FF FF"},
    {65536, "04 00 00 01 00"},
    {200000, "04 40 0D 03 00"},
};

std::string Text(size_t n) {
  std::string s(n, 'x');
  for (size_t i = 0; i < n; i += 7) s[i] = static_cast<char>('a' + i % 26);
  return s;
}

TEST(StringEncodingTest, SizePrefixAtTheThresholdsBothWays) {
  for (const StringSizeCase& c : kStringSizes) {
    SCOPED_TRACE(c.size);
    const std::string text = Text(c.size);
    const std::string expected = Bytes(c.prefix) + text;
    EXPECT_EQ(Encode([&](zubSerializer& s) { s.writeString(xstring(text.data(), text.size())); }),
              expected);
    Reader r(expected);
    xstring got;
    r.d().readString(got);
    EXPECT_EQ(std::string(got.CastToCString(), got.GetMBSize()), text);
    EXPECT_TRUE(r.atEnd());
  }
}

TEST(StringEncodingTest, TextGoesThroughByteForByte) {
  const std::string text("a\0\xC3\xA9\xFF", 5);
  const std::string bytes =
      Encode([&](zubSerializer& s) { s.writeString(xstring(text.data(), 5)); });
  EXPECT_EQ(Hex(bytes), "01 05 61 00 C3 A9 FF");
  Reader r(bytes);
  xstring got;
  r.d().readString(got);
  EXPECT_EQ(std::string(got.CastToCString(), got.GetMBSize()), text);
}

TEST(StringEncodingTest, NilAndEmptyAreWrittenAlikeAndReadAsNil) {
  EXPECT_EQ(Hex(Encode([](zubSerializer& s) { s.writeString(xstring()); })), "01 00");
  EXPECT_EQ(Hex(Encode([](zubSerializer& s) { s.writeString(xstring("")); })), "01 00");
  Reader r(Bytes("01 00 61"));
  xstring got("previous");
  r.d().readString(got);
  EXPECT_TRUE(got.IsNil());
  EXPECT_EQ(r.consumed(), 2u);
}

TEST(StringEncodingTest, WiderThanNeededPrefixIsAccepted) {
  for (const char* prefix : {"02 05 00", "04 05 00 00 00"}) {
    Reader r(Bytes(prefix) + "hello");
    xstring got;
    r.d().readString(got);
    EXPECT_TRUE(got == "hello");
    EXPECT_TRUE(r.atEnd());
  }
}

TEST(StringEncodingTest, UnknownWidthByteIsRefusedAfterConsumingIt) {
  for (const char* width : {"00", "03", "08", "FF"}) {
    SCOPED_TRACE(width);
    Reader r(Bytes(width) + Bytes("05 61 62 63 64 65"));
    xstring got;
    EXPECT_EQ(ErrorOf([&] { r.d().readString(got); }), "unsupported string size");
    EXPECT_EQ(r.consumed(), 1u);
  }
}

TEST(StringEncodingTest, SizeAboveTheLargestBufferIsRefused) {
  Reader r(Bytes("04 00 00 00 80 61"));
  xstring got;
  EXPECT_EQ(ErrorOf([&] { r.d().readString(got); }), "unsupported string size");
}

// A size prefix that promises more than arrives fails at the end of the stream, for
// small bodies (one read) and large ones (read in pieces) alike.
TEST(StringEncodingTest, SizeThatLiesFailsAtTheEndOfTheStream) {
  for (const char* prefix : {"01 FF", "02 00 10", "04 FF FF FF 7F"}) {
    SCOPED_TRACE(prefix);
    Reader r(Bytes(prefix) + Text(100));
    xstring got("kept");
    EXPECT_EQ(ErrorOf([&] { r.d().readString(got); }), "unexpected end of stream");
    EXPECT_TRUE(got == "kept");
  }
}

// An output stream in a mode other than binary.
class TextModeOStream : public btkMemOStream {
 public:
  TextModeOStream() { GetSerializer()->SetMode(2); }
};

TEST(SerializerConstructionTest, StreamInAnotherModeIsRefused) {
  TextModeOStream out;
  EXPECT_EQ(ErrorOf([&] { zubBinSerializer s(&out); }), "invalid stream mode");
  btkMemIStream in("", 0);
  in.GetSerializer()->SetMode(0);
  EXPECT_EQ(ErrorOf([&] { zubBinDeserializer d(&in); }), "invalid stream mode");
}

}  // namespace
