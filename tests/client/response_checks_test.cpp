// Whether a response answers the call: its kind for the kind of call, its name for the
// method's name, and the presence of a value for the return type.
#include <gtest/gtest.h>

#include <string>

#include "client_test_support.h"
#include "platform/rtti_registry.h"

using namespace client_test;

namespace {

const char* const kOk = nullptr;
const char* const kBadName = "JEX Client Error: Invalid JEX response name.";
const char* const kBadKind = "JEX Client Error: Invalid JEX response kind.";
const char* const kValueInVoid = "JEX Client Error: JEX call to void method returned a value.";
const char* const kNoAny =
    "JEX Client Error: JEX call is expected to return a value of ZUB type any.";
const char* const kNoInt =
    "JEX Client Error: JEX call is expected to return a value of ZUB type int.";

struct ResponseCase {
  const char* callName;
  bool voidCall;        // makeVoidCall instead of makeCall
  bool callReturnsInt;  // the call's return type: int, else none
  const char* responseName;
  int kind;
  xany value;
  bool responseNamesInt;  // the return type the server names: int, else none
  const char* error;      // the host's error text, or kOk
};

const ResponseCase kCases[] = {
    // Names: a two-word name is compared by its method part, others whole.
    {"Calc:add", false, true, "addResponse", 2, xint(1), false, kOk},
    {"Calc:add", false, true, "addReply", 2, xint(1), false, kOk},
    {"Calc:add", false, true, "Calc:addResponse", 2, xint(1), false, kOk},
    {"add", false, true, "X:addReply", 2, xint(1), false, kOk},
    {"Calc:add", false, true, "addresult", 2, xint(1), false, kBadName},
    {"Calc:add", false, true, "Calc:add:Response", 2, xint(1), false, kBadName},
    {"Calc:add", false, true, "add", 2, xint(1), false, kBadName},
    {"Calc:add", false, true, "subResponse", 2, xint(1), false, kBadName},
    {"a:b:c", false, true, "a:b:cResponse", 2, xint(1), false, kOk},
    {"a:b:c", false, true, "cResponse", 2, xint(1), false, kBadName},
    // Calls with a result: a value must come, nil counts as one; the server's type is
    // replaced by the call's (or any).
    {"get", false, false, "getResponse", 2, xany(), false, kNoAny},
    {"get", false, true, "getResponse", 2, xany(), true, kNoInt},
    {"get", false, false, "getResponse", 2, xany::Nil(), false, kOk},
    {"get", false, true, "getResponse", 2, "text", false, kOk},
    {"get", false, true, "getResponse", 1, xany(), false, kBadKind},
    {"get", false, true, "getResponse", 0, xint(1), false, kBadKind},
    {"get", false, true, "getResponse", 7, xint(1), false, kBadKind},
    // Calls without a result: the response's own return type decides.
    {"reset", true, false, "resetResponse", 1, xany(), false, kOk},
    {"reset", true, false, "resetResponse", 1, xany::Nil(), false, kValueInVoid},
    {"reset", true, false, "resetResponse", 1, xint(3), false, kValueInVoid},
    {"reset", true, false, "resetResponse", 1, xany(), true, kNoInt},
    {"reset", true, false, "resetResponse", 1, xint(3), true, kOk},
    {"reset", true, false, "resetReply", 1, xany(), false, kOk},
    {"reset", true, false, "resetResult", 1, xany(), false, kBadName},
    {"reset", true, false, "resetResponse", 2, xint(3), false, kBadKind},
    {"reset", true, false, "resetResponse", 0, xany(), false, kBadKind},
};

TEST(ClientResponseChecks, AcceptOrRejectAsTheTableSays) {
  for (const ResponseCase& c : kCases) {
    SCOPED_TRACE(std::string(c.callName) + " answered by " + c.responseName + " kind " +
                 std::to_string(c.kind));
    ScriptedServer server;
    server.script->queueResponse(responseBytes(c.responseName,
                                               static_cast<zubJexResponseKind>(c.kind), c.value,
                                               c.responseNamesInt ? zubGetRtti_int() : nullptr));
    zubJexCall call;
    call.setName(c.callName);
    call.setReturnType(c.callReturnsInt ? zubGetRtti_int() : nullptr);
    zubJexClient* client = server.client();

    xany result;
    testing::internal::CaptureStderr();
    xrcunihandle<xthrowable> raised = raisedBy([&] {
      if (c.voidCall) {
        client->makeVoidCall(&call);
      } else {
        result = client->makeCall(&call);
      }
    });
    std::string stderrText = testing::internal::GetCapturedStderr();

    if (c.error == kOk) {
      EXPECT_FALSE(raised) << descriptionOf(raised.get());
      EXPECT_EQ(stderrText, "");
      if (!c.voidCall) {
        EXPECT_EQ(result, c.value);
      }
    } else {
      ASSERT_TRUE(zubXSerialization::softcast(raised.get()));
      EXPECT_EQ(descriptionOf(raised.get()), c.error);
      EXPECT_EQ(causeOf(raised.get()), "<no cause>");
      EXPECT_EQ(stderrText, std::string(c.error) + "\n");
    }
    EXPECT_EQ(server.client(), client) << "the client goes back to the pool";
    zubJexClient::freeInstance(client);
  }
}

}  // namespace
