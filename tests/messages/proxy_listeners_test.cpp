#include "messages/proxy_listeners.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "message_fixtures.h"
#include "messages/jex_serializer.h"
#include "platform/dictionaries.h"
#include "platform/memory_streams.h"
#include "serialization/bin_serializer.h"

namespace {

using fixtures::Bytes;
using fixtures::Capture;
using fixtures::FakeProxyMap;
using fixtures::FooProxy;
using fixtures::Hex;
using fixtures::HostFoo;
using fixtures::Point;
using fixtures::Str;

class ProxyListenersTest : public ::testing::Test {
 protected:
  void SetUp() override {
    fixtures::RegisterTypes();
    host = new HostFoo(1);
    map.add("h7", host.get());
  }
  void TearDown() override { EXPECT_EQ(FooProxy::live, 0) << "a proxy leaked"; }

  // Writes `object` with the writing listener installed.
  std::string Write(xobject* object) {
    btkMemOStream out;
    zubBinSerializer serializer(&out);
    zubJEXSerializerObjectListener listener(&map);
    serializer.registerListener(&listener);
    serializer.writeObject(object);
    return out.str();
  }

  // Reads one object with the reading listener installed for the server "srv".
  xany Read(const std::string& bytes) {
    btkMemIStream in(bytes);
    zubBinDeserializer deserializer(&in);
    zubJEXDeserializerObjectListener listener(&map, "srv");
    deserializer.registerListener(&listener);
    xobject* object = nullptr;
    deserializer.readObject(object);
    EXPECT_EQ(in.remaining(), 0u);
    return xany(object);
  }

  static xrcunihandle<xobject> Proxy(const char* id) {
    FooProxy* p = new FooProxy();
    p->identity.setProxyId(id == nullptr ? xstring() : xstring(id));
    return xrcunihandle<xobject>(p);
  }

