// The calculator generated from typed_calc.jex against the hand-written one of
// examples/calc: every call writes the same request bytes as the hand-written proxy's
// call by names, the generated skeleton answers with the same response bytes as the
// hand-written service, and the typed results are those of the hand-written path. The
// generated types are named "JCalc" and "CalcFault" where the hand-written ones are
// "ICalc" and "CalcError"; bytes are compared with those names swapped.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "examples/calc/calc_proxy.h"
#include "examples/calc/calc_service.h"
#include "server/dispatcher.h"
#include "test_support/jex_test_support.h"
#include "typed_calc.jex.h"

using namespace jex_test;

namespace {

std::string replaceAll(std::string text, const std::string& from, const std::string& to) {
  for (size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size())) {
    text.replace(at, from.size(), to);
  }
  return text;
}

// Hand-written bytes as the generated calculator names its types.
std::string typedNames(const std::string& bytes) {
  return replaceAll(replaceAll(bytes, "ICalc", "JCalc"), "CalcError", "CalcFault");
}

// The generated calculator's implementation, doing what CalcService does.
class TypedCalc : public JCalcSkeleton {
 public:
  explicit TypedCalc(std::string name) : name_(std::move(name)) {}
  int32_t add(int32_t a, int32_t b) override { return a + b; }
  int32_t divide(int32_t a, int32_t b) override {
    if (b == 0) CalcFault::Throw("division by zero");
    return a / b;
  }
  void log(const std::string& message) override { logged.push_back(message); }
  xrchandle<JCalcSkeleton> createChild(const std::string& name) override {
    return new TypedCalc(name);
  }
  std::string getName() override { return name_; }

  std::vector<std::string> logged;

 private:
  std::string name_;
};

// A server name whose scripted transport hands every request to `dispatcher` and keeps
// the bytes of both messages.
struct RecordingServer : ScriptedServer {
  explicit RecordingServer(zubJexDispatcher& dispatcher) : dispatcher(dispatcher) {
    script->setResponder([this](const std::string& request) { return answer(request); });
  }
  std::string answer(const std::string& request) {
    btkMemIStream in(request);
    btkMemOStream out;
    dispatcher.dispatch(&in, out, "peer");
    responses.push_back(out.str());
    return out.str();
  }
  // A one-way request, which the client sends without reading an answer.
  void deliverLastOneWay() { answer(script->requests().back()); }
  std::string lastRequest() const { return script->requests().back(); }

  zubJexDispatcher& dispatcher;
  std::vector<std::string> responses;
};

class CalcEquivalence : public ::testing::Test {
 protected:
  CalcEquivalence()
      : typedRoot(new TypedCalc("root")), hand(handDispatcher), typed(typedDispatcher) {
    typedCalcRegisterTypes();
    calcServe(handDispatcher, new CalcService("root"));
    JCalcSkeleton::serve(typedDispatcher, typedRoot, kCalcRootId);
    handRoot = rootOf(hand, "ICalc");
    typedProxy = xrchandle<JCalcProxy>(JCalcProxy::softcast(rootOf(typed, "JCalc").get()));
  }

  static xrcunihandle<xobject> rootOf(const ScriptedServer& server, const char* type) {
    zubJexClient* client = server.client();
    xrcunihandle<xobject> root = client->getRootObject(type, kCalcRootId);
    zubJexClient::freeInstance(client);
    return root;
  }

  // Both sides wrote the same last request and, unless one-way, the same response.
  void expectSameMessages(bool oneWay = false) {
    EXPECT_EQ(Hex(typedNames(hand.lastRequest())), Hex(typed.lastRequest()));
    if (oneWay) return;
    ASSERT_FALSE(hand.responses.empty());
    ASSERT_EQ(hand.responses.size(), typed.responses.size());
    EXPECT_EQ(Hex(typedNames(hand.responses.back())), Hex(typed.responses.back()));
  }

  xany handCall(const char* method, std::initializer_list<xany> params) {
    return hand.client()->makeCall("ICalc", method, values(params));
  }

