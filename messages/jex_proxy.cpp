#include "messages/jex_proxy.h"

xrttiobject* zubGetRtti_jexproxy() {
  // Never freed: proxies may be cast while the process shuts down.
  static xrttiobject* marker = [] {
    auto* r = new xrttiobject();
    initializeRttiObject(r, "_s11n_jexproxy", 0, 0, nullptr);
    return r;
  }();
  return marker;
}

zubS11nJexProxy* zubS11nCastToJexProxy(xobject* object) {
  return static_cast<zubS11nJexProxy*>(object->castByRtti(zubGetRtti_jexproxy()));
}
