// The server's side of object identity: its own objects and the identifiers under
// which they travel to clients.
#ifndef ZUBJEX_SERVER_OBJECT_MAP_H_
#define ZUBJEX_SERVER_OBJECT_MAP_H_

#include <cstdint>
#include <mutex>
#include <string>
#include <unordered_map>

#include "messages/proxy_map.h"
#include "server/export.h"

// A proxy map that publishes server objects. An object gets its identifier when it is
// registered under a chosen one (a root object) or, the first time it is written into
// a response, one made by the map ("o1", "o2", ...); it keeps that identifier, and the
// map keeps a reference on it, until it is released. Safe for concurrent use.
class ZUBJEX_SERVER_EXPORT zubJexServerObjectMap : public zubJexProxyMap {
 public:
  zubJexServerObjectMap() = default;
  zubJexServerObjectMap(const zubJexServerObjectMap&) = delete;
  zubJexServerObjectMap& operator=(const zubJexServerObjectMap&) = delete;

  // Publishes `object` under `id`, replacing what that id named before. An object
  // already published keeps its old identifier as well. Returns false (and publishes
  // nothing) for a null object or an empty id.
  bool registerObject(const std::string& id, xobject* object);
  // Forgets the object published under `id` and drops the map's reference on it.
  void releaseObject(const std::string& id);
  // The number of published objects.
  size_t size() const;

  // The object's identifier; a new one when the object has none yet. Never nil for a
  // non-null object.
  xstring getObjectId(xrcunihandle<xobject> object) override;
  // The object published under `id`, or a null handle.
  xrcunihandle<xobject> findObject(const xstring& id) override;

 private:
  mutable std::mutex mutex_;  // guards everything below
  std::unordered_map<std::string, xrcunihandle<xobject>> byId_;
  std::unordered_map<const xobject*, std::string> idOf_;
  uint64_t lastId_ = 0;
};

#endif  // ZUBJEX_SERVER_OBJECT_MAP_H_
