// What the emitters of one file's definitions write into, section by section, and the
// text helpers they share. cpp_emitter puts the sections together into the two files.
#ifndef ZUBJEX_TOOLS_JEXGEN_EMIT_OUTPUT_H_
#define ZUBJEX_TOOLS_JEXGEN_EMIT_OUTPUT_H_

#include <string>

#include "ast.h"
#include "cpp_types.h"

namespace jexgen {

struct EmitOutput {
  std::string exportMacro;   // marks the header's classes and functions
  bool clientOnly = false;   // no skeletons
  Conversions conversions;   // the source's conversion functions, first in its namespace
  std::string declarations;  // the header, after the forward declarations
  std::string helpers;       // the source's anonymous namespace, after the conversions
  std::string definitions;   // the source, after the anonymous namespace
};

// `s` as a C++ string literal (names of the description need no escapes).
std::string quoted(const std::string& s);
// The method as written in the description, for comments.
std::string signature(const Method& m);
// `text` as "// " comment lines of at most 100 columns, after an empty line.
std::string comment(const std::string& text);
// The header's declaration of `cls`::softcast, with its comment, indented for a class body.
std::string softcastDeclaration(const std::string& cls);
// The source's definition of `cls`::softcast.
std::string softcastDefinition(const std::string& cls);
// The head of a generated class with run-time type information: "class <export> <cls> :
// public <base> {", its RTTI declaration and, after "public:", softcast.
std::string rttiClassHead(const EmitOutput& out, const std::string& cls, const std::string& base);

}  // namespace jexgen

#endif  // ZUBJEX_TOOLS_JEXGEN_EMIT_OUTPUT_H_
