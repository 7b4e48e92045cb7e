// A host built against an installed prefix only: it prints the version it was compiled
// against and the one it runs with, which must be the same.
#include <cstdio>
#include <cstring>

#include "client/version.h"

int main() {
  std::printf("zubjex %s (compiled against %s)\n", zubJexVersion(), ZUBJEX_VERSION_STRING);
  return std::strcmp(zubJexVersion(), ZUBJEX_VERSION_STRING) == 0 ? 0 : 1;
}
