#include "platform/abort.h"

#include <cstdio>
#include <cstdlib>

void btkAbort(const char* message, int /*code*/, const char* file, int line) {
  if (file != nullptr) {
    std::fprintf(stderr, "%s (%s:%d)\n", message, file, line);
  } else {
    std::fprintf(stderr, "%s\n", message);
  }
  std::fflush(stderr);
  std::abort();
}
