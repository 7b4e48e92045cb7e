#include <gtest/gtest.h>

#include <string>

#include "platform/sequences.h"
#include "s11n_test_types.h"
#include "s11n_test_util.h"

namespace {

using s11ntest::Bytes;
using s11ntest::Encode;
using s11ntest::ErrorOf;
using s11ntest::Hex;
using s11ntest::Reader;

class SequenceTypesTest : public ::testing::Test {
 protected:
  void SetUp() override { s11ntest::RegisterTestTypes(); }
};

const std::string kStringSeqHeader = Bytes("00 01 0F") + "xstringsequence";
const std::string kAnySeqHeader = Bytes("00 01 0C") + "xanysequence";

TEST_F(SequenceTypesTest, StringSequenceIsCountThenStringsBothWays) {
  const std::string golden = kStringSeqHeader + Bytes("03 00 00 00 01 01 61 01 00 01 02 62 63");
  xrchandle<xstringsequence> seq(xstringsequence::create());
  seq->append("a");
  seq->append(xstring());
  seq->append("bc");
  EXPECT_EQ(Hex(Encode([&](zubSerializer& s) { s.writeObject(seq.get()); })), Hex(golden));

  Reader r(golden);
  xobject* got = nullptr;
  r.d().readObject(got);
  xrchandle<xstringsequence> back(xstringsequence::softcast(got));
  ASSERT_TRUE(back);
  ASSERT_EQ(back->getCount(), 3);
  EXPECT_TRUE(back->getAt(0) == "a");
  EXPECT_TRUE(back->getAt(1).IsNil());
  EXPECT_TRUE(back->getAt(2) == "bc");
  EXPECT_TRUE(r.atEnd());
}

TEST_F(SequenceTypesTest, ValueSequenceIsCountThenTaggedValuesBothWays) {
  const std::string golden = kAnySeqHeader + Bytes("03 00 00 00 02 01 00 00 00 01 0A") +
                             kStringSeqHeader + Bytes("00 00 00 00");
  xrchandle<xanysequence> seq(xanysequence::create());
  seq->append(xany(xint{1}));
  seq->append(xany::Nil());
  seq->append(xany(xstringsequence::create()));
  EXPECT_EQ(Hex(Encode([&](zubSerializer& s) { s.writeObject(seq.get()); })), Hex(golden));

  Reader r(golden);
  xobject* got = nullptr;
  r.d().readObject(got);
  xrchandle<xanysequence> back(xanysequence::softcast(got));
  ASSERT_TRUE(back);
  ASSERT_EQ(back->getCount(), 3);
  EXPECT_EQ(back->getAt(0).toInt(), 1);
  EXPECT_TRUE(back->getAt(1).isnil());
  xstringsequence* inner = xstringsequence::softcast(back->getAt(2).toObject());
  ASSERT_NE(inner, nullptr);
  EXPECT_EQ(inner->getCount(), 0);
}

TEST_F(SequenceTypesTest, NegativeCountIsRefused) {
  for (const std::string& header : {kStringSeqHeader, kAnySeqHeader}) {
    Reader r(header + Bytes("FF FF FF FF"));
    xobject* got = nullptr;
    EXPECT_EQ(ErrorOf([&] { r.d().readObject(got); }), "invalid sequence count");
  }
}

// A count that promises far more elements than arrive costs only what arrives.
TEST_F(SequenceTypesTest, CountThatLiesFailsAtTheEndOfTheStream) {
  for (const std::string& header : {kStringSeqHeader, kAnySeqHeader}) {
    Reader r(header + Bytes("FF FF FF 7F 01 00"));
    xobject* got = nullptr;
    EXPECT_EQ(ErrorOf([&] { r.d().readObject(got); }), "unexpected end of stream");
  }
}

}  // namespace
