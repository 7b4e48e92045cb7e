#include "message_fixtures.h"

#include <cstdio>

#include "platform/rtti_registry.h"
#include "serialization/descriptors.h"
#include "support/sequence_types.h"

namespace fixtures {

XOBJECT_DEFINE_RTTI(FooProxy, "IFoo", xobject)
XOBJECT_DEFINE_RTTI(HostFoo, "IFoo", xobject)
XOBJECT_DEFINE_RTTI(Point, "Point", xobject)

int FooProxy::live = 0;

void* FooProxy::castByRtti(xrttiobject* type) {
  if (type == zubGetRtti_jexproxy()) return &identity;
  return xobject::castByRtti(type);
}

namespace {

void* CreateFoo() { return new FooProxy(); }
xobject* CastFoo(void* p) { return static_cast<FooProxy*>(p); }

void* CreatePoint() { return new Point(); }
xobject* CastPoint(void* p) { return static_cast<Point*>(p); }
void SerializePoint(zubSerializer* out, xrcunihandle<xobject> o) {
  out->writeInt(static_cast<Point*>(o.get())->x);
}
void DeserializePoint(zubDeserializer* in, void* p) { in->readInt(static_cast<Point*>(p)->x); }

}  // namespace

void RegisterTypes() {
  static const bool done = [] {
    zubSupportRegisterSequenceTypes();
    static zubBinS11nRttiProxy foo(&CreateFoo, &CastFoo, nullptr);
    static zubBinS11nRttiInterface point(&CreatePoint, &CastPoint, &SerializePoint,
                                         &DeserializePoint);
    zubRttiSetUserData("IFoo", ZUB_BINS11N_KEY, &foo);
    zubRttiSetUserData("Point", ZUB_BINS11N_KEY, &point);
    return true;
  }();
  (void)done;
}

void FakeProxyMap::add(const char* id, xobject* object) { byId[id] = object; }

xstring FakeProxyMap::getObjectId(xrcunihandle<xobject> object) {
  ++getObjectIdCalls;
  if (failLookups) xthrowException("map failure");
  for (const auto& entry : byId) {
    if (entry.second.get() == object.get()) return xstring(entry.first.c_str());
  }
  return xstring();
}

xrcunihandle<xobject> FakeProxyMap::findObject(const xstring& id) {
  ++findObjectCalls;
  if (failLookups) xthrowException("map failure");
  auto it = byId.find(id.CastToCString());
  return it == byId.end() ? xrcunihandle<xobject>() : it->second;
}

std::string Bytes(std::initializer_list<int> bytes) {
  std::string s;
  for (int b : bytes) s.push_back(static_cast<char>(b));
  return s;
}

std::string Str(const std::string& text) {
  return Bytes({0x01, static_cast<int>(text.size())}) + text;
}

std::string Hex(const std::string& bytes) {
  std::string out;
  char buf[4];
  for (unsigned char c : bytes) {
    std::snprintf(buf, sizeof buf, "%02X ", c);
    out += buf;
  }
  return out;
}

}  // namespace fixtures
