#include "emit_output.h"

namespace jexgen {

std::string quoted(const std::string& s) { return "\"" + s + "\""; }

std::string signature(const Method& m) {
  std::string s = m.oneWay ? "oneway " : "";
  s += (m.hasResult ? m.result.spelling() : "void") + " " + m.name + "(";
  for (size_t i = 0; i < m.params.size(); ++i) {
    s += (i ? ", " : "") + m.params[i].type.spelling() + " " + m.params[i].name;
  }
  s += ")";
  if (!m.raises.empty()) {
    s += " throws (";
    for (size_t i = 0; i < m.raises.size(); ++i) s += (i ? ", " : "") + m.raises[i].name;
    s += ")";
  }
  return s;
}

std::string comment(const std::string& text) {
  std::string out = "\n//";
  size_t column = 2;
  size_t start = 0;
  while (start < text.size()) {
    size_t end = text.find(' ', start);
    if (end == std::string::npos) end = text.size();
    const std::string word = text.substr(start, end - start);
    if (column + 1 + word.size() > 100) {
      out += "\n//";
      column = 2;
    }
    out += " " + word;
    column += 1 + word.size();
    start = end + 1;
  }
  return out + "\n";
}

}  // namespace jexgen
