// The pool hands a client to one caller at a time, reuses free clients in the order of
// their making, and fixes a client's configuration when it is made.
#include <gtest/gtest.h>

#include "client/jex_client.h"
#include "client_test_support.h"

using namespace client_test;

namespace {

// Stands for distinct factories; never asked for a transport in these tests.
class UnusedFactory : public zubJexTransportFactory {
 public:
  zubJexTransport* createTransport() override { return nullptr; }
};

zubJexConfig configWith(zubJexTransportFactory* factory) {
  zubJexConfig config;
  config.setJexTransportFactory(factory);
  return config;
}

TEST(ClientPool, ReusesFreeClientsInTheOrderOfTheirMaking) {
  std::string server = uniqueServerName("pool");
  zubJexClient* first = zubJexClient::getInstance(server.c_str());
  zubJexClient* second = zubJexClient::getInstance(server.c_str());
  ASSERT_NE(first, second);

  zubJexClient::freeInstance(second);
  zubJexClient::freeInstance(first);
  EXPECT_EQ(zubJexClient::getInstance(server.c_str()), first);
  EXPECT_EQ(zubJexClient::getInstance(server.c_str()), second);
  zubJexClient* third = zubJexClient::getInstance(server.c_str());
  EXPECT_NE(third, first);
  EXPECT_NE(third, second);

  for (zubJexClient* c : {first, second, third}) zubJexClient::freeInstance(c);
}

TEST(ClientPool, ServersHaveSeparateClients) {
  std::string a = uniqueServerName("pool-a");
  std::string b = uniqueServerName("pool-b");
  zubJexClient* ca = zubJexClient::getInstance(a.c_str());
  zubJexClient::freeInstance(ca);
  zubJexClient* cb = zubJexClient::getInstance(b.c_str());
  EXPECT_NE(ca, cb);
  zubJexClient::freeInstance(cb);
}

TEST(ClientPool, GivingBackAFreeClientLeavesItFree) {
  std::string server = uniqueServerName("pool");
  zubJexClient* client = zubJexClient::getInstance(server.c_str());
  zubJexClient::freeInstance(client);
  zubJexClient::freeInstance(client);
  EXPECT_EQ(zubJexClient::getInstance(server.c_str()), client);
  zubJexClient* other = zubJexClient::getInstance(server.c_str());
  EXPECT_NE(other, client);
  zubJexClient::freeInstance(client);
  zubJexClient::freeInstance(other);
}

TEST(ClientConfig, IsCapturedWhenTheClientIsMadeAndNeverAfter) {
  UnusedFactory before, after;
  std::string server = uniqueServerName("config");
  zubJexClient::setServerConfig(server.c_str(), configWith(&before));
  zubJexClient* old = zubJexClient::getInstance(server.c_str());

  zubJexClient::setServerConfig(server.c_str(), configWith(&after));
  zubJexClient* made = zubJexClient::getInstance(server.c_str());
  EXPECT_EQ(old->getConfig().getJexTransportFactory(), &before);
  EXPECT_EQ(made->getConfig().getJexTransportFactory(), &after);

  // Handed out again, the old client keeps what it took when it was made.
  zubJexClient::freeInstance(old);
  EXPECT_EQ(zubJexClient::getInstance(server.c_str()), old);
  EXPECT_EQ(old->getConfig().getJexTransportFactory(), &before);

  zubJexClient::freeInstance(old);
  zubJexClient::freeInstance(made);
  zubJexClient::setServerConfig(server.c_str(), zubJexConfig());
}

TEST(ClientConfig, DefaultIsTakenOnlyByServersWithoutTheirOwn) {
  UnusedFactory fallback;
  zubJexConfig saved = zubJexClient::getDefaultConfig();
  zubJexClient::setDefaultConfig(configWith(&fallback));

  std::string server = uniqueServerName("config");
  EXPECT_EQ(zubJexClient::getServerConfig(server.c_str()).getJexTransportFactory(), nullptr);
  zubJexClient* client = zubJexClient::getInstance(server.c_str());
  EXPECT_EQ(client->getConfig().getJexTransportFactory(), &fallback);

  zubJexClient::setDefaultConfig(saved);
  EXPECT_EQ(client->getConfig().getJexTransportFactory(), &fallback);
  zubJexClient::freeInstance(client);
}

}  // namespace
