// The literal syntax in which a command line writes values (jexcall's parameters):
//
//   12  -7           int                  12L              long
//   12b  12s         byte, short          true  false      bool
//   2.5  -1e3        real                 nil              nil
//   "a \"b\"\n"      string (escapes \" \\ \n \t \r \xHH)
//   word             string: a bare word (a letter, "_" or "/", then letters, digits and
//                    _ . - / :), except true, false and nil
//   [1, "a", [2]]    list (xanysequence)   strings["a", "b"]   xstringsequence
//   Point{x=1, y=2}  object of a described struct; fields left out keep their defaults
//   @ICalc:7         proxy of the interface ICalc with the id 7 (the id: a bare word,
//                    digits or a quoted string), bound to the server being called
//
// White space may separate the parts of a list or an object. When the type of the
// value is known (a described method's parameter, a described struct's field), the
// value is checked against it and converted where nothing is lost: an int where a long,
// short, byte or real is expected, a list of strings where list<string> is, the elements
// of a list to the element type.
#ifndef ZUBJEX_TOOLS_VALUE_LITERAL_H_
#define ZUBJEX_TOOLS_VALUE_LITERAL_H_

#include <stdexcept>
#include <string>

#include "ast.h"
#include "platform/xany.h"

namespace jextools {

// A literal that cannot be read: `column` is the 1-based place in the text.
class LiteralError : public std::runtime_error {
 public:
  LiteralError(size_t column, const std::string& message)
      : std::runtime_error(message), column_(column) {}
  size_t column() const { return column_; }

 private:
  size_t column_;
};

struct LiteralLimits {
  // Lists and objects nested deeper than this are refused: the parser recurses once per
  // level, and a value of thousands of "[" would otherwise exhaust the stack.
  int maxDepth = 64;
};

// The value that `text` writes. `server` is the server URL given to proxies. `expected`,
// when not null, is the type the value must have (a type of a registered description,
// idl_types.h). Objects of described structs need their description registered.
// Raises LiteralError.
xany ParseLiteral(const std::string& text, const std::string& server,
                  const jexgen::TypeRef* expected, const LiteralLimits& limits = {});

}  // namespace jextools

#endif  // ZUBJEX_TOOLS_VALUE_LITERAL_H_
