#include "lexer.h"

#include <cctype>
#include <cstdio>
#include <cstring>

#include "diagnostics.h"

namespace jexgen {

namespace {

bool IsNameStart(char c) { return std::isalpha(static_cast<unsigned char>(c)) || c == '_'; }
bool IsNameChar(char c) { return IsNameStart(c) || std::isdigit(static_cast<unsigned char>(c)); }

class Lexer {
 public:
  explicit Lexer(const std::string& text) : text_(text) {}

  std::vector<Token> run() {
    std::vector<Token> tokens;
    for (;;) {
      skipBlanksAndComments();
      Token token;
      token.where = here_;
      if (pos_ >= text_.size()) {
        tokens.push_back(token);
        return tokens;
      }
      const char c = text_[pos_];
      if (IsNameStart(c)) {
        token.kind = TokenKind::kName;
        while (pos_ < text_.size() && IsNameChar(text_[pos_])) token.text += advance();
      } else if (std::strchr("{}()<>;,", c) != nullptr) {
        token.kind = TokenKind::kPunct;
        token.text = advance();
      } else {
        throw JexError(here_, "unexpected character " + Quote(c));
      }
      tokens.push_back(token);
    }
  }

 private:
  static std::string Quote(char c) {
    if (std::isprint(static_cast<unsigned char>(c))) return std::string("'") + c + "'";
    char buf[8];
    std::snprintf(buf, sizeof buf, "0x%02X", static_cast<unsigned char>(c));
    return buf;
  }

  char advance() {
    const char c = text_[pos_++];
    if (c == '\n') {
      ++here_.line;
      here_.column = 1;
    } else {
      ++here_.column;
    }
    return c;
  }

  bool lookingAt(const char* s) const { return text_.compare(pos_, std::strlen(s), s) == 0; }

  void skipBlanksAndComments() {
    while (pos_ < text_.size()) {
      if (std::isspace(static_cast<unsigned char>(text_[pos_]))) {
        advance();
      } else if (lookingAt("//")) {
        while (pos_ < text_.size() && text_[pos_] != '\n') advance();
      } else if (lookingAt("/*")) {
        skipBlockComment();
      } else {
        return;
      }
    }
  }

  void skipBlockComment() {
    const Location start = here_;
    advance();
    advance();
    while (!lookingAt("*/")) {
      if (pos_ >= text_.size()) throw JexError(start, "unterminated comment");
      advance();
    }
    advance();
    advance();
  }

  const std::string& text_;
  size_t pos_ = 0;
  Location here_;
};

}  // namespace

std::string Token::describe() const {
  if (kind == TokenKind::kEnd) return "the end of the file";
  return "'" + text + "'";
}

std::vector<Token> tokenize(const std::string& text) { return Lexer(text).run(); }

}  // namespace jexgen
