// Reads the tokens of a description into a Document (see docs/idl.md for the grammar).
// Named types stay unresolved: the checker resolves them.
//
// Raises JexError at the first token that does not fit the grammar, with the place of
// that token ("expected ';', found '}'").
#ifndef ZUBJEX_TOOLS_JEXGEN_PARSER_H_
#define ZUBJEX_TOOLS_JEXGEN_PARSER_H_

#include <string>

#include "ast.h"

namespace jexgen {

// The document of `text`; `path` is only recorded in it.
Document parse(const std::string& path, const std::string& text);

}  // namespace jexgen

#endif  // ZUBJEX_TOOLS_JEXGEN_PARSER_H_
