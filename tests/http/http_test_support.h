// Helpers of the HTTP tests: server names whose clients talk HTTP with given options,
// the calculator's add call and its answer, and what a failed call left behind.
#ifndef ZUBJEX_TESTS_HTTP_HTTP_TEST_SUPPORT_H_
#define ZUBJEX_TESTS_HTTP_HTTP_TEST_SUPPORT_H_

#include <list>
#include <string>

#include "http/http_transport.h"
#include "http_test_server.h"
#include "test_support/jex_test_support.h"

namespace jex_test {

// Makes the pool's clients of a new server name talk HTTP to `url` with `options`;
// returns the name. Each name is `url` with a fragment of its own (which is never sent),
// since the pool keeps clients (and their transports, with their options) by name for
// the whole process.
inline std::string useHttp(const std::string& url, zubJexHttpOptions options = {}) {
  static NoHostObjects map;
  static std::list<zubJexHttpTransportFactory> factories;  // kept: pooled clients use them
  static std::mutex mutex;
  if (options.connectTimeoutMs == zubJexHttpOptions().connectTimeoutMs) {
    options.connectTimeoutMs = 2000;
  }
  if (options.exchangeTimeoutMs == zubJexHttpOptions().exchangeTimeoutMs) {
    options.exchangeTimeoutMs = 10000;
  }
  calcRegisterTypes();
  std::string name = url + "#" + uniqueServerName("client");
  std::lock_guard<std::mutex> lock(mutex);
  factories.emplace_back(options);
  zubJexConfig config;
  config.setJexTransportFactory(&factories.back());
  zubJexClient::setServerConfig(name.c_str(), config);
  zubJexClient::setServerProxyMap(name.c_str(), &map);
  return name;
}

// The answer of a calculator to an add call: the sum 3.
inline HttpReply sumReply() {
  HttpReply reply;
  reply.body = responseBytes("addResponse", zubJexResponseValue, xint(3));
  reply.headers.emplace_back("Content-Type", "application/x-jex");
  return reply;
}

inline HttpReply statusReply(int status) {
  HttpReply reply;
  reply.status = status;
  return reply;
}

// An "ICalc:add" call through the pool's client of `name`.
inline xany callAdd(const std::string& name) {
  zubJexCall call;
  call.setName("ICalc:add");
  call.setReturnType(zubGetRtti_int());
  call.addParam("a", xint(1));
  call.addParam("b", xint(2));
  return zubJexClient::getInstance(name.c_str())->makeCall(&call);
}

// What a call through the pool's client of `name` raised ("" when nothing), and whether
// that client was free again afterwards.
struct CallOutcome {
  std::string error;
  bool clientFree = false;
};

template <class F>
CallOutcome outcomeOfCall(const std::string& name, F action) {
  CallOutcome outcome;
  zubJexClient* client = zubJexClient::getInstance(name.c_str());
  zubJexClient::freeInstance(client);
  testing::internal::CaptureStderr();
  xrcunihandle<xthrowable> raised = raisedBy(action);
  testing::internal::GetCapturedStderr();
  if (raised) outcome.error = descriptionOf(raised.get());
  zubJexClient* next = zubJexClient::getInstance(name.c_str());
  outcome.clientFree = next == client;
  zubJexClient::freeInstance(next);
  return outcome;
}

}  // namespace jex_test

#endif  // ZUBJEX_TESTS_HTTP_HTTP_TEST_SUPPORT_H_
