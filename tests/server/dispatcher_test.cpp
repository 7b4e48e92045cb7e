// The dispatcher on its own: requests that cannot be read, one-way calls, answers that
// cannot be written, and the identifiers of published objects.
#include "server_test_support.h"

using namespace jex_test;

namespace {

// Dispatches `request`; returns whether an answer was written, and reads it.
bool dispatch(zubJexDispatcher& dispatcher, const std::string& request, zubJexResponse& answer) {
  btkMemIStream in(request);
  btkMemOStream out;
  bool answered = dispatcher.dispatch(&in, out, "client");
  EXPECT_EQ(answered, out.size() != 0);
  if (answered) decodeResponse(out.data(), out.size(), answer);
  return answered;
}

// A type without a descriptor: it cannot be written into a response.
class Unwritable : public xobject {
  XOBJECT_DECLARE_RTTI()
};
XOBJECT_DEFINE_RTTI(Unwritable, "Unwritable", xobject)

TEST(Dispatcher, AnswersTheCallAndEveryTruncationOfItWithABadRequestFault) {
  CalcDispatcher calc;
  std::string valid = callBytes("ICalc:add", false, {{"a", xint(4)}, {"b", xint(5)}});
  zubJexResponse answer;
  ASSERT_TRUE(dispatch(calc.dispatcher, valid, answer));
  EXPECT_EQ(answer.getName(), "addResponse");
  EXPECT_EQ(answer.getObject().toInt(), 9);
  for (size_t length = 0; length < valid.size() - 1; ++length) {  // the end byte is not needed
    ASSERT_TRUE(dispatch(calc.dispatcher, valid.substr(0, length), answer)) << length;
    EXPECT_EQ(answer.getKind(), zubJexResponseFault) << length;
    EXPECT_EQ(answer.getFaultCode(), ZUBJEX_FAULT_BAD_REQUEST) << length;
    EXPECT_EQ(
        std::string(answer.getFaultString().CastToCString()).rfind("failed to read a call: ", 0),
        0u)
        << length;
  }
  dispatch(calc.dispatcher, std::string("\x01\x0bJEXResponse\x01\x00", 15), answer);
  EXPECT_EQ(answer.getFaultString(), "failed to read a call: invalid call format");
}

// One-way calls that succeed are seen in the call tests.
TEST(Dispatcher, OneWayCallThatFailsGetsNoAnswer) {
  CalcDispatcher calc;
  zubJexResponse answer;
  EXPECT_FALSE(dispatch(calc.dispatcher, callBytes("ICalc:nothing", true, {}), answer));
}

TEST(Dispatcher, ResultThatCannotBeWrittenBecomesAServerErrorFault) {
  CalcDispatcher calc;
  zubJexMethodTable methods = ICalcSkeleton::methodTable();
  methods.add("unwritable", [](xobject*, zubJexCall&) -> xany { return new Unwritable(); });
  calc.dispatcher.addInterface("ICalc", methods);
  zubJexResponse answer;
  ASSERT_TRUE(dispatch(calc.dispatcher, callBytes("ICalc:unwritable", false, {}), answer));
  EXPECT_EQ(answer.getName(), "unwritableResponse");
  EXPECT_EQ(answer.getFaultCode(), ZUBJEX_FAULT_SERVER_ERROR);
  EXPECT_EQ(
      std::string(answer.getFaultString().CastToCString()).rfind("cannot write the response: ", 0),
      0u);
}

TEST(ServerObjectMap, GivesEachObjectOneIdentifierUntilReleased) {
  zubJexServerObjectMap map;
  CalcService* root = new CalcService("root");
  EXPECT_FALSE(map.registerObject("", root));
  ASSERT_TRUE(map.registerObject("calc", root));
  EXPECT_EQ(map.findObject("calc").get(), root);
  xrcunihandle<xobject> child(new CalcService("child"));
  xstring id = map.getObjectId(child);
  EXPECT_EQ(map.getObjectId(child), id);  // distinct objects: see the call tests
  EXPECT_EQ(map.findObject(id).get(), child.get());
  map.releaseObject(id.CastToCString());
  EXPECT_TRUE(map.findObject(id).isNull());
  EXPECT_EQ(child->refCount(), 1);  // only the test's handle is left
}

}  // namespace
