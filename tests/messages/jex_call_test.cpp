#include "messages/jex_call.h"

#include <gtest/gtest.h>

#include <string>

namespace {

TEST(JexCallTest, AddParamKeepsOrderAndGetParamByNameFindsTheFirstMatchOrNil) {
  zubJexCall call;
  EXPECT_TRUE(call.getParamByName("x").isnil());  // no sequences at all
  call.setParamNames(xstringsequence::create());  // names alone: values start too
  call.addParam("x", xany(xint{1}));
  call.addParam("x", xany(xint{2}));
  call.addParam("y", xany::Nil());
  EXPECT_EQ(call.getParamByName("x").toInt(), 1);
  for (xstring absent : {xstring("y"), xstring("X"), xstring()}) {
    EXPECT_TRUE(call.getParamByName(absent).isnil());
  }
  call.addParam(xstring(), xany());  // nil name and uninit value are kept as they are
  std::string names;
  for (int32_t i = 0; i < call.getParamNames()->getCount(); ++i) {
    names += std::string(call.getParamNames()->getAt(i).CastToCString()) + ",";
  }
  EXPECT_EQ(names, "x,x,y,,");
  ASSERT_EQ(call.getParamValues()->getCount(), 4);
  EXPECT_EQ(call.getParamValues()->getAt(1).toInt(), 2);
  EXPECT_TRUE(call.getParamValues()->getAt(3).isuninit());
}

// The call holds the sequences it is given; values without names are replaced.
TEST(JexCallTest, SequencesAreSharedNotCopied) {
  zubJexCall call;
  xrchandle<xanysequence> alone(xanysequence::create());
  call.setParamValues(alone);
  call.addParam("a", xany(xint{1}));
  EXPECT_EQ(call.getParamByName("a").toInt(), 1);
  EXPECT_EQ(alone->refCount(), 1);  // the call let go of it, unchanged
  EXPECT_EQ(alone->getCount(), 0);

  xrchandle<xstringsequence> names(xstringsequence::create());
  xrchandle<xanysequence> values(xanysequence::create());
  call.initialize("m", nullptr, names, values, false);
  names->append("late");
  values->append(xany("seen"));
  EXPECT_TRUE(call.getParamByName("late") == xany("seen"));
  call.setParamNames(names);  // the same sequence again: no change
  EXPECT_EQ(names->refCount(), 2);
  call.reset();
  EXPECT_EQ(names->refCount(), 1);
  EXPECT_EQ(names->getCount(), 1);  // released, not emptied
}

}  // namespace
