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

std::string softcastDeclaration(const std::string& cls) {
  return "  // The object as a " + cls + ", or null when it is none (or null).\n  static " + cls +
         "* softcast(xobject* o);\n";
}

std::string softcastDefinition(const std::string& cls) {
  return cls + "* " + cls + "::softcast(xobject* o) {\n  return o != nullptr && " +
         "o->isKindOf(getClassRtti()) ? static_cast<" + cls + "*>(o) : nullptr;\n}\n";
}

std::string rttiClassHead(const EmitOutput& out, const std::string& cls, const std::string& base) {
  return "class " + out.exportMacro + " " + cls + " : public " + base +
         " {\n  XOBJECT_DECLARE_RTTI(" + out.exportMacro + ")\n public:\n" +
         softcastDeclaration(cls);
}

}  // namespace jexgen