  zubJexDispatcher handDispatcher;
  zubJexDispatcher typedDispatcher;
  TypedCalc* typedRoot;  // kept by typedDispatcher
  RecordingServer hand;
  RecordingServer typed;
  xrcunihandle<xobject> handRoot;
  xrchandle<JCalcProxy> typedProxy;
};

TEST_F(CalcEquivalence, ValueCallsWriteAndAnswerTheSameBytes) {
  ASSERT_TRUE(typedProxy);
  EXPECT_EQ(handCall("add", {handRoot.get(), xint(2), xint(-7)}).toInt(), -5);
  EXPECT_EQ(typedProxy->add(2, -7), -5);
  expectSameMessages();

  EXPECT_EQ(handCall("divide", {handRoot.get(), xint(84), xint(2)}).toInt(), 42);
  EXPECT_EQ(typedProxy->divide(84, 2), 42);
  expectSameMessages();

  EXPECT_EQ(handCall("getName", {handRoot.get()}).toString(), "root");
  EXPECT_EQ(typedProxy->getName(), "root");
  expectSameMessages();
}

TEST_F(CalcEquivalence, OneWayCallWritesTheSameBytesAndReachesTheServer) {
  hand.client()->makeVoidCall("ICalc", "log", values({handRoot.get(), "hello"}));
  typedProxy->log("hello");
  expectSameMessages(true);
  EXPECT_EQ(typed.script->operationNames().find("startInput"), std::string::npos);
  typed.deliverLastOneWay();
  EXPECT_EQ(typedRoot->logged, std::vector<std::string>{"hello"});
}

TEST_F(CalcEquivalence, ReturnedObjectArrivesAsATypedProxyThatCanBeCalled) {
  xany handKid = handCall("createChild", {handRoot.get(), "kid"});
  xrchandle<JCalcProxy> kid = typedProxy->createChild("kid");
  expectSameMessages();
  ASSERT_TRUE(kid);
  EXPECT_EQ(kid->getServerUrl(), typed.name.c_str());
  EXPECT_EQ(kid->getProxyId(), CalcProxy::softcast(handKid.toObject())->getProxyId());

  EXPECT_EQ(handCall("getName", {handKid}).toString(), "kid");
  EXPECT_EQ(kid->getName(), "kid");
  expectSameMessages();
}

TEST_F(CalcEquivalence, ServerExceptionTravelsAsTheSameFaultAndIsRaisedTyped) {
  xrcunihandle<xthrowable> handError = raisedBy([&] {
    handCall("divide", {handRoot.get(), xint(1), xint(0)});
  });
  xrcunihandle<xthrowable> typedError = raisedBy([&] { typedProxy->divide(1, 0); });
  expectSameMessages();
  ASSERT_NE(CalcError::softcast(handError.get()), nullptr);
  CalcFault* fault = CalcFault::softcast(typedError.get());
  ASSERT_NE(fault, nullptr) << descriptionOf(typedError.get());
  EXPECT_EQ(fault->message, "division by zero");
  EXPECT_EQ(descriptionOf(fault), "division by zero");
}

// A server that answers a value of another type than the method's: the proxy raises a
// worded error instead of converting the value (which would end the process), and
// writes it to standard error as the client does its own.
TEST(TypedResultKinds, AnswerOfAnotherKindRaisesAClearError) {
  typedCalcRegisterTypes();
  ScriptedServer server;
  zubJexClient* client = server.client();
  xrchandle<JCalcProxy> calc(JCalcProxy::softcast(client->getRootObject("JCalc", "calc").get()));
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
       "JEX Client Error: the result of JCalc:add: expected int, got a string."},
      {"getNameResponse", xlong(7), zubGetRtti_string(), [&] { calc->getName(); },
       "JEX Client Error: the result of JCalc:getName: expected string, got a long."},
      {"createChildResponse", xint(1), JCalcProxy::getClassRtti(), [&] { calc->createChild("x"); },
       "JEX Client Error: the result of JCalc:createChild: expected JCalc, got an int."},
      {"createChildResponse", other.get(), JCalcProxy::getClassRtti(),
       [&] { calc->createChild("x"); },
       "JEX Client Error: the result of JCalc:createChild: expected JCalc, got an object of type "
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
