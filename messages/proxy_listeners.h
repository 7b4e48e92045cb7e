// The listeners that carry the identity of proxy objects through call and response
// messages. After every object of a remote interface type the writer appends its
// identifier as a string; after every proxy the reader reads it back and binds the
// proxy to the message's server, or hands over the host's own object when the
// identifier names one (through the host's proxy map).
//
// Wire form of such an object: 00 (not null), the type name (string), no contents, the
// identifier (string). Ordinary objects get nothing after them.
//
// Both listeners are built on the stack for one message and borrowed by the serializer
// or deserializer; the proxy map is borrowed. Errors are zubXExceptions raised through
// xthrow; errors of the proxy map pass through unchanged.
#ifndef ZUBJEX_MESSAGES_PROXY_LISTENERS_H_
#define ZUBJEX_MESSAGES_PROXY_LISTENERS_H_

#include <vector>

#include "messages/proxy_map.h"
#include "platform/xobject.h"
#include "platform/xstring.h"
#include "serialization/bin_serializer.h"
#include "serialization/export.h"

class ZUBJEX_EXPORT zubJEXSerializerObjectListener : public zubBinSerializerListener {
 public:
  // Raises "invalid parameters" when `proxyMap` is null.
  explicit zubJEXSerializerObjectListener(zubJexProxyMap* proxyMap);

  // Writes the identifier after an object whose type has a proxy descriptor: the
  // proxy's own id, or what the map gives a host object. Raises "invalid s11n
  // descriptor: <type>" for a type without a descriptor and "proxy object of ZUB Type
  // <type> is invalid" when the identifier is the nil string (nothing written then).
  void onPostObjectWrite(xobject* object, zubSerializer* serializer) override;

 private:
  // Whether the type's descriptor is a proxy's; asks a zubBinSerializer that is finishing
  // the object for the descriptor it used before looking the type up.
  static bool isRemoteInterface(xobject* object, zubSerializer* serializer);

  zubJexProxyMap* proxyMap;
};

class ZUBJEX_EXPORT zubJEXDeserializerObjectListener : public zubBinDeserializerListener {
 public:
  // Keeps a copy of `serverUrl`. Raises "invalid parameters" when `proxyMap` is null
  // or `serverUrl` is the nil string.
  zubJEXDeserializerObjectListener(zubJexProxyMap* proxyMap, xstring serverUrl);

  // After a proxy: reads its identifier. When the map resolves it, the proxy (which no
  // one holds yet) is freed and `object` becomes the host's object; otherwise the proxy
  // is bound to the server URL and the identifier. Other objects: nothing is read.
  // The host's object stays referenced by the listener until the listener is
  // destroyed, so a map that drops objects on another thread cannot free it before the
  // message holds it.
  void onPostObjectRead(xobject*& object, zubDeserializer* deserializer) override;

 private:
  zubJexProxyMap* proxyMap;
  xstring serverUrl;
  std::vector<xrcunihandle<xobject>> resolved;  // the host's objects handed over
};

#endif  // ZUBJEX_MESSAGES_PROXY_LISTENERS_H_
