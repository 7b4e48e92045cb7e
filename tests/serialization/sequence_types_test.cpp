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

const std::string kStringSeqHeader = Bytes("00 01 0F") + "xstringsequence";
const std::string kAnySeqHeader = Bytes("00 01 0C") + "xanysequence";

// Writes `seq` and expects `golden`; reads `golden` back, consuming all of it.
xrchandle<xobject> BothWays(xobject* seq, const std::string& golden) {
  s11ntest::RegisterTestTypes();
  EXPECT_EQ(Hex(Encode([&](zubSerializer& s) { s.writeObject(seq); })), Hex(golden));
  Reader r(golden);
  xrchandle<xobject> back = r.object();
  EXPECT_TRUE(r.atEnd());
  return back;
}

TEST(SequenceTypesTest, StringSequenceIsCountThenStringsBothWays) {
  xrchandle<xstringsequence> seq(xstringsequence::create());
  seq->append("a");
  seq->append(xstring());
  seq->append("bc");
  xrchandle<xobject> got =
      BothWays(seq.get(), kStringSeqHeader + Bytes("03 00 00 00 01 01 61 01 00 01 02 62 63"));
  xstringsequence* back = xstringsequence::softcast(got.get());
  ASSERT_TRUE(back != nullptr && back->getCount() == 3);
  EXPECT_TRUE(back->getAt(0) == "a");
  EXPECT_TRUE(back->getAt(1).IsNil());
  EXPECT_TRUE(back->getAt(2) == "bc");
}

TEST(SequenceTypesTest, ValueSequenceIsCountThenTaggedValuesBothWays) {
  xrchandle<xanysequence> seq(xanysequence::create());
  seq->append(xany(xint{1}));
  seq->append(xany::Nil());
  seq->append(xany(xstringsequence::create()));
  xrchandle<xobject> got =
      BothWays(seq.get(), kAnySeqHeader + Bytes("03 00 00 00 02 01 00 00 00 01 0A") +
                              kStringSeqHeader + Bytes("00 00 00 00"));
  xanysequence* back = xanysequence::softcast(got.get());
  ASSERT_TRUE(back != nullptr && back->getCount() == 3);
  EXPECT_EQ(back->getAt(0).toInt(), 1);
  EXPECT_TRUE(back->getAt(1).isnil());
  xstringsequence* inner = xstringsequence::softcast(back->getAt(2).toObject());
  ASSERT_NE(inner, nullptr);
  EXPECT_EQ(inner->getCount(), 0);
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
