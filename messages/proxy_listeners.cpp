#include "messages/proxy_listeners.h"

#include <typeinfo>
#include <utility>

#include "messages/jex_proxy.h"
#include "platform/exceptions.h"
#include "serialization/descriptors.h"
#include "serialization/type_lookup.h"

zubJEXSerializerObjectListener::zubJEXSerializerObjectListener(zubJexProxyMap* proxyMap)
    : proxyMap(proxyMap) {
  if (proxyMap == nullptr) xthrowException("invalid parameters");
}

bool zubJEXSerializerObjectListener::isRemoteInterface(xobject* object, zubSerializer* serializer) {
  if (typeid(*serializer) == typeid(zubBinSerializer)) {
    zubBinS11nRtti* descriptor = static_cast<zubBinSerializer*>(serializer)->descriptorOf(object);
    if (descriptor != nullptr) return descriptor->isProxy(nullptr);
  }
  if (const zubS11nTypeEntry* entry = zubS11nFindType(object)) return entry->isProxy;
  const xstring typeName = object->getZubTypeName();
  zubBinS11nRtti* descriptor = zubBinS11nRttiGetDescriptor(typeName.CastToCString());
  if (descriptor == nullptr) xthrowException(xstring("invalid s11n descriptor: ") + typeName);
  return descriptor->isProxy(nullptr);
}

void zubJEXSerializerObjectListener::onPostObjectWrite(xobject* object, zubSerializer* serializer) {
  if (!isRemoteInterface(object, serializer)) return;

  const xstring typeName = object->getZubTypeName();
  zubS11nJexProxy* proxy = zubS11nCastToJexProxy(object);
  xstring id =
      proxy != nullptr ? proxy->getProxyId() : proxyMap->getObjectId(xrcunihandle<xobject>(object));
  if (id.IsNil()) {
    xthrowException(xstring("proxy object of ZUB Type ") + typeName + xstring(" is invalid"));
  }
  serializer->writeString(std::move(id));
}

zubJEXDeserializerObjectListener::zubJEXDeserializerObjectListener(zubJexProxyMap* proxyMap,
                                                                   xstring serverUrl)
    : proxyMap(proxyMap), serverUrl(std::move(serverUrl)) {
  if (proxyMap == nullptr || this->serverUrl.IsNil()) xthrowException("invalid parameters");
}

void zubJEXDeserializerObjectListener::onPostObjectRead(xobject*& object,
                                                        zubDeserializer* deserializer) {
  if (typeid(*deserializer) == typeid(zubBinDeserializer) &&
      static_cast<zubBinDeserializer*>(deserializer)->madePlainSequence(object)) {
    return;
  }
  zubS11nJexProxy* proxy = zubS11nCastToJexProxy(object);
  if (proxy == nullptr) return;
  xstring id;
  deserializer->readString(id);
  xrcunihandle<xobject> own = proxyMap->findObject(id);
  if (own) {
    // Nobody holds the proxy just created; the host's object takes its place.
    xrcdisposeUnreferenced(object);
    object = own.get();
    resolved.push_back(std::move(own));
    return;
  }
  proxy->setServerUrl(serverUrl);
  proxy->setProxyId(std::move(id));
}
