// "bins11n" descriptors of the runtime's sequence types, which call messages use for
// their parameter names and values.
//
// On the wire (contents after the type name):
//   xstringsequence   count (int), then each element as a string
//   xanysequence      count (int), then each element as a tagged value
// A negative count is refused ("invalid sequence count"); a count is never trusted for
// preallocation, so a count that lies costs only the elements that actually arrive.
//
// The descriptors are not registered here (a host registers them, see
// support/sequence_types.h). zubBinSerializer and zubBinDeserializer recognise them and
// handle the elements in place, with the same bytes and the same failures.
#ifndef ZUBJEX_SERIALIZATION_SEQUENCE_DESCRIPTORS_H_
#define ZUBJEX_SERIALIZATION_SEQUENCE_DESCRIPTORS_H_

#include <cstdint>

#include "serialization/descriptors.h"
#include "serialization/export.h"

// The descriptors of "xstringsequence" and "xanysequence": one instance each for the
// life of the process, never freed.
ZUBJEX_EXPORT zubBinS11nRtti* zubBinStringSequenceDescriptor();
ZUBJEX_EXPORT zubBinS11nRtti* zubBinAnySequenceDescriptor();

// Room for at most this many elements is made before they arrive: enough for the usual
// parameter lists.
constexpr int32_t kZubSequenceReserveMax = 16;

// Raises "invalid sequence count" for a negative count read from the wire.
ZUBJEX_EXPORT void zubBinCheckSequenceCount(int32_t count);

#endif  // ZUBJEX_SERIALIZATION_SEQUENCE_DESCRIPTORS_H_
