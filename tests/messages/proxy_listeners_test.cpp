// Proxies, host objects and ordinary objects go both ways in the golden messages of the
// JEX serializer tests; here are the listeners' failures and what only a reader meets.
#include "messages/proxy_listeners.h"

#include <gtest/gtest.h>

#include <string>

#include "message_fixtures.h"
#include "platform/dictionaries.h"
#include "platform/memory_streams.h"
#include "serialization/bin_serializer.h"

namespace {

using namespace fixtures;  // NOLINT(build/namespaces)

class ProxyListenersTest : public MessageTest {
 protected:
  // Reads one object with the reading listener installed for the server `server`.
  xany Read(const std::string& bytes, const char* server = "srv") {
    btkMemIStream in(bytes);
    zubBinDeserializer deserializer(&in);
    zubJEXDeserializerObjectListener listener(&map, server);
    deserializer.registerListener(&listener);
    xobject* object = nullptr;
    deserializer.readObject(object);
    EXPECT_EQ(in.remaining(), 0u);
    return xany(object);
  }
};

// A nil id is stored unchanged; an empty server name is a name.
TEST_F(ProxyListenersTest, NilIdIsStoredUnchanged) {
  xany read = Read(Bytes({0x00}) + Str("IFoo") + kNil, "");
  zubS11nJexProxy* p = zubS11nCastToJexProxy(read.toObject());
  ASSERT_NE(p, nullptr);
  EXPECT_TRUE(p->getProxyId().IsNil());
  EXPECT_TRUE(p->serverUrl == "");
}

// A failed write leaves the type name without an id.
TEST_F(ProxyListenersTest, WriteFailuresLeaveTypeNameWithoutId) {
  xrcunihandle<xobject> stranger(new HostFoo());  // not in the map
  const struct {
    const char* name;
    xrcunihandle<xobject> object;
    bool mapFails;
    const char* text;
  } cases[] = {
      {"proxy without id", Proxy(nullptr), false, "proxy object of ZUB Type IFoo is invalid"},
      {"host object unknown to the map", stranger, false,
       "proxy object of ZUB Type IFoo is invalid"},
      {"map failure passes through", stranger, true, "map failure"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    map.failLookups = c.mapFails;
    btkMemOStream out;
    zubBinSerializer serializer(&out);
    zubJEXSerializerObjectListener listener(&map);
    serializer.registerListener(&listener);
    EXPECT_EQ(Capture([&] { serializer.writeObject(c.object.get()); }).text, c.text);
    EXPECT_EQ(Hex(out.str()), Hex(Bytes({0x00}) + Str("IFoo")));
  }
}

TEST_F(ProxyListenersTest, TypeWithoutDescriptorIsRefusedByTheWriter) {
  xrcunihandle<xobject> dictionary(xstringdictionary::create());
  btkMemOStream out;
  zubBinSerializer serializer(&out);
  zubJEXSerializerObjectListener listener(&map);
  Failure f = Capture([&] { listener.onPostObjectWrite(dictionary.get(), &serializer); });
  EXPECT_EQ(f.text, std::string("invalid s11n descriptor: ") +
                        dictionary->getZubTypeName().CastToCString());
  EXPECT_EQ(out.size(), 0u);
}

// A failed read frees the new proxy (checked on tear-down).
TEST_F(ProxyListenersTest, ReadFailuresFreeTheNewProxy) {
  map.failLookups = true;
  EXPECT_EQ(Capture([&] { Read(Bytes({0x00}) + Str("IFoo") + Str("42")); }).text, "map failure");
  map.failLookups = false;
  EXPECT_EQ(Capture([&] {
              Read(Bytes({0x00}) + Str("IFoo") + Bytes({0x01, 0x02, '4'}));
            }).text,
            "unexpected end of stream");
}

TEST_F(ProxyListenersTest, SameProxyTwiceCarriesItsIdTwice) {
  xrcunihandle<xobject> proxy = Proxy("42");
  zubJexCall twice;
  twice.addParam("this", xany(proxy.get()));
  twice.addParam("other", xany(proxy.get()));
  btkMemOStream out;
  Jex()->writeCall(&out, twice, &map);
  const std::string entry = Bytes({0x0A, 0x00}) + Str("IFoo") + Str("42");
  const size_t first = out.str().find(entry);
  ASSERT_NE(first, std::string::npos);
  EXPECT_NE(out.str().find(entry, first + entry.size()), std::string::npos);
}

// An object message is its tag and one tagged value, written and read without listeners:
// a proxy carries no id.
TEST_F(ProxyListenersTest, ObjectMessageCarriesNoId) {
  xany value(Proxy("42").get());
  btkMemOStream out;
  Jex()->writeObject(&out, value);
  const std::string bytes = Str("JEXObject") + Bytes({0x0A, 0x00}) + Str("IFoo");
  EXPECT_EQ(Hex(out.str()), Hex(bytes));
  btkMemIStream in(bytes);
  xany read;
  Jex()->readObject(&in, read);
  zubS11nJexProxy* p = zubS11nCastToJexProxy(read.toObject());
  ASSERT_NE(p, nullptr);
  EXPECT_TRUE(p->serverUrl.IsNil());
  EXPECT_TRUE(p->getProxyId().IsNil());
}

// A server's object map may drop an object on another thread right after resolving it
// (when it is full of objects handed out). This map holds nothing at all: the object it
// resolves lives only as long as the reader keeps it, which must be until the response
// holds it (ASan sees a use after free otherwise).
TEST_F(ProxyListenersTest, ResolvedObjectLivesUntilTheMessageHoldsIt) {
  class HoldingNothing : public zubJexProxyMap {
   public:
    xstring getObjectId(xrcunihandle<xobject>) override { return xstring(); }
    xrcunihandle<xobject> findObject(const xstring&) override {
      return xrcunihandle<xobject>(new HostFoo());
    }
  } forgetful;
  const std::string bytes = Str("JEXResponse") + Str("getResponse") + Bytes({2, 0, 0, 0}) + kNil +
                            Bytes({0x0A, 0x00}) + Str("IFoo") + Str("h9") + kNil + kNil +
                            Bytes({0x0A});
  btkMemIStream in(bytes);
  zubJexResponse read;
  Jex()->readResponse(&in, read, &forgetful, "srv");
  ASSERT_EQ(read.getObject().getKind(), xany_object);
  EXPECT_TRUE(read.getObject().toObject()->isKindOf(HostFoo::getClassRtti()));
}

}  // namespace
