// The calculator of examples/calc, generated from calc.jex, against the bytes that the
// calculator's earlier hand-written declarations wrote for every call of "ICalc": the
// generated proxy writes exactly these requests and reads these responses into the typed
// results or the typed fault, and the generated skeleton serving CalcService answers these
// requests with exactly these responses.
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "examples/calc/calc_service.h"
#include "server/dispatcher.h"
#include "test_support/jex_test_support.h"

using namespace jex_test;

namespace {

std::string text(const xstring& s) { return std::string(s.CastToCString(), s.GetMBSize()); }

struct Exchange {
  const char* name;
  const char* target;  // the proxy id of the called calculator
  std::function<std::string(ICalcProxy&)> call;
  std::string result;  // the call's result in words, or "CalcError <message>"
  const char* request;
  const char* response;  // empty for the one-way call
};

// In this order: the child that createChild makes is "o1" of the server's object map.
const Exchange kExchanges[] = {
    {"add(2, -7)", "calc", [](ICalcProxy& c) { return std::to_string(c.add(2, -7)); }, "-5",
     "01 07 4A 45 58 43 61 6C 6C 01 09 49 43 61 6C 63 3A 61 64 64 01 03 69 6E 74 0A 00 01 0F "
     "78 73 74 72 69 6E 67 73 65 71 75 65 6E 63 65 03 00 00 00 01 04 74 68 69 73 01 01 61 01 "
     "01 62 0A 00 01 0C 78 61 6E 79 73 65 71 75 65 6E 63 65 03 00 00 00 0A 00 01 05 49 43 61 "
     "6C 63 01 04 63 61 6C 63 02 02 00 00 00 02 F9 FF FF FF 00 0A",
     "01 0B 4A 45 58 52 65 73 70 6F 6E 73 65 01 0B 61 64 64 52 65 73 70 6F 6E 73 65 02 00 00 "
     "00 01 03 69 6E 74 02 FB FF FF FF 01 00 01 00 0A"},
    {"add beyond an int", "calc",
     [](ICalcProxy& c) { return std::to_string(c.add(2147483647, 1)); },
     "CalcError integer overflow",
     "01 07 4A 45 58 43 61 6C 6C 01 09 49 43 61 6C 63 3A 61 64 64 01 03 69 6E 74 0A 00 01 0F "
     "78 73 74 72 69 6E 67 73 65 71 75 65 6E 63 65 03 00 00 00 01 04 74 68 69 73 01 01 61 01 "
     "01 62 0A 00 01 0C 78 61 6E 79 73 65 71 75 65 6E 63 65 03 00 00 00 0A 00 01 05 49 43 61 "
     "6C 63 01 04 63 61 6C 63 02 FF FF FF 7F 02 01 00 00 00 00 0A",
     "01 0B 4A 45 58 52 65 73 70 6F 6E 73 65 01 0B 61 64 64 52 65 73 70 6F 6E 73 65 03 00 00 "
     "00 01 00 0A 00 01 09 43 61 6C 63 45 72 72 6F 72 01 10 69 6E 74 65 67 65 72 20 6F 76 65 "
     "72 66 6C 6F 77 01 09 43 61 6C 63 45 72 72 6F 72 01 10 69 6E 74 65 67 65 72 20 6F 76 65 "
     "72 66 6C 6F 77 0A"},
    {"divide(84, 2)", "calc", [](ICalcProxy& c) { return std::to_string(c.divide(84, 2)); }, "42",
     "01 07 4A 45 58 43 61 6C 6C 01 0C 49 43 61 6C 63 3A 64 69 76 69 64 65 01 03 69 6E 74 0A "
     "00 01 0F 78 73 74 72 69 6E 67 73 65 71 75 65 6E 63 65 03 00 00 00 01 04 74 68 69 73 01 "
     "01 61 01 01 62 0A 00 01 0C 78 61 6E 79 73 65 71 75 65 6E 63 65 03 00 00 00 0A 00 01 05 "
     "49 43 61 6C 63 01 04 63 61 6C 63 02 54 00 00 00 02 02 00 00 00 00 0A",
     "01 0B 4A 45 58 52 65 73 70 6F 6E 73 65 01 0E 64 69 76 69 64 65 52 65 73 70 6F 6E 73 65 "
     "02 00 00 00 01 03 69 6E 74 02 2A 00 00 00 01 00 01 00 0A"},
    {"divide by zero", "calc", [](ICalcProxy& c) { return std::to_string(c.divide(1, 0)); },
     "CalcError division by zero",
     "01 07 4A 45 58 43 61 6C 6C 01 0C 49 43 61 6C 63 3A 64 69 76 69 64 65 01 03 69 6E 74 0A "
     "00 01 0F 78 73 74 72 69 6E 67 73 65 71 75 65 6E 63 65 03 00 00 00 01 04 74 68 69 73 01 "
     "01 61 01 01 62 0A 00 01 0C 78 61 6E 79 73 65 71 75 65 6E 63 65 03 00 00 00 0A 00 01 05 "
     "49 43 61 6C 63 01 04 63 61 6C 63 02 01 00 00 00 02 00 00 00 00 00 0A",
     "01 0B 4A 45 58 52 65 73 70 6F 6E 73 65 01 0E 64 69 76 69 64 65 52 65 73 70 6F 6E 73 65 "
     "03 00 00 00 01 00 0A 00 01 09 43 61 6C 63 45 72 72 6F 72 01 10 64 69 76 69 73 69 6F 6E "
     "20 62 79 20 7A 65 72 6F 01 09 43 61 6C 63 45 72 72 6F 72 01 10 64 69 76 69 73 69 6F 6E "
     "20 62 79 20 7A 65 72 6F 0A"},
    {"one-way log", "calc", [](ICalcProxy& c) { return (c.log("hello"), std::string()); }, "",
     "01 07 4A 45 58 43 61 6C 6C 01 09 49 43 61 6C 63 3A 6C 6F 67 01 00 0A 00 01 0F 78 73 74 "
     "72 69 6E 67 73 65 71 75 65 6E 63 65 02 00 00 00 01 04 74 68 69 73 01 07 6D 65 73 73 61 "
     "67 65 0A 00 01 0C 78 61 6E 79 73 65 71 75 65 6E 63 65 02 00 00 00 0A 00 01 05 49 43 61 "
     "6C 63 01 04 63 61 6C 63 08 01 05 68 65 6C 6C 6F 01 0A",
     ""},
    {"createChild", "calc", [](ICalcProxy& c) { return text(c.createChild("kid")->getProxyId()); },
     "o1",
     "01 07 4A 45 58 43 61 6C 6C 01 11 49 43 61 6C 63 3A 63 72 65 61 74 65 43 68 69 6C 64 01 "
     "05 49 43 61 6C 63 0A 00 01 0F 78 73 74 72 69 6E 67 73 65 71 75 65 6E 63 65 02 00 00 00 "
     "01 04 74 68 69 73 01 04 6E 61 6D 65 0A 00 01 0C 78 61 6E 79 73 65 71 75 65 6E 63 65 02 "
     "00 00 00 0A 00 01 05 49 43 61 6C 63 01 04 63 61 6C 63 08 01 03 6B 69 64 00 0A",
     "01 0B 4A 45 58 52 65 73 70 6F 6E 73 65 01 13 63 72 65 61 74 65 43 68 69 6C 64 52 65 73 "
     "70 6F 6E 73 65 02 00 00 00 01 05 49 43 61 6C 63 0A 00 01 05 49 43 61 6C 63 01 02 6F 31 "
     "01 00 01 00 0A"},
    {"getName of the root", "calc", [](ICalcProxy& c) { return c.getName(); }, "root",
     "01 07 4A 45 58 43 61 6C 6C 01 0D 49 43 61 6C 63 3A 67 65 74 4E 61 6D 65 01 06 73 74 72 "
     "69 6E 67 0A 00 01 0F 78 73 74 72 69 6E 67 73 65 71 75 65 6E 63 65 01 00 00 00 01 04 74 "
     "68 69 73 0A 00 01 0C 78 61 6E 79 73 65 71 75 65 6E 63 65 01 00 00 00 0A 00 01 05 49 43 "
     "61 6C 63 01 04 63 61 6C 63 00 0A",
     "01 0B 4A 45 58 52 65 73 70 6F 6E 73 65 01 0F 67 65 74 4E 61 6D 65 52 65 73 70 6F 6E 73 "
     "65 02 00 00 00 01 06 73 74 72 69 6E 67 08 01 04 72 6F 6F 74 01 00 01 00 0A"},
    {"getName of the child", "o1", [](ICalcProxy& c) { return c.getName(); }, "kid",
     "01 07 4A 45 58 43 61 6C 6C 01 0D 49 43 61 6C 63 3A 67 65 74 4E 61 6D 65 01 06 73 74 72 "
     "69 6E 67 0A 00 01 0F 78 73 74 72 69 6E 67 73 65 71 75 65 6E 63 65 01 00 00 00 01 04 74 "
     "68 69 73 0A 00 01 0C 78 61 6E 79 73 65 71 75 65 6E 63 65 01 00 00 00 0A 00 01 05 49 43 "
     "61 6C 63 01 02 6F 31 00 0A",
     "01 0B 4A 45 58 52 65 73 70 6F 6E 73 65 01 0F 67 65 74 4E 61 6D 65 52 65 73 70 6F 6E 73 "
     "65 02 00 00 00 01 06 73 74 72 69 6E 67 08 01 03 6B 69 64 01 00 01 00 0A"},
};

// What `call` returned in words, or the CalcError it raised.
std::string outcome(const Exchange& e, ICalcProxy& calc) {
  std::string result;
  testing::internal::CaptureStderr();  // the client's line about a failed call
  xrcunihandle<xthrowable> raised = raisedBy([&] { result = e.call(calc); });
  testing::internal::GetCapturedStderr();
  if (!raised) return result;
  CalcError* error = CalcError::softcast(raised.get());
  if (error == nullptr) return descriptionOf(raised.get());
  EXPECT_EQ(error->message, descriptionOf(error));
  return "CalcError " + error->message;
}

TEST(CalcGolden, ProxyWritesTheRequestsAndReadsTheResponses) {
  ScriptedServer server;
  for (const Exchange& e : kExchanges) {
    if (*e.response != '\0') server.script->queueResponse(Bytes(e.response));
    zubJexClient* client = server.client();
    xrchandle<ICalcProxy> calc(
        ICalcProxy::softcast(client->getRootObject("ICalc", e.target).get()));
    zubJexClient::freeInstance(client);
    ASSERT_TRUE(calc) << e.name;
    EXPECT_EQ(outcome(e, *calc), e.result) << e.name;
    EXPECT_EQ(Hex(server.script->requests().back()), e.request) << e.name;
  }
}

TEST(CalcGolden, SkeletonAnswersTheRequestsWithTheResponses) {
  calcRegisterTypes();
  zubJexDispatcher dispatcher;
  CalcService* root = new CalcService("root");  // kept by the dispatcher
  calcServe(dispatcher, root);
  for (const Exchange& e : kExchanges) {
    const std::string request = Bytes(e.request);
    btkMemIStream in(request);
    btkMemOStream out;
    dispatcher.dispatch(&in, out, "peer");
    EXPECT_EQ(Hex(out.str()), e.response) << e.name;
  }
  EXPECT_EQ(root->loggedMessages(), std::vector<std::string>{"hello"});
}

// A server that answers a value of another type than the method's: the proxy raises a
// worded error instead of converting the value (which would end the process), and
// writes it to standard error as the client does its own.
TEST(TypedResultKinds, AnswerOfAnotherKindRaisesAClearError) {
  calcRegisterTypes();
  ScriptedServer server;
  zubJexClient* client = server.client();
  xrchandle<ICalcProxy> calc(ICalcProxy::softcast(client->getRootObject("ICalc", "calc").get()));
  zubJexClient::freeInstance(client);
  ASSERT_TRUE(calc);
  xrcunihandle<xobject> other = xstringsequence::create();
  struct Case {
    const char* response;
    xany value;
    xrtti* type;
    std::function<void()> call;
    std::string text;
  } cases[] = {
      {"addResponse", "five", zubGetRtti_int(), [&] { calc->add(2, 3); },
       "JEX Client Error: the result of ICalc:add: expected int, got a string."},
      {"getNameResponse", xlong(7), zubGetRtti_string(), [&] { calc->getName(); },
       "JEX Client Error: the result of ICalc:getName: expected string, got a long."},
      {"createChildResponse", xint(1), ICalcProxy::getClassRtti(), [&] { calc->createChild("x"); },
       "JEX Client Error: the result of ICalc:createChild: expected ICalc, got an int."},
      {"createChildResponse", other.get(), ICalcProxy::getClassRtti(),
       [&] { calc->createChild("x"); },
       "JEX Client Error: the result of ICalc:createChild: expected ICalc, got an object of type "
       "xstringsequence."},
  };
  for (const Case& c : cases) {
    server.script->queueResponse(responseBytes(c.response, zubJexResponseValue, c.value, c.type));
    testing::internal::CaptureStderr();
    xrcunihandle<xthrowable> raised = raisedBy(c.call);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), c.text + "\n");
    ASSERT_NE(zubXSerialization::softcast(raised.get()), nullptr) << c.text;
    EXPECT_EQ(descriptionOf(raised.get()), c.text);
  }
  // A nil result is the type's empty value, as the generic path's markers are.
  server.script->queueResponse(
      responseBytes("getNameResponse", zubJexResponseValue, xany::Nil(), zubGetRtti_string()));
  EXPECT_EQ(calc->getName(), "");
}

}  // namespace
