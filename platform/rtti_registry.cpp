#include "platform/rtti_registry.h"

#include <atomic>
#include <cstdint>
#include <cstring>
#include <map>
#include <mutex>
#include <shared_mutex>
#include <string>
#include <string_view>

namespace {

struct Entry {
  xrtti* type = nullptr;
  std::map<std::string, void*, std::less<>> userData;
};

struct Registry {
  std::shared_mutex mutex;  // guards entries
  std::map<std::string, Entry, std::less<>> entries;
};

// Bumped under the registry's exclusive lock by every change; voids every cached
// answer. Outside the registry, so that reading it (for every object written or read)
// needs no check that the registry was made.
std::atomic<uint64_t> registryGeneration{1};

Registry& TheRegistry() {
  static Registry* registry = new Registry();  // never freed: lookups may run at exit
  return *registry;
}

// Lookups run for every object written or read, so each thread keeps the answers it has
// seen, valid for as long as the registry's generation does not change. The slots are
// plain data (no construction, no destruction per thread); names and keys too long for
// a slot are always looked up under the lock.
constexpr size_t kCachedNameMax = 47;
constexpr size_t kCachedKeyMax = 15;
struct CachedAnswer {
  uint64_t generation;  // 0: empty
  void* answer;
  bool forType;  // the answer is the type itself, not data under the key
  uint8_t nameSize;
  uint8_t keySize;
  char name[kCachedNameMax];
  char key[kCachedKeyMax];
};
constexpr size_t kCacheSlots = 64;
thread_local CachedAnswer cache[kCacheSlots];

// `key` null: the lookup of the type itself.
template <class Find>
void* CachedLookup(const char* typeName, const char* key, Find find) {
  const std::string_view name(typeName);
  const std::string_view k(key != nullptr ? key : "");
  const bool forType = key == nullptr;
  Registry& r = TheRegistry();
  if (name.size() > kCachedNameMax || k.size() > kCachedKeyMax) {
    std::shared_lock<std::shared_mutex> lock(r.mutex);
    return find(r);
  }
  // A cheap spread over the slots; the slot's content decides.
  const size_t hash = name.size() * 31 +
                      (name.empty() ? 0 : name.back() * 7 + name[name.size() / 2]) + k.size() +
                      forType;
  CachedAnswer& slot = cache[hash % kCacheSlots];
  if (slot.generation == registryGeneration.load(std::memory_order_acquire) &&
      slot.forType == forType && slot.nameSize == name.size() && slot.keySize == k.size() &&
      std::memcmp(slot.name, name.data(), name.size()) == 0 &&
      std::memcmp(slot.key, k.data(), k.size()) == 0) {
    return slot.answer;
  }
  std::shared_lock<std::shared_mutex> lock(r.mutex);
  void* answer = find(r);
  slot.generation = registryGeneration.load(std::memory_order_relaxed);  // stable under the lock
  slot.answer = answer;
  slot.forType = forType;
  slot.nameSize = static_cast<uint8_t>(name.size());
  slot.keySize = static_cast<uint8_t>(k.size());
  std::memcpy(slot.name, name.data(), name.size());
  std::memcpy(slot.key, k.data(), k.size());
  return answer;
}

}  // namespace

void zubRttiRegister(xrtti* type) {
  if (type == nullptr) return;
  xstring name = type->getName();
  Registry& r = TheRegistry();
  std::unique_lock<std::shared_mutex> lock(r.mutex);
  r.entries[name.CastToCString()].type = type;
  registryGeneration.fetch_add(1, std::memory_order_release);
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
  registryGeneration.fetch_add(1, std::memory_order_release);
}

void* zubRttiGetUserData(const char* typeName, const char* key) {
  if (typeName == nullptr || key == nullptr) return nullptr;
  return CachedLookup(typeName, key, [&](Registry& r) -> void* {
    auto e = r.entries.find(std::string_view(typeName));
    if (e == r.entries.end()) return nullptr;
    auto d = e->second.userData.find(std::string_view(key));
    return d == e->second.userData.end() ? nullptr : d->second;
  });
}

uint64_t zubRttiGeneration() { return registryGeneration.load(std::memory_order_acquire); }

xrtti* zubRttiGetFromMap(const char* typeName) {
  if (typeName == nullptr) return nullptr;
  return static_cast<xrtti*>(CachedLookup(typeName, nullptr, [&](Registry& r) -> void* {
    auto e = r.entries.find(std::string_view(typeName));
    return e == r.entries.end() ? nullptr : e->second.type;
  }));
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

namespace {

// The primitive types are in the registry from the library's load on, so that a reader
// finds a return type named "int" (or "any") even before any code asked for its getter.
const bool kPrimitiveTypesRegistered = [] {
  for (xrtti* (*getter)() :
       {&zubGetRtti_any, &zubGetRtti_int, &zubGetRtti_long, &zubGetRtti_short, &zubGetRtti_byte,
        &zubGetRtti_bool, &zubGetRtti_real, &zubGetRtti_string}) {
    getter();
  }
  return true;
}();

}  // namespace
