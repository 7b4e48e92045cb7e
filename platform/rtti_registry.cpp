#include "platform/rtti_registry.h"

#include <map>
#include <mutex>
#include <shared_mutex>
#include <string>

namespace {

struct Entry {
  xrtti* type = nullptr;
  std::map<std::string, void*, std::less<>> userData;
};

struct Registry {
  std::shared_mutex mutex;  // guards entries
  std::map<std::string, Entry, std::less<>> entries;
};

Registry& TheRegistry() {
  static Registry* registry = new Registry();  // never freed: lookups may run at exit
  return *registry;
}

}  // namespace

void zubRttiRegister(xrtti* type) {
  if (type == nullptr) return;
  xstring name = type->getName();
  Registry& r = TheRegistry();
  std::unique_lock<std::shared_mutex> lock(r.mutex);
  r.entries[name.CastToCString()].type = type;
}

void zubRttiSetUserData(const char* typeName, const char* key, void* data) {
  if (typeName == nullptr || key == nullptr) return;
  Registry& r = TheRegistry();
  std::unique_lock<std::shared_mutex> lock(r.mutex);
  Entry& e = r.entries[typeName];
  if (data == nullptr) {
    e.userData.erase(key);
  } else {
    e.userData[key] = data;
  }
}

void* zubRttiGetUserData(const char* typeName, const char* key) {
  if (typeName == nullptr || key == nullptr) return nullptr;
  Registry& r = TheRegistry();
  std::shared_lock<std::shared_mutex> lock(r.mutex);
  auto e = r.entries.find(std::string_view(typeName));
  if (e == r.entries.end()) return nullptr;
  auto d = e->second.userData.find(std::string_view(key));
  return d == e->second.userData.end() ? nullptr : d->second;
}

xrtti* zubRttiGetFromMap(const char* typeName) {
  if (typeName == nullptr) return nullptr;
  Registry& r = TheRegistry();
  std::shared_lock<std::shared_mutex> lock(r.mutex);
  auto e = r.entries.find(std::string_view(typeName));
  return e == r.entries.end() ? nullptr : e->second.type;
}

namespace {

xrttiobject* MakeRegisteredType(const char* name) {
  auto* r = new xrttiobject();
  initializeRttiObject(r, name, 0, 0, nullptr);
  zubRttiRegister(r);
  return r;
}

}  // namespace

#define ZUB_DEFINE_PRIMITIVE_RTTI(Getter, Name)          \
  xrtti* Getter() {                                      \
    static xrttiobject* type = MakeRegisteredType(Name); \
    return type;                                         \
  }

ZUB_DEFINE_PRIMITIVE_RTTI(zubGetRtti_any, "any")
ZUB_DEFINE_PRIMITIVE_RTTI(zubGetRtti_int, "int")
ZUB_DEFINE_PRIMITIVE_RTTI(zubGetRtti_long, "long")
ZUB_DEFINE_PRIMITIVE_RTTI(zubGetRtti_short, "short")
ZUB_DEFINE_PRIMITIVE_RTTI(zubGetRtti_byte, "byte")
ZUB_DEFINE_PRIMITIVE_RTTI(zubGetRtti_bool, "bool")
ZUB_DEFINE_PRIMITIVE_RTTI(zubGetRtti_real, "real")
ZUB_DEFINE_PRIMITIVE_RTTI(zubGetRtti_string, "string")
