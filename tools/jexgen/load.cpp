#include "load.h"

#include <fstream>
#include <sstream>

#include "checker.h"
#include "diagnostics.h"
#include "parser.h"

namespace jexgen {

Loaded loadDescription(const std::string& path) {
  Loaded loaded;
  std::ifstream in(path, std::ios::binary);
  if (!in) return loaded;
  std::ostringstream text;
  text << in.rdbuf();
  loaded.readable = true;
  auto doc = std::make_unique<Document>();
  try {
    *doc = parse(path, text.str());
  } catch (const JexError& e) {
    loaded.errors.push_back(formatDiagnostic(path, e.diagnostic()));
    return loaded;
  }
  for (const Diagnostic& d : check(*doc)) loaded.errors.push_back(formatDiagnostic(path, d));
  if (loaded.errors.empty()) loaded.doc = std::move(doc);
  return loaded;
}

}  // namespace jexgen
