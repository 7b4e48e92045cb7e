// The descriptor and type name of the objects that writers meet, found from the
// object's type information instead of by name. Internal to the library.
#ifndef ZUBJEX_SERIALIZATION_TYPE_LOOKUP_H_
#define ZUBJEX_SERIALIZATION_TYPE_LOOKUP_H_

#include <cstddef>

#include "platform/xobject.h"
#include "serialization/descriptors.h"
#include "serialization/sequence_rtti.h"

// What a writer needs of an object's type. Valid until the next lookup on the same
// thread.
struct zubS11nTypeEntry {
  zubBinS11nRtti* descriptor;  // never null
  const char* name;            // the type name, size bytes (never empty)
  size_t size;
  bool isProxy;                            // the descriptor's isProxy(nullptr)
  const zubBinS11nSequenceRtti* sequence;  // the descriptor as a sequence one, or null
  // The type is exactly the runtime's sequence class of the sequence descriptor's
  // element kind (xanysequence for values, xstringsequence for strings).
  bool plainSequence;
};

// The entry of the type of `object` (not null): the same descriptor and name as
// zubBinS11nRttiGetDescriptor(object->getZubTypeName()), or null when the type has no
// name or no descriptor (the caller then reports the failure the slow way). Each
// thread remembers the answers for the last types it met, for as long as the type
// registry does not change; type names never change once set.
const zubS11nTypeEntry* zubS11nFindType(const xobject* object);

#endif  // ZUBJEX_SERIALIZATION_TYPE_LOOKUP_H_
