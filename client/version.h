// The library's version: the one place where it is set. The build reads it from here for
// the shared libraries' versions, the CMake package and the pkg-config files.
#ifndef ZUBJEX_CLIENT_VERSION_H_
#define ZUBJEX_CLIENT_VERSION_H_

#include "serialization/export.h"

#define ZUBJEX_VERSION_MAJOR 0
#define ZUBJEX_VERSION_MINOR 2
#define ZUBJEX_VERSION_PATCH 0
#define ZUBJEX_VERSION_STRING "0.2.0"

// MAJOR * 10000 + MINOR * 100 + PATCH, for comparisons in the preprocessor.
#define ZUBJEX_VERSION \
  (ZUBJEX_VERSION_MAJOR * 10000 + ZUBJEX_VERSION_MINOR * 100 + ZUBJEX_VERSION_PATCH)

// The version of the library that the program runs with, as "MAJOR.MINOR.PATCH"; it
// may differ from ZUBJEX_VERSION_STRING, the version that the program was compiled
// against. Never null; a static string.
ZUBJEX_EXPORT const char* zubJexVersion();

#endif  // ZUBJEX_CLIENT_VERSION_H_
