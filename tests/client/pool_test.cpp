// The pool hands a client to one caller at a time, reuses free clients in the order of
// their making, fixes a client's configuration when it is made, and at unload deletes
// every client, which disconnects and deletes its transport.
#include <cstdio>
#include <cstdlib>

#include "test_support/jex_test_support.h"

using namespace jex_test;

namespace {

zubJexConfig configWith(zubJexTransportFactory* factory) {
  zubJexConfig config;
  config.setJexTransportFactory(factory);
  return config;
}

zubJexClient* clientOf(const std::string& server) {
  return zubJexClient::getInstance(server.c_str());
}

TEST(ClientPool, ReusesFreeClientsOfTheServerInTheOrderOfTheirMaking) {
  std::string server = uniqueServerName("pool");
  zubJexClient* first = clientOf(server);
  zubJexClient* second = clientOf(server);
  ASSERT_NE(first, second);
  zubJexClient::freeInstance(second);
  zubJexClient::freeInstance(first);
  zubJexClient::freeInstance(first);  // giving back a free client leaves it free, once
  EXPECT_EQ(clientOf(server), first);
  EXPECT_EQ(clientOf(server), second);
  zubJexClient* third = clientOf(server);
  EXPECT_TRUE(third != first && third != second);
  for (zubJexClient* c : {first, second, third}) zubJexClient::freeInstance(c);

  zubJexClient* elsewhere = clientOf(uniqueServerName("pool"));  // servers have their own
  EXPECT_TRUE(elsewhere != first && elsewhere != second && elsewhere != third);
  zubJexClient::freeInstance(elsewhere);
}

TEST(ClientConfig, IsCapturedWhenTheClientIsMadeAndNeverAfter) {
  zubJexScriptedTransportFactory before(nullptr), after(nullptr), fallback(nullptr);
  std::string server = uniqueServerName("config");
  zubJexClient::setServerConfig(server.c_str(), configWith(&before));
  zubJexClient* old = clientOf(server);
  zubJexClient::setServerConfig(server.c_str(), configWith(&after));
  zubJexClient* made = clientOf(server);
  zubJexClient::freeInstance(old);
  EXPECT_EQ(clientOf(server), old);  // handed out again, it keeps what it took when made
  EXPECT_EQ(old->getConfig().getJexTransportFactory(), &before);
  EXPECT_EQ(made->getConfig().getJexTransportFactory(), &after);
  for (zubJexClient* c : {old, made}) zubJexClient::freeInstance(c);
  zubJexClient::setServerConfig(server.c_str(), zubJexConfig());

  // The default is taken only by servers without their own.
  zubJexConfig saved = zubJexClient::getDefaultConfig();
  zubJexClient::setDefaultConfig(configWith(&fallback));
  std::string bare = uniqueServerName("config");
  EXPECT_EQ(zubJexClient::getServerConfig(bare.c_str()).getJexTransportFactory(), nullptr);
  zubJexClient* client = clientOf(bare);
  zubJexClient::setDefaultConfig(saved);
  EXPECT_EQ(client->getConfig().getJexTransportFactory(), &fallback);
  zubJexClient::freeInstance(client);
}

// Says on standard error when the client lets go of it.
class LoudTransport : public zubJexScriptedTransport {
 public:
  using zubJexScriptedTransport::zubJexScriptedTransport;
  ~LoudTransport() override { std::fputs("transport deleted\n", stderr); }
  void disconnect() override { std::fputs("transport disconnected\n", stderr); }
};

class LoudFactory : public zubJexScriptedTransportFactory {
 public:
  using zubJexScriptedTransportFactory::zubJexScriptedTransportFactory;
  zubJexTransport* createTransport() override { return new LoudTransport(getScript()); }
};

void callThenExit() {
  ScriptedServer server;
  LoudFactory loud(server.script);
  zubJexClient::setServerConfig(server.name.c_str(), configWith(&loud));
  server.script->queueResponse(responseBytes("addResponse", zubJexResponseValue, xint(3)));
  server.client()->makeCall("ICalc", "add", values({xint(1), xint(2)}));
  std::exit(0);
}

TEST(ClientUnload, PooledClientsDisconnectAndDeleteTheirTransports) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(callThenExit(), testing::ExitedWithCode(0),
              "transport disconnected\ntransport deleted\n");
}

}  // namespace
