// The root object is made locally: bound to the client's server, no exchange.
#include <gtest/gtest.h>

#include <string>

#include "client_test_support.h"

using namespace client_test;

namespace {

TEST(ClientRootObject, IsAProxyBoundToTheServerWithoutAnyExchange) {
  ScriptedServer server;
  zubJexClient* client = server.client();

  xrcunihandle<xobject> root = client->getRootObject("ICalc", "root");
  xrcunihandle<xobject> again = client->getRootObject("ICalc", "");

  CalcProxy* proxy = CalcProxy::softcast(root.get());
  ASSERT_TRUE(proxy);
  EXPECT_EQ(proxy->getServerUrl(), server.name.c_str());
  EXPECT_EQ(proxy->getProxyId(), "root");
  ASSERT_TRUE(CalcProxy::softcast(again.get()));
  EXPECT_NE(again.get(), root.get());
  EXPECT_EQ(CalcProxy::softcast(again.get())->getProxyId(), "");
  EXPECT_EQ(server.script->operationNames(), "");

  // The client stays in use until it is given back.
  zubJexClient* other = server.client();
  EXPECT_NE(other, client);
  zubJexClient::freeInstance(other);
  zubJexClient::freeInstance(client);
}

TEST(ClientRootObject, CallOnTheRootCarriesItsId) {
  ScriptedServer server;
  zubJexClient* client = server.client();
  xrcunihandle<xobject> root = client->getRootObject("ICalc", "calc-7");
  zubJexClient::freeInstance(client);
  server.script->queueResponse(responseBytes("getNameResponse", zubJexResponseValue, "seven"));

  EXPECT_EQ(server.client()->makeCall("ICalc", "getName", values({root.get()})).toString(),
            "seven");

  zubJexCall sent;
  decodeCall(server.script->requests().at(0), sent);
  CalcProxy* target = CalcProxy::softcast(sent.getParamByName("this").toObject());
  ASSERT_TRUE(target);
  EXPECT_EQ(target->getProxyId(), "calc-7");
}

TEST(ClientRootObject, UnknownOrOrdinaryTypesFailWithTheirText) {
  struct Case {
    const char* type;
    const char* text;
  };
  for (const Case& c :
       {Case{"INowhere", "JEX Client Error: Missing s11n descriptor for ZUB type INowhere."},
        Case{"CalcError",
             "JEX Client Error: Invalid s11n descriptor for proxy of ZUB type CalcError."}}) {
    ScriptedServer server;
    zubJexClient* client = server.client();
    testing::internal::CaptureStderr();
    xrcunihandle<xthrowable> raised = raisedBy([&] { client->getRootObject(c.type, "root"); });
    std::string stderrText = testing::internal::GetCapturedStderr();

    EXPECT_EQ(descriptionOf(raised.get()), c.text);
    EXPECT_EQ(stderrText, std::string(c.text) + "\n");
    EXPECT_EQ(server.script->operationNames(), "");
    EXPECT_EQ(server.client(), client) << "a failure gives the client back";
    zubJexClient::freeInstance(client);
  }
}

}  // namespace
