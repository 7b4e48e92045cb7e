#include "server/object_map.h"

#include <iterator>
#include <utility>

typedef zubJexObjectMapOptions::Clock::time_point TimePoint;

zubJexServerObjectMap::zubJexServerObjectMap(zubJexObjectMapOptions options)
    : options_(std::move(options)) {}

bool zubJexServerObjectMap::registerObject(const std::string& id, xobject* object) {
  if (object == nullptr || id.empty()) return false;
  xrcunihandle<xobject> held(object);
  Dropped dropped;
  std::lock_guard<std::mutex> lock(mutex_);
  auto handed = handedOutById_.find(id);
  if (handed != handedOutById_.end()) forget(handed->second, dropped);
  auto old = registered_.find(id);
  if (old != registered_.end() && old->second.get() != object) {
    forgetIdOf(old->second.get(), id);
    dropped.push_back(std::move(old->second));
  }
  registered_[id] = held;
  // A handed-out identifier may be dropped; the registered one stays.
  auto known = idOf_.find(object);
  if (known == idOf_.end() || handedOutById_.count(known->second) != 0) idOf_[object] = id;
  return true;
}

void zubJexServerObjectMap::releaseObject(const std::string& id) {
  Dropped dropped;
  std::lock_guard<std::mutex> lock(mutex_);
  auto handed = handedOutById_.find(id);
  if (handed != handedOutById_.end()) {
    forget(handed->second, dropped);
    return;
  }
  auto found = registered_.find(id);
  if (found == registered_.end()) return;
  forgetIdOf(found->second.get(), id);
  dropped.push_back(std::move(found->second));
  registered_.erase(found);
}

size_t zubJexServerObjectMap::size() const {
  std::lock_guard<std::mutex> lock(mutex_);
  size_t count = registered_.size() + handedOut_.size();
  const TimePoint when = now();
  for (auto e = handedOut_.rbegin(); e != handedOut_.rend() && expired(e->lastUse, when); ++e) {
    --count;
  }
  return count;
}

xstring zubJexServerObjectMap::getObjectId(xrcunihandle<xobject> object) {
  if (object.isNull()) return xstring();
  Dropped dropped;
  std::lock_guard<std::mutex> lock(mutex_);
  const TimePoint when = now();
  dropExpired(when, dropped);
  auto known = idOf_.find(object.get());
  if (known != idOf_.end()) {
    auto handed = handedOutById_.find(known->second);
    if (handed != handedOutById_.end()) touch(handed->second, when);
    return xstring(known->second.c_str());
  }
  makeRoom(dropped);
  std::string id = newId();
  idOf_.emplace(object.get(), id);
  handedOut_.push_front(HandedOut{id, std::move(object), when});
  handedOutById_.emplace(id, handedOut_.begin());
  return xstring(id.c_str());
}

xrcunihandle<xobject> zubJexServerObjectMap::findObject(const xstring& id) {
  const std::string key(id.CastToCString(), id.GetMBSize());
  Dropped dropped;
  std::lock_guard<std::mutex> lock(mutex_);
  const TimePoint when = now();
  dropExpired(when, dropped);
  auto found = registered_.find(key);
  if (found != registered_.end()) return found->second;
  auto handed = handedOutById_.find(key);
  if (handed == handedOutById_.end()) return xrcunihandle<xobject>();
  touch(handed->second, when);
  return handed->second->object;
}

TimePoint zubJexServerObjectMap::now() const {
  return options_.now ? options_.now() : zubJexObjectMapOptions::Clock::now();
}

bool zubJexServerObjectMap::expired(TimePoint lastUse, TimePoint when) const {
  return options_.idleExpiry > zubJexObjectMapOptions::Clock::duration::zero() &&
         when - lastUse >= options_.idleExpiry;
}

void zubJexServerObjectMap::touch(UseOrder::iterator entry, TimePoint when) {
  entry->lastUse = when;
  handedOut_.splice(handedOut_.begin(), handedOut_, entry);
}

void zubJexServerObjectMap::dropExpired(TimePoint when, Dropped& dropped) {
  while (!handedOut_.empty() && expired(handedOut_.back().lastUse, when)) {
    forget(std::prev(handedOut_.end()), dropped);
  }
}

void zubJexServerObjectMap::makeRoom(Dropped& dropped) {
  if (options_.maxObjects == 0) return;
  while (!handedOut_.empty() && handedOut_.size() >= options_.maxObjects) {
    forget(std::prev(handedOut_.end()), dropped);
  }
}

void zubJexServerObjectMap::forget(UseOrder::iterator entry, Dropped& dropped) {
  forgetIdOf(entry->object.get(), entry->id);
  handedOutById_.erase(entry->id);
  dropped.push_back(std::move(entry->object));
  handedOut_.erase(entry);
}

void zubJexServerObjectMap::forgetIdOf(const xobject* object, const std::string& id) {
  auto known = idOf_.find(object);
  if (known != idOf_.end() && known->second == id) idOf_.erase(known);
}

std::string zubJexServerObjectMap::newId() {
  std::string id;
  do {
    id = "o" + std::to_string(++lastId_);
  } while (registered_.count(id) != 0 || handedOutById_.count(id) != 0);
  return id;
}
