#include "messages/jex_call.h"

#include <gtest/gtest.h>

#include <string>

#include "platform/rtti_registry.h"

namespace {

std::string Names(const xrchandle<xstringsequence>& seq) {
  std::string out;
  for (int32_t i = 0; i < seq->getCount(); ++i)
    out += std::string(seq->getAt(i).CastToCString()) + ",";
  return out;
}

void ExpectInitialCall(const zubJexCall& call) {
  EXPECT_TRUE(call.getName().IsNil());
  EXPECT_EQ(call.getReturnType(), nullptr);
  EXPECT_TRUE(call.getParamNames().isNull());
  EXPECT_TRUE(call.getParamValues().isNull());
  EXPECT_FALSE(call.getIsAsync());
}

TEST(JexCallTest, NewAndResetCallsAreEmpty) {
  zubJexCall call;
  ExpectInitialCall(call);
  call.initialize("m", zubGetRtti_int(), xstringsequence::create(), xanysequence::create(), true);
  call.reset();
  ExpectInitialCall(call);
}

TEST(JexCallTest, AddParamStartsBothSequencesAndKeepsOrder) {
  zubJexCall call;
  call.addParam("a", xany(xint{1}));
  call.addParam("b", xany(xint{2}));
  call.addParam(xstring(), xany());  // nil name and uninit value are kept as they are
  EXPECT_EQ(Names(call.getParamNames()), "a,b,,");
  xrchandle<xanysequence> values = call.getParamValues();
  ASSERT_EQ(values->getCount(), 3);
  EXPECT_EQ(values->getAt(0).toInt(), 1);
  EXPECT_EQ(values->getAt(1).toInt(), 2);
  EXPECT_TRUE(values->getAt(2).isuninit());
}

TEST(JexCallTest, GetParamByNameFindsTheFirstMatchOrNil) {
  zubJexCall call;
  EXPECT_TRUE(call.getParamByName("x").isnil());  // no sequences at all
  call.setParamNames(xstringsequence::create());
  call.setParamValues(xanysequence::create());
  EXPECT_TRUE(call.getParamByName("x").isnil());  // empty sequences
  call.addParam("x", xany(xint{1}));
  call.addParam("x", xany(xint{2}));
  call.addParam("y", xany::Nil());
  EXPECT_EQ(call.getParamByName("x").toInt(), 1);
  EXPECT_TRUE(call.getParamByName("y").isnil());
  EXPECT_TRUE(call.getParamByName("X").isnil());
  EXPECT_TRUE(call.getParamByName(xstring()).isnil());
}

TEST(JexCallTest, AddParamWithOnlyValuesStartsAfresh) {
  zubJexCall call;
  xrchandle<xanysequence> alone(xanysequence::create());
  alone->append(xany(xint{9}));
  call.setParamValues(alone);
  call.addParam("a", xany(xint{1}));
  EXPECT_NE(call.getParamValues().get(), alone.get());
  EXPECT_EQ(call.getParamValues()->getCount(), 1);
  EXPECT_EQ(alone->getCount(), 1);
  EXPECT_EQ(alone->refCount(), 1);  // the call let go of it
}

TEST(JexCallTest, AddParamWithOnlyNamesStartsTheValues) {
  zubJexCall call;
  call.setParamNames(xstringsequence::create());
  call.addParam("a", xany(xint{1}));
  EXPECT_EQ(call.getParamByName("a").toInt(), 1);
}

TEST(JexCallTest, SequencesAreSharedNotCopied) {
  zubJexCall call;
  xrchandle<xstringsequence> names(xstringsequence::create());
  xrchandle<xanysequence> values(xanysequence::create());
  call.initialize("m", nullptr, names, values, false);
  EXPECT_EQ(names->refCount(), 2);
  names->append("late");
  values->append(xany("seen"));
  EXPECT_TRUE(call.getParamByName("late") == xany("seen"));

  call.setParamNames(names);  // the same sequence again: no change
  EXPECT_EQ(names->refCount(), 2);

  call.reset();
  EXPECT_EQ(names->refCount(), 1);
  EXPECT_EQ(names->getCount(), 1);  // released, not emptied
  EXPECT_EQ(values->getCount(), 1);
}

}  // namespace
