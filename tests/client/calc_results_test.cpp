// The checked conversions of "ICalc" answers: an answer of another kind from a server
// raises with a message that names the method, what came and what was expected,
// instead of ending the process.
#include "examples/calc/calc_results.h"

#include "examples/calc/calc_error.h"
#include "test_support/jex_test_support.h"

using namespace jex_test;

namespace {

xany proxyAnswer() {
  CalcProxy* proxy = new CalcProxy();
  proxy->identity().setProxyId("c1");
  return xany(static_cast<xobject*>(proxy));
}

TEST(CalcResults, AnswerOfTheWrongKindRaisesInsteadOfAborting) {
  struct Case {
    xany answer;
    const char* expected;  // the result's text, or the raised description
  } ints[] =
      {
          {xint(5), "5"},
          {xstring("5"), "ICalc:add answered a string, not an int"},
          {xlong(5), "ICalc:add answered a long, not an int"},
          {xany::Nil(), "ICalc:add answered nil, not an int"},
          {xany(), "ICalc:add answered no value, not an int"},
          {xany(static_cast<xobject*>(new CalcError("x"))),
           "ICalc:add answered an object of type CalcError, not an int"},
      },
    strings[] =
        {
            {xstring("kid"), "kid"},
            {xint(1), "ICalc:add answered an int, not a string"},
            {xany::Nil(), "ICalc:add answered nil, not a string"},
        },
    proxies[] = {
        {proxyAnswer(), "c1"},
        {xstring("c1"), "ICalc:add answered a string, not an ICalc"},
        {xany(static_cast<xobject*>(nullptr)), "ICalc:add answered nil, not an ICalc"},
        {xany(static_cast<xobject*>(new CalcError("x"))),
         "ICalc:add answered an object of type CalcError, not an ICalc"},
    };
  auto check = [](const Case& c, auto convert) {
    std::string got;
    xrcunihandle<xthrowable> raised = raisedBy([&] { got = convert(c.answer); });
    EXPECT_EQ(raised ? descriptionOf(raised.get()) : got, c.expected);
  };
  for (const Case& c : ints) {
    check(c, [](const xany& a) { return std::to_string(calcIntResult(a, "ICalc:add")); });
  }
  for (const Case& c : strings) {
    check(c, [](const xany& a) { return calcStringResult(a, "ICalc:add"); });
  }
  for (const Case& c : proxies) {
    check(c, [](const xany& a) {
      return std::string(calcProxyResult(a, "ICalc:add")->getProxyId().CastToCString());
    });
  }
}

// The host's side end to end: a server that answers add with a string.
TEST(CalcResults, HostileAnswerThroughAClientIsReportedByName) {
  ScriptedServer server;
  server.script->queueResponse(
      responseBytes("addResponse", zubJexResponseValue, xstring("five"), zubGetRtti_int()));
  xany answer = server.client()->makeCall("ICalc", "add", values({xint(2), xint(3)}));
  EXPECT_EQ(raisedText([&] { calcIntResult(answer, "ICalc:add"); }),
            "ICalc:add answered a string, not an int");
}

}  // namespace
