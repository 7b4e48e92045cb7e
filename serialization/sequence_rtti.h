// Descriptors of sequence types that write the usual sequence layout (contents after the
// type name):
//   strings   count (int), then each element as a string
//   values    count (int), then each element as a tagged value
// A negative count is refused ("invalid sequence count"); a count is never trusted for
// preallocation, so a count that lies costs only the elements that actually arrive.
//
// A descriptor says that it writes this layout by deriving from zubBinS11nSequenceRtti;
// zubBinSerializer and zubBinDeserializer then handle the elements in place, with the
// same bytes and the same failures, instead of calling its serialize and deserialize.
// The library defines no such descriptor and registers none (a host does, see
// support/sequence_types.h).
#ifndef ZUBJEX_SERIALIZATION_SEQUENCE_RTTI_H_
#define ZUBJEX_SERIALIZATION_SEQUENCE_RTTI_H_

#include <cstdint>

#include "serialization/descriptors.h"
#include "serialization/export.h"

class ZUBJEX_EXPORT zubBinS11nSequenceRtti : public zubBinS11nRtti {
 public:
  enum ElementKind {
    kStringElements,  // the type is xstringsequence, made with xstringsequence::create
    kValueElements,   // the type is xanysequence, made with xanysequence::create
  };
  explicit zubBinS11nSequenceRtti(ElementKind elementKind) : elementKind(elementKind) {}

  const ElementKind elementKind;
};

// Room for at most this many elements is made before they arrive: enough for the usual
// parameter lists.
constexpr int32_t kZubSequenceReserveMax = 16;

// Raises "invalid sequence count" for a negative count read from the wire.
ZUBJEX_EXPORT void zubBinCheckSequenceCount(int32_t count);

#endif  // ZUBJEX_SERIALIZATION_SEQUENCE_RTTI_H_
