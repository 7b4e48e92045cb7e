// Proxy identity: the part of every proxy object that names the server it lives on and
// the server's identifier of the object, and the cast that finds that part.
//
// A proxy class (defined with its descriptor outside this library) contains a
// zubS11nJexProxy and answers castByRtti(zubGetRtti_jexproxy()) with the address of that
// part. Every instance that a proxy descriptor creates must do so: readers rely on it
// to know that an identifier follows the object.
#ifndef ZUBJEX_MESSAGES_JEX_PROXY_H_
#define ZUBJEX_MESSAGES_JEX_PROXY_H_

#include "platform/xobject.h"
#include "platform/xstring.h"
#include "serialization/export.h"

class ZUBJEX_EXPORT zubS11nJexProxy {
 public:
  // The server's identifier of the object (a copy).
  xstring getProxyId() const { return proxyId; }
  void setProxyId(xstring value) { proxyId = value; }
  void setServerUrl(xstring value) { serverUrl = value; }

  // The server the object lives on, as the client names it (the name given to the
  // client's getInstance). Read directly; there is no getter.
  xstring serverUrl;

 private:
  xstring proxyId;
};

// The proxy type marker, an xrttiobject named "_s11n_jexproxy": made on the first call
// (safe when several threads make it at once), never freed; always the same pointer.
ZUBJEX_EXPORT xrttiobject* zubGetRtti_jexproxy();

// The identity part of `object`, or null when it is no proxy. `object` must not be null.
ZUBJEX_EXPORT zubS11nJexProxy* zubS11nCastToJexProxy(xobject* object);

#endif  // ZUBJEX_MESSAGES_JEX_PROXY_H_
