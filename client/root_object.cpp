// The first proxy of a server, made locally from the interface's type name and the id
// under which the server publishes the object.
#include "client/jex_client.h"
#include "errors/message_service.h"
#include "messages/jex_proxy.h"
#include "serialization/descriptors.h"

xrcunihandle<xobject> zubJexClient::getRootObject(const char* typeName, const char* proxyId) {
  try {
    zubBinS11nRtti* descriptor = zubBinS11nRttiGetDescriptor(typeName);
    if (descriptor == nullptr) {
      zubJexThrowException(getMessageService(), "zubJEX_MISSING_S11N_DESCR", typeName);
    }
    if (!descriptor->isProxy(nullptr)) {
      zubJexThrowException(getMessageService(), "zubJEX_INVALID_PROXY_DESCR", typeName);
    }
    xobject* object = descriptor->cast(descriptor->create());
    xrcunihandle<xobject> root(object);
    zubS11nJexProxy* identity = object == nullptr ? nullptr : zubS11nCastToJexProxy(object);
    if (identity == nullptr) {
      // A descriptor that calls itself a proxy's but makes no proxy.
      zubJexThrowException(getMessageService(), "zubJEX_INVALID_PROXY_DESCR", typeName);
    }
    identity->setServerUrl(serverName);
    identity->setProxyId(xstring(proxyId));
    return root;
  } catch (...) {
    processCaught();
  }
}
