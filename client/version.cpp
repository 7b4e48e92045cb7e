#include "client/version.h"

const char* zubJexVersion() { return ZUBJEX_VERSION_STRING; }
