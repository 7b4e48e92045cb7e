// The host's map between its own objects and the identifiers under which they travel
// to one server.
#ifndef ZUBJEX_MESSAGES_PROXY_MAP_H_
#define ZUBJEX_MESSAGES_PROXY_MAP_H_

#include "platform/handles.h"
#include "platform/xobject.h"
#include "platform/xstring.h"
#include "serialization/export.h"

// Implemented by the host, one per server name. The library only borrows a map: it
// never creates, copies or destroys one. Messages to and from a server call its map
// from every thread that writes or reads them, with no lock held by the library, so an
// implementation shared by several threads must be safe for concurrent calls.
class ZUBJEX_EXPORT zubJexProxyMap {
 public:
  // For the host's own use: the library never destroys a map.
  virtual ~zubJexProxyMap() = default;
  // The identifier under which `object` (a host object of a remote interface type, not
  // a proxy) travels to this server; the nil string when the map has none, which makes
  // the writer fail. The map receives its own counted handle on the object.
  virtual xstring getObjectId(xrcunihandle<xobject> object) = 0;
  // The host object that travels under `id`, or a null handle when the identifier is
  // not one of the host's. The map must keep the object alive beyond the returned
  // handle: the reader drops the handle before the message's owner takes the object.
  virtual xrcunihandle<xobject> findObject(const xstring& id) = 0;
};

// The proxy map of a host that sends none of its own objects to a server: it names no
// object (writing one fails) and resolves no identifier (every proxy read stays a proxy
// of the server). Stateless and thread-safe.
class ZUBJEX_EXPORT zubJexNoHostObjectsMap : public zubJexProxyMap {
 public:
  xstring getObjectId(xrcunihandle<xobject>) override { return xstring(); }
  xrcunihandle<xobject> findObject(const xstring&) override { return xrcunihandle<xobject>(); }
};

#endif  // ZUBJEX_MESSAGES_PROXY_MAP_H_
