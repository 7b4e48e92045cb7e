// Helpers shared by the client, server and transport tests (with what they all use): a
// proxy map without host objects, parameter lists, message bytes written and read by the
// library's own encoder, and a server name per test backed by a scripted transport.
#ifndef ZUBJEX_TESTS_TEST_SUPPORT_JEX_TEST_SUPPORT_H_
#define ZUBJEX_TESTS_TEST_SUPPORT_JEX_TEST_SUPPORT_H_

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <initializer_list>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "calc.jex.h"
#include "client/jex_client.h"
#include "client/scripted_transport.h"
#include "messages/jex_call.h"
#include "messages/jex_response.h"
#include "messages/jex_serializer.h"
#include "messages/proxy_map.h"
#include "platform/exceptions.h"
#include "platform/memory_streams.h"
#include "platform/rtti_registry.h"
#include "platform/sequences.h"
#include "test_support/basics.h"

namespace jex_test {

// A map for servers that hold no host objects: every id names a server object.
class NoHostObjects : public zubJexProxyMap {
 public:
  xstring getObjectId(xrcunihandle<xobject>) override { return xstring(); }
  xrcunihandle<xobject> findObject(const xstring&) override { return xrcunihandle<xobject>(); }
};

inline xrchandle<xanysequence> values(std::initializer_list<xany> items) {
  xrchandle<xanysequence> seq(xanysequence::create());
  for (const xany& v : items) seq->append(v);
  return seq;
}

// The bytes of a call named `name` with the named parameters.
inline std::string callBytes(const char* name, bool oneWay,
                             std::initializer_list<std::pair<const char*, xany>> params) {
  zubJexCall call;
  call.setName(name);
  for (const auto& p : params) call.addParam(p.first, p.second);
  call.setIsAsync(oneWay);
  NoHostObjects map;
  btkMemOStream out;
  zubJEXSerializer::getInstance()->writeCall(&out, call, &map);
  return out.str();
}

// The bytes of a response message.
inline std::string responseBytes(const char* name, zubJexResponseKind kind, xany value,
                                 xrtti* returnType = nullptr, const char* faultCode = nullptr,
                                 const char* faultString = nullptr) {
  zubJexResponse response;
  response.setName(name);
  response.setKind(kind);
  response.setObject(value);
  response.setReturnType(returnType);
  response.setFaultCode(faultCode);
  response.setFaultString(faultString);
  NoHostObjects map;
  btkMemOStream out;
  zubJEXSerializer::getInstance()->writeResponse(&out, response, &map);
  return out.str();
}

inline void decodeCall(const std::string& bytes, zubJexCall& call) {
  NoHostObjects map;
  btkMemIStream in(bytes);
  zubJEXSerializer::getInstance()->readCall(&in, call, &map, "peer");
}

inline void decodeResponse(const void* data, size_t size, zubJexResponse& response) {
  NoHostObjects map;
  btkMemIStream in(data, size);
  zubJEXSerializer::getInstance()->readResponse(&in, response, &map, "server");
}

// `text` with its "%s" replaced by `name`.
inline std::string withName(const char* text, const std::string& name) {
  return xstring::Printf(text, name.c_str()).CastToCString();
}

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

#endif  // ZUBJEX_TESTS_TEST_SUPPORT_JEX_TEST_SUPPORT_H_
