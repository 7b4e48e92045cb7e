#include <gtest/gtest.h>

#include <cctype>
#include <cstdint>
#include <string>
#include <vector>

#include "platform/sequences.h"
#include "s11n_test_types.h"
#include "s11n_test_util.h"
#include "test_support/piecewise_streams.h"

namespace {

using s11ntest::Bytes;
using s11ntest::Encode;
using s11ntest::ErrorOf;
using s11ntest::Hex;
using s11ntest::Reader;

// `hex` reads as `value`; when `written`, `value` also encodes to `hex`. The rows that
// only a reader meets are the markers, which turn into nil or uninit.
struct AnyCase {
  const char* label;
  xany value;
  const char* hex;
  bool written;
};

const AnyCase kTaggedValues[] = {
    {"uninit", xany(), "00", true},
    {"nil", xany::Nil(), "01", true},
    {"int 5", xany(xint{5}), "02 05 00 00 00", true},
    {"int -1", xany(xint{-1}), "02 FF FF FF FF", true},
    {"long -1", xany(xlong{-1}), "03 FF FF FF FF FF FF FF FF", true},
    {"byte -127 (uninit marker stays a byte)", xany(XBYTE_UNINIT), "04 81", true},
    {"short 2", xany(xshort{2}), "05 02 00", true},
    {"short uninit marker stays a short", xany(XSHORT_UNINIT), "05 01 80", true},
    {"bool 1", xany(xbool{1}), "06 01", true},
    {"bool 2", xany(xbool{2}), "06 02", true},
    {"real 1.0", xany(xreal{1.0}), "07 00 00 00 00 00 00 F0 3F", true},
    {"bool 0", xany(xbool{0}), "06 00", true},
    {"bool 255", xany(xbool{255}), "06 FF", true},
    {"byte -1", xany(xbyte{-1}), "04 FF", true},
    {"short -2", xany(xshort{-2}), "05 FE FF", true},
    {"short 0x1234", xany(xshort{0x1234}), "05 34 12", true},
    {"int 0x12345678", xany(xint{0x12345678}), "02 78 56 34 12", true},
    {"long 2^32", xany(xlong{1} << 32), "03 00 00 00 00 01 00 00 00", true},
    {"real -0.0", xany(xreal{-0.0}), "07 00 00 00 00 00 00 00 80", true},
    {"string abc", xany("abc"), "08 01 03 61 62 63", true},
    {"null object is nil", xany(XOBJECT_NIL), "01", true},
    {"int nil marker", xany::Nil(), "02 00 00 00 80", false},
    {"long nil marker", xany::Nil(), "03 00 00 00 00 00 00 00 80", false},
    {"byte nil marker", xany::Nil(), "04 80", false},
    {"short nil marker", xany::Nil(), "05 00 80", false},
    {"bool nil marker", xany::Nil(), "06 80", false},
    {"bool uninit marker", xany(), "06 81", false},
    {"real uninit marker (9e125)", xany(), "07 06 5D DF 16 D5 45 15 5A", false},
    {"real nil marker (1e126)", xany::Nil(), "07 3F A0 14 C4 EC A2 17 5A", false},
    {"empty string", xany::Nil(), "08 01 00", false},
    {"null object", xany::Nil(), "0A 01", false},
    {"int uninit marker stays an int", xany(XINT_UNINIT), "02 01 00 00 80", false},
};

TEST(TaggedValueTest, GoldenVectors) {
  for (const AnyCase& c : kTaggedValues) {
    SCOPED_TRACE(c.label);
    if (c.written) {
      EXPECT_EQ(Hex(Encode([&](zubSerializer& s) { s.writeAny(c.value); })), c.hex);
    }
    Reader r(Bytes(c.hex));
    xany got("previous");
    r.d().readAny(got);
    EXPECT_EQ(got.getKind(), c.value.getKind());
    EXPECT_TRUE(got == c.value);
    EXPECT_TRUE(r.atEnd());
  }
  // The empty string is written as a string, though it reads as nil.
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

// Writes every string in upper case.
class UpperCaseSerializer : public zubBinSerializer {
 public:
  using zubBinSerializer::zubBinSerializer;
  void writeString(xstring value) override {
    std::string s = value.CastToCString();
    for (char& c : s) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    zubBinSerializer::writeString(xstring(s.c_str()));
  }
};

// The content of tagged values and the elements of sequences go through the virtual
// operations too: only a serializer that is exactly a zubBinSerializer has its elements
// written without them.
TEST(TaggedValueTest, DerivedSerializerSeesEveryString) {
  s11ntest::RegisterTestTypes();
  xrchandle<xstringsequence> names(xstringsequence::create());
  names->append("ab");
  xrchandle<xanysequence> values(xanysequence::create());
  values->append(xany("cd"));
  values->append(xany(names.get()));
  btkMemOStream out;
  UpperCaseSerializer s(&out);
  s.writeAny(xany("abc"));
  s.writeObject(values.get());
  EXPECT_EQ(Hex(out.str()), Hex(Bytes("08 01 03 41 42 43 00 01 0C") + "xanysequence" +
                                Bytes("02 00 00 00 08 01 02 43 44 0A 00 01 0F") +
                                "xstringsequence" + Bytes("01 00 00 00 01 02 41 42")));
}

// And in reading: a derived deserializer's overrides see the elements of sequences.
class UpperCaseDeserializer : public zubBinDeserializer {
 public:
  using zubBinDeserializer::zubBinDeserializer;
  void readString(xstring& value) override {
    zubBinDeserializer::readString(value);
    std::string s = value.CastToCString();
    for (char& c : s) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    value = xstring(s.c_str());
  }
};

TEST(TaggedValueTest, SequenceElementsAreReadThroughTheVirtualOperations) {
  s11ntest::RegisterTestTypes();
  const std::string bytes = Bytes("00 01 0C") + "xanysequence" +
                            Bytes("02 00 00 00 08 01 02 63 64 0A 00 01 0F") + "xstringsequence" +
                            Bytes("01 00 00 00 01 02 61 62");
  btkMemIStream in(bytes);
  UpperCaseDeserializer d(&in);
  xobject* o = nullptr;
  d.readObject(o);
  xrchandle<xobject> owner(o);
  xanysequence* values = xanysequence::softcast(o);
  ASSERT_NE(values, nullptr);
  ASSERT_EQ(values->getCount(), 2);
  EXPECT_STREQ(values->getAt(0).toString().CastToCString(), "CD");
  xstringsequence* names = xstringsequence::softcast(values->getAt(1).toObject());
  ASSERT_NE(names, nullptr);
  ASSERT_EQ(names->getCount(), 1);
  EXPECT_STREQ(names->getAt(0).CastToCString(), "AB");
}

const std::string kStringSeqHeader = Bytes("00 01 0F") + "xstringsequence";
const std::string kAnySeqHeader = Bytes("00 01 0C") + "xanysequence";

// Every value of the table inside a sequence, long enough to span several of the
// writer's runs: written into a memory stream (values put together in place), into
// another stream and by a derived serializer (field by field), the same bytes; read
// back from a memory stream (values made in the sequence's room), from another stream
// and by a derived deserializer, the same values, markers turned into nil and uninit.
TEST(SequenceTypesTest, ValuesInASequenceAreTheSameOnEveryPath) {
  s11ntest::RegisterTestTypes();
  struct Derived : zubBinSerializer {
    using zubBinSerializer::zubBinSerializer;
  };
  struct DerivedReader : zubBinDeserializer {
    using zubBinDeserializer::zubBinDeserializer;
  };
  xrchandle<xanysequence> written(xanysequence::create());
  std::string writtenHex;
  std::vector<const AnyCase*> read;
  std::string readHex;
  for (int round = 0; round < 8; ++round) {
    for (const AnyCase& c : kTaggedValues) {
      if (c.written) {
        written->append(c.value);
        writtenHex += std::string(" ") + c.hex;
      }
      read.push_back(&c);
      readHex += std::string(" ") + c.hex;
    }
  }
  // A run of ints, which both sides take in a loop of their own, longer than a run of
  // the writer's and than the reader's first room.
  for (int i = 0; i < 100; ++i) {
    const AnyCase& c = kTaggedValues[2 + i % 2];
    written->append(c.value);
    writtenHex += std::string(" ") + c.hex;
    read.push_back(&c);
    readHex += std::string(" ") + c.hex;
  }
  const auto count = [](size_t n) {
    const int32_t v = static_cast<int32_t>(n);
    return std::string(reinterpret_cast<const char*>(&v), sizeof v);
  };
  const std::string golden = kAnySeqHeader + count(written->getCount()) + Bytes(writtenHex.c_str());
  EXPECT_EQ(Hex(Encode([&](zubSerializer& s) { s.writeObject(written.get()); })), Hex(golden));
  jex_test::PiecewiseOStream pieces;
  zubBinSerializer(&pieces).writeObject(written.get());
  EXPECT_EQ(Hex(pieces.bytes), Hex(golden));
  btkMemOStream derivedOut;
  Derived(&derivedOut).writeObject(written.get());
  EXPECT_EQ(Hex(derivedOut.str()), Hex(golden));

  const std::string toRead = kAnySeqHeader + count(read.size()) + Bytes(readHex.c_str());
  btkMemIStream memory(toRead);
  jex_test::PiecewiseIStream piecewise(toRead);
  btkMemIStream derivedIn(toRead);
  zubBinDeserializer inPlace(&memory);
  zubBinDeserializer general(&piecewise);
  DerivedReader derived(&derivedIn);
  for (zubBinDeserializer* d : {&inPlace, &general, static_cast<zubBinDeserializer*>(&derived)}) {
    xobject* o = nullptr;
    d->readObject(o);
    xrchandle<xobject> owner(o);
    const xanysequence* values = xanysequence::softcast(o);
    ASSERT_NE(values, nullptr);
    ASSERT_EQ(values->getCount(), static_cast<int32_t>(read.size()));
    for (size_t i = 0; i < read.size(); ++i) {
      SCOPED_TRACE(read[i]->label);
      EXPECT_TRUE(values->itemAt(static_cast<int32_t>(i)) == read[i]->value);
    }
  }
  EXPECT_EQ(memory.remaining(), 0u);
  EXPECT_EQ(piecewise.remaining(), 0u);
}

// A sequence is its count, then its elements: strings, or tagged values. Reading the
// golden bytes and writing what was read gives them again.
TEST(SequenceTypesTest, SequencesBothWays) {
  s11ntest::RegisterTestTypes();
  xrchandle<xstringsequence> names(xstringsequence::create());
  names->append("a");
  names->append(xstring());
  names->append("bc");
  xrchandle<xanysequence> values(xanysequence::create());
  values->append(xany(xint{1}));
  values->append(xany::Nil());
  values->append(xany(names.get()));
  values->append(xany(xstringsequence::create()));
  const std::string golden = kAnySeqHeader + Bytes("04 00 00 00 02 01 00 00 00 01 0A") +
                             kStringSeqHeader + Bytes("03 00 00 00 01 01 61 01 00 01 02 62 63 0A") +
                             kStringSeqHeader + Bytes("00 00 00 00");
  EXPECT_EQ(Hex(Encode([&](zubSerializer& s) { s.writeObject(values.get()); })), Hex(golden));
  Reader r(golden);
  xrchandle<xobject> back = r.object();
  EXPECT_TRUE(r.atEnd());
  EXPECT_EQ(Hex(Encode([&](zubSerializer& s) { s.writeObject(back.get()); })), Hex(golden));
  xanysequence* any = xanysequence::softcast(back.get());
  ASSERT_TRUE(any != nullptr && any->getCount() == 4);
  EXPECT_TRUE(xstringsequence::softcast(any->getAt(2).toObject())->getAt(1).IsNil());
}

// A negative count is refused; one that promises far more elements than arrive costs
// only what arrives.
TEST(SequenceTypesTest, BadCountsAreRefused) {
  s11ntest::RegisterTestTypes();
  for (const std::string& header : {kStringSeqHeader, kAnySeqHeader}) {
    Reader negative(header + Bytes("FF FF FF FF"));
    EXPECT_EQ(ErrorOf([&] { negative.object(); }), "invalid sequence count");
    Reader lying(header + Bytes("FF FF FF 7F 01 00"));
    EXPECT_EQ(ErrorOf([&] { lying.object(); }), "unexpected end of stream");
  }
}

}  // namespace
