// At unload the pool deletes every client, which disconnects and deletes its transport.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>

#include "client_test_support.h"

using namespace client_test;

namespace {

// Says on standard error when the client lets go of it.
class LoudTransport : public zubJexScriptedTransport {
 public:
  using zubJexScriptedTransport::zubJexScriptedTransport;
  ~LoudTransport() override { std::fputs("transport deleted\n", stderr); }
  void disconnect() override { std::fputs("transport disconnected\n", stderr); }
};

class LoudFactory : public zubJexTransportFactory {
 public:
  explicit LoudFactory(std::shared_ptr<zubJexTransportScript> script) : script_(script) {}
  zubJexTransport* createTransport() override { return new LoudTransport(script_); }

 private:
  std::shared_ptr<zubJexTransportScript> script_;
};

void callThenExit() {
  ScriptedServer server;
  LoudFactory loud(server.script);
  zubJexConfig config;
  config.setJexTransportFactory(&loud);
  zubJexClient::setServerConfig(server.name.c_str(), config);
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
