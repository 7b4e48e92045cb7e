// "bins11n" descriptors of the runtime's sequence types, which call messages use for
// their parameter names and values.
//
// On the wire (contents after the type name):
//   xstringsequence   count (int), then each element as a string
//   xanysequence      count (int), then each element as a tagged value
// A negative count is refused ("invalid sequence count"); a count is never used to
// preallocate, so a count that lies costs only the elements that actually arrive.
#ifndef ZUBJEX_SUPPORT_SEQUENCE_TYPES_H_
#define ZUBJEX_SUPPORT_SEQUENCE_TYPES_H_

#include "support/export.h"

// Registers the descriptors of "xstringsequence" and "xanysequence" under "bins11n".
// Idempotent and thread-safe; the descriptors live until the process ends.
ZUBJEX_SUPPORT_EXPORT void zubSupportRegisterSequenceTypes();

#endif  // ZUBJEX_SUPPORT_SEQUENCE_TYPES_H_
