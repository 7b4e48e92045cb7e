// Reads a description file and checks it: what every tool that takes a ".jex" file
// does first.
#ifndef ZUBJEX_TOOLS_JEXGEN_LOAD_H_
#define ZUBJEX_TOOLS_JEXGEN_LOAD_H_

#include <memory>
#include <string>
#include <vector>

#include "ast.h"

namespace jexgen {

struct Loaded {
  // False when the file cannot be read; `errors` is empty then.
  bool readable = false;
  // The checked document; null when the file was unreadable or has errors. Held by
  // pointer because its types point at its definitions.
  std::unique_ptr<Document> doc;
  // Every error, as "file:line:column: message", in the order of the description.
  std::vector<std::string> errors;
};

// The description in the file at `path`, parsed and checked. Raises nothing.
Loaded loadDescription(const std::string& path);

}  // namespace jexgen

#endif  // ZUBJEX_TOOLS_JEXGEN_LOAD_H_
