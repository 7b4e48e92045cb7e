#include "examples/calc/calc_types.h"

#include <gtest/gtest.h>

#include <string>

#include "s11n_test_util.h"

namespace {

using s11ntest::Bytes;
using s11ntest::Encode;
using s11ntest::Hex;
using s11ntest::Reader;

TEST(CalcTypesTest, CalcErrorTravelsWithItsDescription) {
  calcRegisterTypes();
  calcRegisterTypes();  // idempotent
  xrchandle<CalcError> error(new CalcError("division by zero"));
  const std::string bytes = Encode([&](zubSerializer& s) { s.writeAny(xany(error.get())); });
  EXPECT_EQ(bytes, Bytes("0A 00 01 09") + "CalcError" + Bytes("01 10") + "division by zero");

  Reader r(bytes);
  xany got;
  r.d().readAny(got);
  CalcError* back = CalcError::softcast(got.toObject());
  ASSERT_NE(back, nullptr);
  EXPECT_TRUE(back->getDescription() == "division by zero");
  EXPECT_NE(zubXException::softcast(got.toObject()), nullptr);
}

// Without a listener a proxy travels as its type name alone; its identity is the
// listener's business.
TEST(CalcTypesTest, ProxyHasNoContentsOfItsOwn) {
  calcRegisterTypes();
  zubBinS11nRttiProxy* d = nullptr;
  ASSERT_TRUE(zubBinS11nRttiGetDescriptor("ICalc")->isProxy(&d));
  xrcunihandle<xobject> proxy = d->createProxy("server", "7");
  EXPECT_EQ(Encode([&](zubSerializer& s) { s.writeObject(proxy.get()); }),
            Bytes("00 01 05") + "ICalc");
}

}  // namespace
