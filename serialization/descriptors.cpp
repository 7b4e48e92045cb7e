#include "serialization/descriptors.h"

#include <utility>

#include "messages/jex_call.h"
#include "messages/jex_proxy.h"
#include "platform/exceptions.h"
#include "platform/rtti_registry.h"

void zubBinS11nRttiInterface::serialize(zubSerializer* serializer, xrcunihandle<xobject> object) {
  if (serializeFn != nullptr) serializeFn(serializer, std::move(object));
}

void zubBinS11nRttiInterface::deserialize(zubDeserializer* deserializer, void* instance) {
  if (deserializeFn != nullptr) deserializeFn(deserializer, instance);
}

bool zubBinS11nRttiProxy::isProxy(zubBinS11nRttiProxy** proxy) {
  if (proxy != nullptr) *proxy = this;
  return true;
}

bool zubBinS11nRttiProxy::createCall(zubJexCall& call, const char* methodName,
                                     xrchandle<xanysequence> params) {
  xrchandle<xanysequence> owned = std::move(params);
  zubJexCallGenerator generator = nullptr;
  if (methods == nullptr || methodName == nullptr || !methods->lookup(methodName, generator) ||
      generator == nullptr) {
    return false;
  }
  generator(call, owned);
  return true;
}

xrcunihandle<xobject> zubBinS11nRttiProxy::createProxy(const char* serverUrl, const char* proxyId) {
  xrcunihandle<xobject> proxy(cast(create()));
  zubS11nJexProxy* identity = zubS11nCastToJexProxy(proxy.get());
  if (identity == nullptr) xthrowException("invalid proxy class");
  identity->setServerUrl(xstring(serverUrl));
  identity->setProxyId(xstring(proxyId));
  return proxy;
}

zubBinS11nRtti* zubBinS11nRttiGetDescriptor(const char* typeName) {
  return static_cast<zubBinS11nRtti*>(zubRttiGetUserData(typeName, ZUB_BINS11N_KEY));
}
