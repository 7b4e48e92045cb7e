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

// What the Thrift handler of the harness computes: a + b + s.size() + v.size(). The
// parameters are taken by position after a check of their names and kinds, as Thrift's
// generated reader takes its fields by number; the names are made once.
xany Add(xobject*, zubJexCall& call) {
  static const xstring kNames[] = {"a", "b", "s", "v"};
  static const __xanykind kKinds[] = {xany_int, xany_long, xany_string, xany_object};
  xrchandle<xstringsequence> names = call.getParamNames();
  xrchandle<xanysequence> values = call.getParamValues();
  if (names.isNull() || values.isNull() || names->getCount() != 4 || values->getCount() != 4) {
    BadParameter("count");
  }
  xany p[4];
  for (int32_t i = 0; i < 4; ++i) {
    p[i] = values->getAt(i);
    if (names->getAt(i) != kNames[i] || p[i].getKind() != kKinds[i]) {
      BadParameter(kNames[i].CastToCString());
    }
  }
  xanysequence* v = xanysequence::softcast(p[3].toObject());
  if (v == nullptr) BadParameter("v");
  const int64_t sum = int64_t{p[0].toInt()} + p[1].toLong() +
                      static_cast<int64_t>(p[2].stringSize()) + v->getCount();
  return xint{static_cast<int32_t>(sum)};
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

TeamClient::TeamClient(int port)
    : server_(zubTcpFormatAddress("127.0.0.1", port)),
      v_(xanysequence::create()),
      params_(xanysequence::create()) {
  params_->reserve(4);
}

int64_t TeamClient::add(const anchors::Call& c) {
  // The sequences are the client's, refilled for every call (the library holds no
  // reference to them once a call has returned), as a host that calls in a loop would.
  v_->clear();
  v_->reserve(static_cast<int32_t>(c.v.size()));
  for (int32_t x : c.v) v_->append(xint{x});
  params_->clear();
  params_->append(xint{c.a});
  params_->append(xlong{c.b});
  params_->append(xstring(c.s.data(), c.s.size()));
  params_->append(xany(static_cast<xobject*>(v_.get())));
  try {
    xany sum = zubJexClient::getInstance(server_.c_str())
                   ->makeCall(c.iface.c_str(), c.method.c_str(), params_);
    return sum.toInt();
  } catch (xthrowable* t) {
    throw std::runtime_error(TextOf(xadoptThrown(t)));
  }
}
