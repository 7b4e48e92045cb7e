// Errors in a description, reported as "file:line:column: message".
//
// The lexer and the parser stop at their first error by raising a JexError; the checker
// collects every error it finds into a Diagnostics list. main() prints them to standard
// error, one a line, and exits non-zero.
#ifndef ZUBJEX_TOOLS_JEXGEN_DIAGNOSTICS_H_
#define ZUBJEX_TOOLS_JEXGEN_DIAGNOSTICS_H_

#include <stdexcept>
#include <string>
#include <vector>

#include "ast.h"

namespace jexgen {

struct Diagnostic {
  Location where;
  std::string message;
};

// "file:line:column: message".
std::string formatDiagnostic(const std::string& path, const Diagnostic& d);

// A syntax error: the description cannot be read any further.
class JexError : public std::runtime_error {
 public:
  JexError(Location where, const std::string& message)
      : std::runtime_error(message), where_(where) {}
  Diagnostic diagnostic() const { return {where_, what()}; }

 private:
  Location where_;
};

using Diagnostics = std::vector<Diagnostic>;

}  // namespace jexgen

#endif  // ZUBJEX_TOOLS_JEXGEN_DIAGNOSTICS_H_
