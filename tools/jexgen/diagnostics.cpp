#include "diagnostics.h"

namespace jexgen {

std::string formatDiagnostic(const std::string& path, const Diagnostic& d) {
  return path + ":" + std::to_string(d.where.line) + ":" + std::to_string(d.where.column) + ": " +
         d.message;
}

}  // namespace jexgen
