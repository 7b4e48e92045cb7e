// Helpers of the client tests: a server name per test backed by a scripted transport,
// response bytes made with the real encoder, and the capture of raised throwables.
#ifndef ZUBJEX_TESTS_CLIENT_CLIENT_TEST_SUPPORT_H_
#define ZUBJEX_TESTS_CLIENT_CLIENT_TEST_SUPPORT_H_

#include <atomic>
#include <initializer_list>
#include <memory>
#include <string>

#include "client/jex_client.h"
#include "client/scripted_transport.h"
#include "examples/calc/calc_types.h"
#include "messages/jex_call.h"
#include "messages/jex_response.h"
#include "messages/jex_serializer.h"
#include "messages/proxy_map.h"
#include "platform/exceptions.h"
#include "platform/memory_streams.h"
#include "platform/sequences.h"

namespace client_test {

// A map for servers that hold no host objects: every id names a server object.
class NoHostObjects : public zubJexProxyMap {
 public:
  xstring getObjectId(xrcunihandle<xobject>) override { return xstring(); }
  xrcunihandle<xobject> findObject(const xstring&) override { return xrcunihandle<xobject>(); }
};

// The pool and the registry are process-wide: every test talks to servers of its own.
inline std::string uniqueServerName(const char* base) {
  static std::atomic<int> counter{0};
  return std::string(base) + "-" + std::to_string(counter++);
}

// A server name with a scripted transport factory and a proxy map installed.
struct ScriptedServer {
  explicit ScriptedServer(const char* base = "server", zubMessageService* service = nullptr)
      : name(uniqueServerName(base)),
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

inline xrchandle<xanysequence> values(std::initializer_list<xany> items) {
  xrchandle<xanysequence> seq(xanysequence::create());
  for (const xany& v : items) seq->append(v);
  return seq;
}

// The bytes of a response message, written by the library's own encoder.
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

// Decodes request bytes as a call bound to `serverUrl`.
inline void decodeCall(const std::string& bytes, zubJexCall& call) {
  NoHostObjects map;
  btkMemIStream in(bytes);
  zubJEXSerializer::getInstance()->readCall(&in, call, &map, "peer");
}

// Runs `action`, which is expected to raise an xthrowable; returns it (null when
// nothing was raised).
template <class F>
xrcunihandle<xthrowable> raisedBy(F action) {
  try {
    action();
  } catch (xthrowable* t) {
    return xadoptThrown(t);
  }
  return xrcunihandle<xthrowable>();
}

inline std::string descriptionOf(xobject* o) {
  zubXException* e = zubXException::softcast(o);
  return e == nullptr ? std::string("<no exception>")
                      : std::string(e->getDescription().CastToCString());
}

inline std::string causeOf(xobject* o) {
  zubXException* e = zubXException::softcast(o);
  if (e == nullptr || !e->getCause()) return std::string("<no cause>");
  return std::string(e->getCause()->getDescription().CastToCString());
}

}  // namespace client_test

#endif  // ZUBJEX_TESTS_CLIENT_CLIENT_TEST_SUPPORT_H_
