#include "server/object_map.h"

bool zubJexServerObjectMap::registerObject(const std::string& id, xobject* object) {
  if (object == nullptr || id.empty()) return false;
  xrcunihandle<xobject> held(object);
  std::lock_guard<std::mutex> lock(mutex_);
  auto old = byId_.find(id);
  if (old != byId_.end() && old->second.get() != object) {
    auto oldId = idOf_.find(old->second.get());
    if (oldId != idOf_.end() && oldId->second == id) idOf_.erase(oldId);
  }
  byId_[id] = held;
  idOf_.emplace(object, id);
  return true;
}

void zubJexServerObjectMap::releaseObject(const std::string& id) {
  xrcunihandle<xobject> dropped;  // released after the lock
  std::lock_guard<std::mutex> lock(mutex_);
  auto found = byId_.find(id);
  if (found == byId_.end()) return;
  dropped = std::move(found->second);
  byId_.erase(found);
  auto oldId = idOf_.find(dropped.get());
  if (oldId != idOf_.end() && oldId->second == id) idOf_.erase(oldId);
}

size_t zubJexServerObjectMap::size() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return byId_.size();
}

xstring zubJexServerObjectMap::getObjectId(xrcunihandle<xobject> object) {
  if (object.isNull()) return xstring();
  std::lock_guard<std::mutex> lock(mutex_);
  auto known = idOf_.find(object.get());
  if (known != idOf_.end()) return xstring(known->second.c_str());
  std::string id;
  do {
    id = "o" + std::to_string(++lastId_);
  } while (byId_.count(id) != 0);
  byId_.emplace(id, object);
  idOf_.emplace(object.get(), id);
  return xstring(id.c_str());
}

xrcunihandle<xobject> zubJexServerObjectMap::findObject(const xstring& id) {
  std::lock_guard<std::mutex> lock(mutex_);
  auto found = byId_.find(std::string(id.CastToCString(), id.GetMBSize()));
  return found != byId_.end() ? found->second : xrcunihandle<xobject>();
}
