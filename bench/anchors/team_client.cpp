#include "team_client.h"

#include <stdexcept>

#include "client/jex_client.h"
#include "messages/proxy_map.h"
#include "platform/exceptions.h"
#include "platform/rtti_registry.h"
#include "platform/sequences.h"
#include "server/dispatcher.h"
#include "server/tcp_server.h"
#include "support/proxy_support.h"
#include "support/sequence_types.h"
#include "transport/address.h"
#include "transport/tcp_transport.h"

#define TEAM_NO_EXPORT

namespace {

// The client's proxy of the remote interface "Calc".
class TeamCalcProxy : public zubSupportProxy {
  XOBJECT_DECLARE_RTTI(TEAM_NO_EXPORT)
};

// The server's calculator; its type name is the interface's, "Calc".
class TeamCalcService : public xobject {
  XOBJECT_DECLARE_RTTI(TEAM_NO_EXPORT)
};

}  // namespace

XOBJECT_DEFINE_RTTI(TeamCalcProxy, "Calc", zubSupportProxy)
XOBJECT_DEFINE_RTTI(TeamCalcService, "Calc", xobject)

namespace {

const char* const kAddParams[] = {"a", "b", "s", "v", nullptr};
const zubSupportMethod kAdd = {"Calc", "add", &zubGetRtti_int, kAddParams, false};

void RegisterTypes() {
  static const bool registered = [] {
    zubSupportRegisterSequenceTypes();
    zubSupportRegisterProxyType<TeamCalcProxy>({zubSupportMethodOf<kAdd>()});
    return true;
  }();
  (void)registered;
}

[[noreturn]] void BadParameter(const char* name) {
  xthrowException(xstring((std::string("invalid parameter ") + name).c_str()));
}

xany Param(zubJexCall& call, const xstring& name, __xanykind kind) {
  xany value = call.getParamByName(name);
  if (value.getKind() != kind) BadParameter(name.CastToCString());
  return value;
}

// What the Thrift handler of the harness computes: a + b + s.size() + v.size(). The
// parameter names are made once, as Thrift's generated reader knows its fields.
xany Add(xobject*, zubJexCall& call) {
  static const xstring kA("a"), kB("b"), kS("s"), kV("v");
  int64_t a = Param(call, kA, xany_int).toInt();
  int64_t b = Param(call, kB, xany_long).toLong();
  int64_t s = Param(call, kS, xany_string).stringSize();
  xanysequence* v = xanysequence::softcast(Param(call, kV, xany_object).toObject());
  if (v == nullptr) BadParameter("v");
  return xint{static_cast<int32_t>(a + b + s + v->getCount())};
}

std::string TextOf(const xrcunihandle<xthrowable>& thrown) {
  zubXException* e = zubXException::softcast(thrown.get());
  if (e == nullptr) return "call failed";
  xstring text = e->getDescription();
  return std::string(text.CastToCString(), text.GetMBSize());
}

// Lives for the whole process: pooled clients keep pointers to both until they are
// deleted at exit.
zubJexTcpTransportFactory* Transports() {
  static auto* factory = new zubJexTcpTransportFactory();
  return factory;
}
zubJexNoHostObjectsMap* ProxyMap() {
  static auto* map = new zubJexNoHostObjectsMap();
  return map;
}

}  // namespace

struct TeamServer::State {
  zubJexDispatcher dispatcher;
  zubJexTcpServer server{dispatcher};
};

TeamServer::TeamServer() : state_(new State()) {}

TeamServer::~TeamServer() { stop(); }

void TeamServer::start() {
  RegisterTypes();
  zubJexMethodTable calc;
  calc.add("add", &Add);
  state_->dispatcher.addInterface("Calc", calc);
  state_->dispatcher.setRootObject(new TeamCalcService(), "calc");
  try {
    state_->server.start();
  } catch (xthrowable* t) {
    throw std::runtime_error(TextOf(xadoptThrown(t)));
  }
  const char* address = state_->server.address().c_str();
  zubJexConfig config;
  config.setJexTransportFactory(Transports());
  zubJexClient::setServerConfig(address, config);
  zubJexClient::setServerProxyMap(address, ProxyMap());
}

int TeamServer::port() const { return state_->server.port(); }

void TeamServer::stop() { state_->server.stop(); }

TeamClient::TeamClient(int port) : server_(zubTcpFormatAddress("127.0.0.1", port)) {}

int64_t TeamClient::add(const anchors::Call& c) {
  xrchandle<xanysequence> v(xanysequence::create());
  v->reserve(static_cast<int32_t>(c.v.size()));
  for (int32_t x : c.v) v->append(xint{x});
  xrchandle<xanysequence> params(xanysequence::create());
  params->reserve(4);
  params->append(xint{c.a});
  params->append(xlong{c.b});
  params->append(xstring(c.s.data(), c.s.size()));
  params->append(xany(static_cast<xobject*>(v.get())));
  try {
    xany sum = zubJexClient::getInstance(server_.c_str())
                   ->makeCall(c.iface.c_str(), c.method.c_str(), std::move(params));
    return sum.toInt();
  } catch (xthrowable* t) {
    throw std::runtime_error(TextOf(xadoptThrown(t)));
  }
}
