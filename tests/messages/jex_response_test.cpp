#include "messages/jex_response.h"

#include <gtest/gtest.h>

#include "platform/handles.h"
#include "platform/rtti_registry.h"
#include "platform/sequences.h"

namespace {

void ExpectInitialResponse(const zubJexResponse& r) {
  EXPECT_TRUE(r.getName().IsNil());
  EXPECT_EQ(r.getKind(), zubJexResponseNone);
  EXPECT_EQ(r.getReturnType(), nullptr);
  EXPECT_TRUE(r.getObject().isuninit());
  EXPECT_TRUE(r.getFaultCode().IsNil());
  EXPECT_TRUE(r.getFaultString().IsNil());
}

TEST(JexResponseTest, NewAndResetResponsesAreEmpty) {
  zubJexResponse r;
  ExpectInitialResponse(r);
  r.setName("addResponse");
  r.setKind(zubJexResponseFault);
  r.setReturnType(zubGetRtti_int());
  r.setObject(xany(xint{3}));
  r.setFaultCode("code");
  r.setFaultString("text");
  r.reset();
  ExpectInitialResponse(r);
}

TEST(JexResponseTest, KindNumbersAreFixedAndUnknownKindsPassThrough) {
  EXPECT_EQ(static_cast<int>(zubJexResponseNone), 0);
  EXPECT_EQ(static_cast<int>(zubJexResponseVoid), 1);
  EXPECT_EQ(static_cast<int>(zubJexResponseValue), 2);
  EXPECT_EQ(static_cast<int>(zubJexResponseFault), 3);
  EXPECT_EQ(sizeof(zubJexResponseKind), 4u);
  zubJexResponse r;
  r.setKind(static_cast<zubJexResponseKind>(-7));
  EXPECT_EQ(static_cast<int>(r.getKind()), -7);
}

}  // namespace
