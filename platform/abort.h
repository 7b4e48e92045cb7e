// Fatal errors of the runtime: a report on standard error, then the end of the process.
#ifndef ZUBJEX_PLATFORM_ABORT_H_
#define ZUBJEX_PLATFORM_ABORT_H_

#include "platform/export.h"

// Writes `message` (and, when given, the source location) as one line to standard
// error and ends the process with std::abort. Never returns. `code` is unused (0).
[[noreturn]] ZUBPLATFORM_EXPORT void btkAbort(const char* message, int code, const char* file,
                                              int line);

#endif  // ZUBJEX_PLATFORM_ABORT_H_
