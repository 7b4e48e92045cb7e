#include "serialization/type_lookup.h"

#include <cstdint>

#include "platform/rtti_registry.h"
#include "platform/sequences.h"

namespace {

// One remembered answer. `name` holds a lock on the type name's buffer, so the text
// stays valid while the slot keeps it.
struct Slot {
  const xrttiobject* type;
  uint64_t generation;  // 0: empty
  zubS11nTypeEntry entry;
  __xstring_c name;
};

constexpr size_t kSlots = 16;
thread_local Slot slots[kSlots];

// Made on the thread's first miss; drops the locks that the slots hold when the thread
// ends.
struct SlotsOwner {
  ~SlotsOwner() {
    for (Slot& slot : slots) {
      if (slot.generation != 0) xstrunlock_c(slot.name);
      slot.generation = 0;
    }
  }
};
thread_local SlotsOwner slotsOwner;

}  // namespace

const zubS11nTypeEntry* zubS11nFindType(const xobject* object) {
  const xrttiobject* type = object->getRtti();
  if (type == nullptr) return nullptr;
  const uint64_t generation = zubRttiGeneration();
  Slot& slot = slots[(reinterpret_cast<uintptr_t>(type) >> 4) % kSlots];
  if (slot.type == type && slot.generation == generation) return &slot.entry;

  const xstring name = type->getName();
  if (name.IsEmpty()) return nullptr;
  zubBinS11nRtti* descriptor = zubBinS11nRttiGetDescriptor(name.CastToCString());
  if (descriptor == nullptr) return nullptr;
  (void)&slotsOwner;
  if (slot.generation != 0) xstrunlock_c(slot.name);
  slot.name = name.getxstring_c();
  slot.type = type;
  slot.generation = generation;
  const auto* sequence = dynamic_cast<const zubBinS11nSequenceRtti*>(descriptor);
  const bool plainSequence =
      sequence != nullptr &&
      type == (sequence->elementKind == zubBinS11nSequenceRtti::kValueElements
                   ? xanysequence::getClassRtti()
                   : xstringsequence::getClassRtti());
  slot.entry =
      zubS11nTypeEntry{descriptor, slot.name.text, name.GetMBSize(), descriptor->isProxy(nullptr),
                       sequence,   plainSequence};
  return &slot.entry;
}
