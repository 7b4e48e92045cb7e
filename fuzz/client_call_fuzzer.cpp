// Serves arbitrary bytes as the server's response to real calls of the client: a call
// with a result (makeCall of ICalc.add) and a two-way call without one (makeVoidCall
// of a prepared call), both through a scripted transport. After each call the client
// must be back in the pool, and what it raised must be a zubXSerialization or an
// exception object that a server can send (a type with a descriptor). Leaks are found
// by the leak checker of the fuzzer build.
#include <memory>
#include <string>

#include "client/jex_client.h"
#include "client/scripted_transport.h"
#include "fuzz_support.h"
#include "messages/jex_call.h"
#include "platform/rtti_registry.h"
#include "platform/sequences.h"
#include "serialization/descriptors.h"

namespace {

constexpr const char* kServer = "fuzz-server";

// The bytes every transport of the server serves as its response, set per input.
std::string* served = nullptr;

std::shared_ptr<zubJexTransportScript>& Script() {
  static std::shared_ptr<zubJexTransportScript> script = [] {
    auto made = std::make_shared<zubJexTransportScript>();
    made->setResponder([](const std::string&) { return *served; });
    return made;
  }();
  return script;
}

void SetUp() {
  static const bool done = [] {
    served = new std::string();
    static zubJexScriptedTransportFactory factory(Script());
    zubJexConfig config;
    config.setJexTransportFactory(&factory);
    zubJexClient::setServerConfig(kServer, config);
    zubJexClient::setServerProxyMap(kServer, &zubfuzz::Setup());
    return true;
  }();
  (void)done;
}

std::string TypeName(xobject* object) {
  xstring name = object->getZubTypeName();
  return std::string(name.CastToCString(), name.GetMBSize());
}

// Runs `call` on a client from the pool and checks what the client leaves behind.
template <class Call>
void CheckCall(const char* what, Call call) {
  zubJexClient* client = zubJexClient::getInstance(kServer);
  try {
    call(client);
  } catch (xthrowable* thrown) {
    xrcunihandle<xthrowable> raised = xadoptThrown(thrown);
    if (zubXSerialization::softcast(raised.get()) == nullptr &&
        zubBinS11nRttiGetDescriptor(TypeName(raised.get()).c_str()) == nullptr) {
      zubfuzz::Fail((std::string(what) + " raised a " + TypeName(raised.get()) +
                     ", neither a client error nor an object a server can send")
                        .c_str(),
                    *served, "");
    }
  }
  zubJexClient* next = zubJexClient::getInstance(kServer);
  zubJexClient::freeInstance(next);
  if (next != client) zubfuzz::Fail((std::string(what) + " kept the client").c_str(), *served, "");
  if (Script()->overlaps() != 0) zubfuzz::Fail("a transport was used twice at once", *served, "");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  SetUp();
  served->assign(reinterpret_cast<const char*>(data), size);
  CheckCall("makeCall", [](zubJexClient* client) {
    xrchandle<xanysequence> params(xanysequence::create());
    params->append(xint{2});
    params->append(xint{3});
    client->makeCall("ICalc", "add", params);
  });
  CheckCall("makeVoidCall", [](zubJexClient* client) {
    zubJexCall call;
    call.setName("ICalc:add");
    call.addParam("a", xint{2});
    client->makeVoidCall(&call);
  });
  Script()->clearRecord();
  return 0;
}
