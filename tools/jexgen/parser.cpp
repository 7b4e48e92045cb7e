#include "parser.h"

#include <map>
#include <utility>
#include <vector>

#include "diagnostics.h"
#include "lexer.h"

namespace jexgen {

namespace {

// The words of the language; none of them names a definition, field or parameter.
const std::map<std::string, TypeKind>& BuiltinTypes() {
  static const std::map<std::string, TypeKind> types = {
      {"bool", TypeKind::kBool},
      {"byte", TypeKind::kByte},
      {"short", TypeKind::kShort},
      {"int", TypeKind::kInt},
      {"long", TypeKind::kLong},
      {"real", TypeKind::kReal},
      {"string", TypeKind::kString},
      {"any", TypeKind::kAny},
      {"xstringsequence", TypeKind::kStringSequence},
      {"xanysequence", TypeKind::kAnySequence},
  };
  return types;
}

bool IsKeyword(const std::string& word) {
  static const char* const kOthers[] = {"struct", "exception", "interface", "oneway",
                                        "void",   "throws",    "list"};
  for (const char* k : kOthers) {
    if (word == k) return true;
  }
  return BuiltinTypes().count(word) != 0;
}

constexpr int kMaxListDepth = 16;

class Parser {
 public:
  explicit Parser(std::vector<Token> tokens) : tokens_(std::move(tokens)) {}

  std::vector<Definition> definitions() {
    std::vector<Definition> result;
    while (peek().kind != TokenKind::kEnd) result.push_back(definition());
    return result;
  }

 private:
  const Token& peek() const { return tokens_[pos_]; }
  const Token& take() { return tokens_[pos_ < tokens_.size() - 1 ? pos_++ : pos_]; }
  bool peekIs(const char* text) const {
    return peek().kind != TokenKind::kEnd && peek().text == text;
  }
  bool accept(const char* text) {
    if (!peekIs(text)) return false;
    take();
    return true;
  }

  [[noreturn]] void fail(const std::string& expected) const {
    throw JexError(peek().where, "expected " + expected + ", found " + peek().describe());
  }
  void expect(const char* punct) {
    if (!accept(punct)) fail(std::string("'") + punct + "'");
  }

  // A name that is no keyword of the language.
  std::string name(const char* what, Location& where) {
    const Token& t = peek();
    if (t.kind != TokenKind::kName) fail(what);
    if (IsKeyword(t.text)) {
      throw JexError(t.where, "'" + t.text + "' is a keyword and cannot be " + what);
    }
    where = t.where;
    return take().text;
  }

  Definition definition() {
    Definition d;
    if (accept("struct")) {
      d.kind = DefinitionKind::kStruct;
    } else if (accept("exception")) {
      d.kind = DefinitionKind::kException;
    } else if (accept("interface")) {
      d.kind = DefinitionKind::kInterface;
    } else {
      fail("'struct', 'exception' or 'interface'");
    }
    d.name = name("a type name", d.where);
    expect("{");
    while (!accept("}")) {
      if (peek().kind == TokenKind::kEnd) fail("'}'");
      if (d.kind == DefinitionKind::kInterface) {
        d.methods.push_back(method());
      } else {
        d.fields.push_back(field());
      }
    }
    accept(";");
    return d;
  }

  Field field() {
    Field f;
    f.type = type();
    f.name = name("a field name", f.where);
    expect(";");
    return f;
  }

  Method method() {
    Method m;
    m.oneWay = accept("oneway");
    if (!accept("void")) {
      m.hasResult = true;
      m.result = type();
    }
    m.name = name("a method name", m.where);
    expect("(");
    if (!accept(")")) {
      do {
        Field p;
        p.type = type();
        p.name = name("a parameter name", p.where);
        m.params.push_back(p);
      } while (accept(","));
      expect(")");
    }
    if (accept("throws")) {
      expect("(");
      do {
        TypeRef t;
        t.kind = TypeKind::kNamed;
        t.name = name("an exception name", t.where);
        m.raises.push_back(t);
      } while (accept(","));
      expect(")");
    }
    expect(";");
    return m;
  }

  TypeRef type(int depth = 0) {
    TypeRef t;
    t.where = peek().where;
    if (peekIs("void")) throw JexError(t.where, "'void' is only allowed as a method's result");
    if (accept("list")) {
      // The parser and the generated conversions recurse once per level.
      if (depth == kMaxListDepth) throw JexError(t.where, "lists nest too deep");
      t.kind = TypeKind::kList;
      expect("<");
      t.element = std::make_shared<TypeRef>(type(depth + 1));
      expect(">");
      return t;
    }
    if (peek().kind == TokenKind::kName) {
      auto builtin = BuiltinTypes().find(peek().text);
      if (builtin != BuiltinTypes().end()) {
        take();
        t.kind = builtin->second;
        return t;
      }
    }
    t.kind = TypeKind::kNamed;
    t.name = name("a type", t.where);
    return t;
  }

  std::vector<Token> tokens_;
  size_t pos_ = 0;
};

}  // namespace

Document parse(const std::string& path, const std::string& text) {
  Document doc;
  doc.path = path;
  doc.definitions = Parser(tokenize(text)).definitions();
  return doc;
}

}  // namespace jexgen
