#include "message_fixtures.h"

#include "platform/memory_streams.h"
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
  if (failLookups) xthrowException("map failure");
  for (const auto& entry : byId) {
    if (entry.second.get() == object.get()) return xstring(entry.first.c_str());
  }
  return xstring();
}

xrcunihandle<xobject> FakeProxyMap::findObject(const xstring& id) {
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

std::string Seq(const char* type, int count) {
  return Bytes({0x0A, 0x00}) + Str(type) + Bytes({count, 0x00, 0x00, 0x00});
}

xrcunihandle<xobject> Proxy(const char* id) {
  FooProxy* p = new FooProxy();
  p->identity.setProxyId(id == nullptr ? xstring() : xstring(id));
  return xrcunihandle<xobject>(p);
}

void MessageTest::SetUp() {
  RegisterTypes();
  host = new HostFoo();
  map.add("h7", host.get());
  call.setName("before");
  call.addParam("p", xint{1});
  call.setIsAsync(true);
  response.setName("before");
  response.setKind(zubJexResponseValue);
  response.setObject(xint{9});
  response.setFaultCode("c");
}

void MessageTest::TearDown() { EXPECT_EQ(FooProxy::live, 0) << "a proxy leaked"; }

void MessageTest::ExpectRecordsUntouched() {
  EXPECT_TRUE(call.getName() == "before");
  EXPECT_EQ(call.getParamByName("p").toInt(), 1);
  EXPECT_TRUE(call.getIsAsync());
  EXPECT_TRUE(response.getName() == "before");
  EXPECT_EQ(response.getKind(), zubJexResponseValue);
  EXPECT_EQ(response.getObject().toInt(), 9);
  EXPECT_TRUE(response.getFaultCode() == "c");
}

Failure MessageTest::ReadCall(const std::string& bytes) {
  return Capture([&] {
    btkMemIStream in(bytes);
    Jex()->readCall(&in, call, &map, "srv");
  });
}

Failure MessageTest::ReadResponse(const std::string& bytes) {
  return Capture([&] {
    btkMemIStream in(bytes);
    Jex()->readResponse(&in, response, &map, "srv");
  });
}

}  // namespace fixtures
