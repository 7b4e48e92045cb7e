// Splits a description into tokens: names (keywords included), the punctuation
// { } ( ) < > ; , and the end of the text. Skips white space, "//" comments to the end
// of the line and "/* */" comments (which do not nest).
//
// Raises JexError for a character that starts no token and for a "/*" never closed.
#ifndef ZUBJEX_TOOLS_JEXGEN_LEXER_H_
#define ZUBJEX_TOOLS_JEXGEN_LEXER_H_

#include <string>
#include <vector>

#include "ast.h"

namespace jexgen {

enum class TokenKind { kName, kPunct, kEnd };

struct Token {
  TokenKind kind = TokenKind::kEnd;
  std::string text;  // the name or the punctuation character; empty at the end
  Location where;

  // How an error message names the token: "'{'", "'point'", "the end of the file".
  std::string describe() const;
};

// Every token of `text`, ending with one kEnd token.
std::vector<Token> tokenize(const std::string& text);

}  // namespace jexgen

#endif  // ZUBJEX_TOOLS_JEXGEN_LEXER_H_