  FakeProxyMap map;
  xrcunihandle<xobject> host;
};

TEST_F(ProxyListenersTest, ConstructorsRefuseMissingMapOrServer) {
  const struct {
    const char* name;
    std::function<void()> make;
  } cases[] = {
      {"writer without map", [] { zubJEXSerializerObjectListener l(nullptr); }},
      {"reader without map", [] { zubJEXDeserializerObjectListener l(nullptr, "srv"); }},
      {"reader with nil server", [this] { zubJEXDeserializerObjectListener l(&map, xstring()); }},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    fixtures::Failure f = Capture(c.make);
    EXPECT_TRUE(f.raised);
    EXPECT_EQ(f.text, "invalid parameters");
  }
  EXPECT_FALSE(Capture([this] { zubJEXDeserializerObjectListener l(&map, ""); }).raised);
}

// Each object is written to exactly these bytes, and the bytes read back to an object
// that passes the check.
TEST_F(ProxyListenersTest, GoldenObjectsInBothDirections) {
  const struct {
    const char* name;
    std::function<xrcunihandle<xobject>()> make;
    std::string bytes;
    std::function<void(const xany&)> check;
  } cases[] = {
      {"proxy carries its id", [] { return Proxy("42"); },
       Bytes({0x00, 0x01, 0x04}) + "IFoo" + Bytes({0x01, 0x02}) + "42",
       [](const xany& v) {
         zubS11nJexProxy* p = zubS11nCastToJexProxy(v.toObject());
         ASSERT_NE(p, nullptr);
         EXPECT_TRUE(p->serverUrl == "srv");
         EXPECT_TRUE(p->getProxyId() == "42");
       }},
      {"host object travels under the map's id", [this] { return host; },
       Bytes({0x00}) + Str("IFoo") + Str("h7"),
       [this](const xany& v) { EXPECT_EQ(v.toObject(), host.get()); }},
      {"ordinary object gets no id", [] { return xrcunihandle<xobject>(new Point(7)); },
       Bytes({0x00}) + Str("Point") + Bytes({0x07, 0x00, 0x00, 0x00}),
       [](const xany& v) {
         ASSERT_NE(v.toObject(), nullptr);
         EXPECT_TRUE(v.toObject()->isKindOf(Point::getClassRtti()));
         EXPECT_EQ(static_cast<Point*>(v.toObject())->x, 7);
       }},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    xrcunihandle<xobject> object = c.make();
    EXPECT_EQ(Hex(Write(object.get())), Hex(c.bytes));
    xany read = Read(c.bytes);
    c.check(read);
  }
}

TEST_F(ProxyListenersTest, NilIdIsStoredUnchanged) {
  xany read = Read(Bytes({0x00}) + Str("IFoo") + Bytes({0x01, 0x00}));
  zubS11nJexProxy* p = zubS11nCastToJexProxy(read.toObject());
  ASSERT_NE(p, nullptr);
  EXPECT_TRUE(p->getProxyId().IsNil());
  EXPECT_TRUE(p->serverUrl == "srv");
}

TEST_F(ProxyListenersTest, WriteFailuresLeaveTypeNameWithoutId) {
  xrcunihandle<xobject> stranger(new HostFoo(2));  // not in the map
  const struct {
    const char* name;
    std::function<xrcunihandle<xobject>()> make;
    bool mapFails;
    const char* text;
  } cases[] = {
      {"proxy without id", [] { return Proxy(nullptr); }, false,
       "proxy object of ZUB Type IFoo is invalid"},
      {"host object unknown to the map", [&] { return stranger; }, false,
       "proxy object of ZUB Type IFoo is invalid"},
      {"map failure passes through", [&] { return stranger; }, true, "map failure"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    map.failLookups = c.mapFails;
    xrcunihandle<xobject> object = c.make();
    btkMemOStream out;
    zubBinSerializer serializer(&out);
    zubJEXSerializerObjectListener listener(&map);
    serializer.registerListener(&listener);
    fixtures::Failure f = Capture([&] { serializer.writeObject(object.get()); });
    EXPECT_EQ(f.text, c.text);
    EXPECT_EQ(Hex(out.str()), Hex(Bytes({0x00}) + Str("IFoo")));
  }
}

TEST_F(ProxyListenersTest, TypeWithoutDescriptorIsRefusedByTheWriter) {
  xrcunihandle<xobject> dictionary(xstringdictionary::create());
  btkMemOStream out;
  zubBinSerializer serializer(&out);
  zubJEXSerializerObjectListener listener(&map);
  fixtures::Failure f = Capture([&] { listener.onPostObjectWrite(dictionary.get(), &serializer); });
  EXPECT_EQ(f.text, std::string("invalid s11n descriptor: ") +
                        dictionary->getZubTypeName().CastToCString());
  EXPECT_EQ(out.size(), 0u);
}

TEST_F(ProxyListenersTest, ReadFailuresFreeTheNewProxy) {
  const struct {
    const char* name;
    std::string bytes;
    bool mapFails;
    const char* text;
  } cases[] = {
      {"map failure passes through", Bytes({0x00}) + Str("IFoo") + Str("42"), true, "map failure"},
      {"id cut short", Bytes({0x00}) + Str("IFoo") + Bytes({0x01, 0x02, '4'}), false,
       "unexpected end of stream"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    map.failLookups = c.mapFails;
    fixtures::Failure f = Capture([&] { Read(c.bytes); });
    EXPECT_EQ(f.text, c.text);
    EXPECT_EQ(FooProxy::live, 0);
  }
}

TEST_F(ProxyListenersTest, SameProxyTwiceCarriesItsIdTwice) {
  xrcunihandle<xobject> proxy = Proxy("42");
  zubJexCall call;
  call.addParam("this", xany(proxy.get()));
  call.addParam("other", xany(proxy.get()));
  btkMemOStream out;
  zubJEXSerializer::getInstance()->writeCall(&out, call, &map);
  const std::string entry = Bytes({0x0A, 0x00}) + Str("IFoo") + Str("42");
  const std::string bytes = out.str();
  const size_t first = bytes.find(entry);
  ASSERT_NE(first, std::string::npos);
  EXPECT_NE(bytes.find(entry, first + entry.size()), std::string::npos);
}

TEST_F(ProxyListenersTest, ObjectMessageCarriesNoId) {
  xrcunihandle<xobject> proxy = Proxy("42");
  xany value(proxy.get());
  btkMemOStream out;
  zubJEXSerializer::getInstance()->writeObject(&out, value);
  const std::string bytes = Str("JEXObject") + Bytes({0x0A, 0x00}) + Str("IFoo");
  EXPECT_EQ(Hex(out.str()), Hex(bytes));

  btkMemIStream in(bytes);
  xany read;
  zubJEXSerializer::getInstance()->readObject(&in, read);
  zubS11nJexProxy* p = zubS11nCastToJexProxy(read.toObject());
  ASSERT_NE(p, nullptr);
  EXPECT_TRUE(p->serverUrl.IsNil());
  EXPECT_TRUE(p->getProxyId().IsNil());
  EXPECT_EQ(map.getObjectIdCalls + map.findObjectCalls, 0);
}

}  // namespace
