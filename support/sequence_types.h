// "bins11n" descriptors of the runtime's sequence types, which call messages use for
// their parameter names and values. They write the usual sequence layout
// (serialization/sequence_rtti.h): xstringsequence its count and strings, xanysequence
// its count and tagged values.
#ifndef ZUBJEX_SUPPORT_SEQUENCE_TYPES_H_
#define ZUBJEX_SUPPORT_SEQUENCE_TYPES_H_

#include "support/export.h"

// Registers the descriptors of "xstringsequence" and "xanysequence" under "bins11n".
// Idempotent and thread-safe; the descriptors live until the process ends.
ZUBJEX_SUPPORT_EXPORT void zubSupportRegisterSequenceTypes();

#endif  // ZUBJEX_SUPPORT_SEQUENCE_TYPES_H_
