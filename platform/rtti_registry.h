// The runtime's type registry: types by name, and per type the data that other
// libraries keep under a key (the "bins11n" descriptors, for instance).
//
// Registration is meant for start-up; lookups may run on any number of threads at once
// and also concurrently with registration. Registered types and data are borrowed and
// must outlive their use; the registry frees nothing.
#ifndef ZUBJEX_PLATFORM_RTTI_REGISTRY_H_
#define ZUBJEX_PLATFORM_RTTI_REGISTRY_H_

#include <cstdint>

#include "platform/export.h"
#include "platform/xobject.h"

// Registers `type` under its name (replacing a type of the same name).
ZUBPLATFORM_EXPORT void zubRttiRegister(xrtti* type);
// Stores `data` for the type name under `key` (replacing what was there); null removes it.
// The type need not be registered with zubRttiRegister.
ZUBPLATFORM_EXPORT void zubRttiSetUserData(const char* typeName, const char* key, void* data);

// The data stored for the type name under the key, or null. Null arguments give null.
ZUBPLATFORM_EXPORT void* zubRttiGetUserData(const char* typeName, const char* key);
// A number that changes with every registration and every change of user data: an
// answer of the lookups above stays valid while this number stays the same.
ZUBPLATFORM_EXPORT uint64_t zubRttiGeneration();
// The registered type of that name, or null.
ZUBPLATFORM_EXPORT xrtti* zubRttiGetFromMap(const char* typeName);
// The type of the variant value, named "any"; registered.
ZUBPLATFORM_EXPORT xrtti* zubGetRtti_any();
// The primitive types, named "int", "long", "short", "byte", "bool", "real" and
// "string"; each made and registered on first use (thread-safe), never freed.
ZUBPLATFORM_EXPORT xrtti* zubGetRtti_int();
ZUBPLATFORM_EXPORT xrtti* zubGetRtti_long();
ZUBPLATFORM_EXPORT xrtti* zubGetRtti_short();
ZUBPLATFORM_EXPORT xrtti* zubGetRtti_byte();
ZUBPLATFORM_EXPORT xrtti* zubGetRtti_bool();
ZUBPLATFORM_EXPORT xrtti* zubGetRtti_real();
ZUBPLATFORM_EXPORT xrtti* zubGetRtti_string();

#endif  // ZUBJEX_PLATFORM_RTTI_REGISTRY_H_
