// Helpers of the client tests: a server name per test backed by a scripted transport,
// and what a host sees of an action on a pooled client.
#ifndef ZUBJEX_TESTS_CLIENT_CLIENT_TEST_SUPPORT_H_
#define ZUBJEX_TESTS_CLIENT_CLIENT_TEST_SUPPORT_H_

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <string>

#include "client/scripted_transport.h"
#include "test_support/jex_test_support.h"

namespace jex_test {

// The pool and the registry are process-wide: every test talks to servers of its own.
inline std::string uniqueServerName(const char* base) {
  static std::atomic<int> counter{0};
  return std::string(base) + "-" + std::to_string(counter++);
}

// A server name with a scripted transport factory and a proxy map installed.
struct ScriptedServer {
  explicit ScriptedServer(zubMessageService* service = nullptr)
      : name(uniqueServerName("server")),
        script(std::make_shared<zubJexTransportScript>()),
        factory(script) {
    calcRegisterTypes();
    zubJexConfig config;
    config.setJexTransportFactory(&factory);
    config.setMessageService(service);
    zubJexClient::setServerConfig(name.c_str(), config);
    zubJexClient::setServerProxyMap(name.c_str(), &map);
  }
  ~ScriptedServer() {
    zubJexClient::setServerConfig(name.c_str(), zubJexConfig());
    zubJexClient::setServerProxyMap(name.c_str(), nullptr);
  }
  zubJexClient* client() const { return zubJexClient::getInstance(name.c_str()); }

  std::string name;
  std::shared_ptr<zubJexTransportScript> script;
  zubJexScriptedTransportFactory factory;
  NoHostObjects map;
};

// What the host sees of `action` run on a client from the pool: what it raised, what it
// wrote to standard error, and whether the client was free again afterwards.
struct Outcome {
  xrcunihandle<xthrowable> raised;
  std::string stderrText;
  bool clientFree;
};

template <class F>
Outcome outcomeOf(const ScriptedServer& server, F action) {
  Outcome outcome;
  zubJexClient* client = server.client();
  testing::internal::CaptureStderr();
  outcome.raised = raisedBy([&] { action(client); });
  outcome.stderrText = testing::internal::GetCapturedStderr();
  zubJexClient* next = server.client();
  outcome.clientFree = next == client;
  zubJexClient::freeInstance(next);
  return outcome;
}

}  // namespace jex_test

#endif  // ZUBJEX_TESTS_CLIENT_CLIENT_TEST_SUPPORT_H_
