// The server's side of object identity: its own objects and the identifiers under
// which they travel to clients.
#ifndef ZUBJEX_SERVER_OBJECT_MAP_H_
#define ZUBJEX_SERVER_OBJECT_MAP_H_

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <list>
#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

#include "messages/proxy_map.h"
#include "server/export.h"

// The bounds of a server object map on the objects it hands out (the objects that get
// an identifier when they are first written into a response). Objects registered under
// a chosen identifier are not counted and never dropped.
struct ZUBJEX_SERVER_EXPORT zubJexObjectMapOptions {
  typedef std::chrono::steady_clock Clock;

  // The most objects handed out at once; when a new one would exceed it, the one used
  // longest ago is dropped. Stops a client that asks for new objects in a loop
  // (createChild, say) from growing the server's memory without end. 0: no limit.
  size_t maxObjects = 10000;
  // How long a handed-out object stays without being looked up or handed out again.
  // Stops objects that clients forgot, or never meant to use, from staying for the
  // server's lifetime. Zero: never.
  Clock::duration idleExpiry = std::chrono::minutes(10);
  // The clock of idleExpiry; null for Clock::now. Tests set it to a clock of their own.
  // Called with the map's lock held, from any thread that uses the map.
  std::function<Clock::time_point()> now;
};

// A proxy map that publishes server objects. An object gets its identifier when it is
// registered under a chosen one (a root object) or, the first time it is written into
// a response, one made by the map ("o1", "o2", ...); it keeps that identifier, and the
// map keeps a reference on it, until it is released. An object handed out that way is
// also dropped, within the options' bounds, when it is the one used longest ago and
// the map is full, or when it was idle longer than the expiry; its identifier then
// names nothing, so a proxy of it stays a proxy and the dispatcher answers calls on it
// with an "unknown object <id>" fault. Expired objects are dropped while the map is
// used (no thread of its own). Safe for concurrent use.
class ZUBJEX_SERVER_EXPORT zubJexServerObjectMap : public zubJexProxyMap {
 public:
  explicit zubJexServerObjectMap(zubJexObjectMapOptions options = zubJexObjectMapOptions());
  zubJexServerObjectMap(const zubJexServerObjectMap&) = delete;
  zubJexServerObjectMap& operator=(const zubJexServerObjectMap&) = delete;

  // Publishes `object` under `id`, replacing what that id named before; it stays until
  // released. An object already published keeps its old identifier as well. Returns
  // false (and publishes nothing) for a null object or an empty id.
  bool registerObject(const std::string& id, xobject* object);
  // Forgets the object published under `id` and drops the map's reference on it.
  void releaseObject(const std::string& id);
  // The number of published objects, registered and handed out, not counting the
  // expired ones.
  size_t size() const;

  // The object's identifier; a new one when the object has none yet. Never nil for a
  // non-null object. Counts as a use of a handed-out object.
  xstring getObjectId(xrcunihandle<xobject> object) override;
  // The object published under `id`, or a null handle (also once it was dropped).
  // Counts as a use of a handed-out object.
  xrcunihandle<xobject> findObject(const xstring& id) override;

 private:
  struct HandedOut {
    std::string id;
    xrcunihandle<xobject> object;
    zubJexObjectMapOptions::Clock::time_point lastUse;
  };
  typedef std::list<HandedOut> UseOrder;  // most recently used first
  // References released once the lock is given up: an object's destructor may run
  // any code, this map's included.
  typedef std::vector<xrcunihandle<xobject>> Dropped;

  zubJexObjectMapOptions::Clock::time_point now() const;
  // Marks a handed-out object as used now.
  void touch(UseOrder::iterator entry, zubJexObjectMapOptions::Clock::time_point when);
  // Drops the handed-out objects idle beyond the expiry.
  void dropExpired(zubJexObjectMapOptions::Clock::time_point when, Dropped& dropped);
  // True when a handed-out object last used at `lastUse` has expired at `when`.
  bool expired(zubJexObjectMapOptions::Clock::time_point lastUse,
               zubJexObjectMapOptions::Clock::time_point when) const;
  // Drops the handed-out objects used longest ago until one more fits.
  void makeRoom(Dropped& dropped);
  // Forgets one handed-out object, moving its reference into `dropped`.
  void forget(UseOrder::iterator entry, Dropped& dropped);
  // Forgets the object's identifier when it is `id`.
  void forgetIdOf(const xobject* object, const std::string& id);
  std::string newId();

  const zubJexObjectMapOptions options_;
  mutable std::mutex mutex_;  // guards everything below
  std::unordered_map<std::string, xrcunihandle<xobject>> registered_;
  UseOrder handedOut_;
  std::unordered_map<std::string, UseOrder::iterator> handedOutById_;
  std::unordered_map<const xobject*, std::string> idOf_;  // the first identifier
  uint64_t lastId_ = 0;
};

#endif  // ZUBJEX_SERVER_OBJECT_MAP_H_
