#include "platform/xany.h"

#include <gtest/gtest.h>

#include "platform/probe.h"
#include "platform/sequences.h"

namespace {

struct AssignmentCase {
  const char* name;
  xany value;
  __xanykind kind;
};

// Typed assignments: markers become nil (and for bool and real, uninit); every other
// value keeps its kind, the uninit markers of the integer types included.
TEST(XanyTest, TypedAssignmentGivesKindOrMarker) {
  const AssignmentCase cases[] = {
      {"int", xany(xint{5}), xany_int},
      {"int nil", xany(XINT_NIL), xany_nil},
      {"int uninit marker stays int", xany(XINT_UNINIT), xany_int},
      {"long", xany(xlong{-1}), xany_long},
      {"long nil", xany(XLONG_NIL), xany_nil},
      {"byte", xany(xbyte{-127}), xany_byte},
      {"byte nil", xany(XBYTE_NIL), xany_nil},
      {"byte uninit marker stays byte", xany(XBYTE_UNINIT), xany_byte},
      {"short", xany(xshort{-2}), xany_short},
      {"short nil", xany(XSHORT_NIL), xany_nil},
      {"bool", xany(xbool{1}), xany_bool},
      {"bool nil", xany(XBOOL_NIL), xany_nil},
      {"bool uninit", xany(XBOOL_UNINIT), xany_uninit},
      {"real", xany(xreal{1.0}), xany_real},
      {"real nil", xany(XREAL_NIL), xany_nil},
      {"real uninit", xany(XREAL_UNINIT), xany_uninit},
      {"string", xany(xstring("abc")), xany_string},
      {"empty string", xany(xstring("")), xany_string},
      {"nil string", xany(xstring()), xany_nil},
      {"null object", xany(static_cast<xobject*>(nullptr)), xany_nil},
      {"default", xany(), xany_uninit},
      {"enum", xany::Enum(3), xany_enum},
  };
  for (const auto& c : cases) EXPECT_EQ(c.value.getKind(), c.kind) << c.name;
}

TEST(XanyTest, ConversionsGiveMarkersForNilAndUninit) {
  const xany& nil = xany::Nil();
  const xany& uninit = xany::Uninit();
  EXPECT_EQ(nil.toInt(), XINT_NIL);
  EXPECT_EQ(uninit.toInt(), XINT_UNINIT);
  EXPECT_EQ(nil.toLong(), XLONG_NIL);
  EXPECT_EQ(uninit.toLong(), XLONG_UNINIT);
  EXPECT_EQ(nil.toByte(), XBYTE_NIL);
  EXPECT_EQ(uninit.toShort(), XSHORT_UNINIT);
  EXPECT_EQ(nil.toBool(), XBOOL_NIL);
  EXPECT_EQ(uninit.toReal(), XREAL_UNINIT);
  EXPECT_TRUE(nil.toString().IsNil());
  EXPECT_TRUE(uninit.toString().IsUninit());
  EXPECT_EQ(nil.toObject(), XOBJECT_NIL);
  EXPECT_EQ(uninit.toObject(), XOBJECT_UNINIT);
}

// Kind tests accept nil and uninit; an enum is no int but converts to one, and to a
// sign-extended long; equality compares kind and value.
TEST(XanyTest, KindTestsEnumsAndEquality) {
  EXPECT_TRUE(xany::Nil().isint());
  EXPECT_TRUE(xany::Uninit().isstring());
  EXPECT_FALSE(xany(xint{1}).islong());
  xany e = xany::Enum(-3);
  EXPECT_EQ(e.toInt(), -3);
  EXPECT_EQ(e.toLong(), -3);
  EXPECT_TRUE(e.isenum());
  EXPECT_FALSE(e.isint());
  EXPECT_EQ(xany(xstring("a")), xany(xstring("a")));
  EXPECT_NE(xany(xint{1}), xany(xlong{1}));
  EXPECT_EQ(xany::Nil(), xany(XINT_NIL));
}

using XanyDeathTest = ::testing::Test;

TEST_F(XanyDeathTest, WrongKindConversionAborts) {
  xany i(xint{1});
  xany s(xstring("x"));
  EXPECT_DEATH(s.toInt(), "Can not convert xany to xint\\.");
  EXPECT_DEATH(s.toLong(), "Can not convert xany to xlong\\.");
  EXPECT_DEATH(i.toByte(), "Can not convert xany to xbyte\\.");
  EXPECT_DEATH(i.toShort(), "Can not convert xany to xshort\\.");
  EXPECT_DEATH(i.toBool(), "Can not convert xany to xbool\\.");
  EXPECT_DEATH(i.toReal(), "Can not convert xany to xreal\\.");
  EXPECT_DEATH(i.toString(), "Can not convert xany to xstring\\.");
  EXPECT_DEATH(i.toObject(), "Can not convert xany to xobject\\.");
}

TEST(XanyTest, ObjectValueHoldsOneReferenceAndReleasesOnReassign) {
  int destroyed = 0;
  {
    xany a(static_cast<xobject*>(new Probe(&destroyed)));
    xany b = a;
    EXPECT_EQ(a.toObject()->refCount(), 2);
    a = xint{1};
    EXPECT_EQ(destroyed, 0);
    xany& alias = b;
    b = alias;         // self-assignment keeps the object
    b = b.toObject();  // so does assigning the object that only the target holds
    EXPECT_EQ(destroyed, 0);
    EXPECT_EQ(b.getKind(), xany_object);
  }
  EXPECT_EQ(destroyed, 1);
}

}  // namespace
