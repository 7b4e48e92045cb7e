#include "value_literal.h"

#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <limits>
#include <set>
#include <vector>

#include "idl_types.h"
#include "platform/handles.h"
#include "platform/sequences.h"

namespace jextools {
namespace {

using jexgen::DefinitionKind;
using jexgen::TypeKind;
using jexgen::TypeRef;

bool IsWordStart(char c) {
  return std::isalpha(static_cast<unsigned char>(c)) || c == '_' || c == '/';
}
bool IsWordChar(char c) {
  return IsWordStart(c) || std::isdigit(static_cast<unsigned char>(c)) || c == '.' || c == '-' ||
         c == ':';
}
bool IsNameChar(char c) { return std::isalnum(static_cast<unsigned char>(c)) || c == '_'; }

// How an error names a value: "an int", "nil", "an object of type Point".
std::string KindText(const xany& v) {
  static const char* const kKinds[] = {"uninit",  "nil",    "an int", "a long",   "a byte",
                                       "a short", "a bool", "a real", "a string", "an enum"};
  if (v.getKind() != xany_object) return kKinds[v.getKind()];
  xobject* o = v.toObject();
  return o == nullptr ? "nil"
                      : "an object of type " + std::string(o->getZubTypeName().CastToCString());
}

bool IsInteger(const xany& v) {
  const int kind = v.getKind();
  return kind == xany_int || kind == xany_long || kind == xany_byte || kind == xany_short;
}

int64_t IntegerOf(const xany& v) {
  switch (v.getKind()) {
    case xany_long:
      return v.toLong();
    case xany_byte:
      return v.toByte();
    case xany_short:
      return v.toShort();
    default:
      return v.toInt();
  }
}

xobject* ObjectOf(const xany& v) { return v.getKind() == xany_object ? v.toObject() : nullptr; }

bool IsObjectKind(TypeKind kind) {
  return kind != TypeKind::kBool && kind != TypeKind::kByte && kind != TypeKind::kShort &&
         kind != TypeKind::kInt && kind != TypeKind::kLong && kind != TypeKind::kReal;
}

class Parser {
 public:
  Parser(const std::string& text, const std::string& server, const LiteralLimits& limits)
      : text_(text), server_(server), limits_(limits) {}

  xany parseAll(const TypeRef* expected) {
    skipSpace();
    xany value = parseValue(expected, 0);
    skipSpace();
    if (pos_ < text_.size()) fail("unexpected " + describeHere() + " after the value");
    return value;
  }

 private:
  [[noreturn]] void fail(const std::string& message) const { failAt(pos_, message); }
  [[noreturn]] void failAt(size_t at, const std::string& message) const {
    throw LiteralError(at + 1, message);
  }

  std::string describeHere() const {
    if (pos_ >= text_.size()) return "the end";
    return "'" + std::string(1, text_[pos_]) + "'";
  }

  void skipSpace() {
    while (pos_ < text_.size() && std::isspace(static_cast<unsigned char>(text_[pos_]))) ++pos_;
  }

  bool take(char c) {
    if (pos_ < text_.size() && text_[pos_] == c) {
      ++pos_;
      return true;
    }
    return false;
  }

  void expect(char c) {
    if (!take(c)) fail(std::string("expected '") + c + "', found " + describeHere());
  }

  std::string takeWhile(bool (*accept)(char)) {
    const size_t start = pos_;
    while (pos_ < text_.size() && accept(text_[pos_])) ++pos_;
    return text_.substr(start, pos_ - start);
  }

  xany parseValue(const TypeRef* expected, int depth) {
    if (depth > limits_.maxDepth) fail("lists and objects nest too deep");
    const size_t start = pos_;
    xany value = parseUnchecked(expected, depth);
    return expected != nullptr ? coerce(value, *expected, start, depth) : value;
  }

  // The element type of an expected list, for the values inside it.
  static const TypeRef* elementOf(const TypeRef* expected) {
    return expected != nullptr && expected->kind == TypeKind::kList ? expected->element.get()
                                                                    : nullptr;
  }

  xany parseUnchecked(const TypeRef* expected, int depth) {
    if (pos_ >= text_.size()) fail("expected a value, found the end");
    const char c = text_[pos_];
    if (c == '"') return xany(parseQuoted());
    if (c == '[') return parseList(elementOf(expected), depth, false);
    if (c == '@') return parseProxy();
    if (c == '-' || c == '+' || std::isdigit(static_cast<unsigned char>(c))) return parseNumber();
    if (!IsWordStart(c)) fail("expected a value, found " + describeHere());
    const size_t start = pos_;
    const std::string word = takeWhile(IsWordChar);
    if (pos_ < text_.size() && text_[pos_] == '{') return parseObject(word, start, depth);
    if (pos_ < text_.size() && text_[pos_] == '[') {
      if (word != "strings") failAt(start, "only strings[...] names the type of a list");
      return parseList(nullptr, depth, true);
    }
    if (word == "true") return xany(static_cast<xbool>(1));
    if (word == "false") return xany(static_cast<xbool>(0));
    if (word == "nil") return xany::Nil();
    return xany(xstring(word.c_str(), word.size()));
  }

  xstring parseQuoted() {
    const size_t start = pos_;
    ++pos_;
    std::string out;
    while (pos_ < text_.size() && text_[pos_] != '"') {
      char c = text_[pos_++];
      if (c == '\\') {
        if (pos_ >= text_.size()) break;
        c = text_[pos_++];
        switch (c) {
          case 'n':
            c = '\n';
            break;
          case 't':
            c = '\t';
            break;
          case 'r':
            c = '\r';
            break;
          case 'x': {
            const std::string hex = text_.substr(pos_, 2);
            if (hex.size() != 2 || !std::isxdigit(static_cast<unsigned char>(hex[0])) ||
                !std::isxdigit(static_cast<unsigned char>(hex[1]))) {
              failAt(pos_ - 2, "\\x needs two hexadecimal digits");
            }
            c = static_cast<char>(std::stoi(hex, nullptr, 16));
            pos_ += 2;
            break;
          }
          case '"':
          case '\\':
            break;
          default:
            failAt(pos_ - 2, std::string("unknown escape \\") + c);
        }
      }
      out += c;
    }
    if (!take('"')) failAt(start, "the string is not closed");
    return xstring(out.c_str(), out.size());
  }

  xany parseNumber() {
    const size_t start = pos_;
    if (text_[pos_] == '-' || text_[pos_] == '+') ++pos_;
    bool real = false;
    while (pos_ < text_.size()) {
      const char c = text_[pos_];
      const bool sign =
          (c == '-' || c == '+') && (text_[pos_ - 1] == 'e' || text_[pos_ - 1] == 'E');
      if (c == '.' || c == 'e' || c == 'E' || sign) {
        real = true;
      } else if (!std::isdigit(static_cast<unsigned char>(c))) {
        break;
      }
      ++pos_;
    }
    const std::string digits = text_.substr(start, pos_ - start);
    char suffix = 0;
    if (!real && pos_ < text_.size() &&
        (text_[pos_] == 'L' || text_[pos_] == 'l' || text_[pos_] == 'b' || text_[pos_] == 's')) {
      suffix = text_[pos_++];
    }
    if (pos_ < text_.size() && IsNameChar(text_[pos_]))
      fail("unexpected " + describeHere() + " in a number");
    char* end = nullptr;
    errno = 0;
    if (real) {
      const double v = std::strtod(digits.c_str(), &end);
      if (errno != 0 || *end != '\0') failAt(start, "'" + digits + "' is no number");
      return xany(v);
    }
    const long long v = std::strtoll(digits.c_str(), &end, 10);
    if (errno != 0 || *end != '\0' || end == digits.c_str()) {
      failAt(start, "'" + digits + "' is no number or does not fit a long");
    }
    switch (suffix) {
      case 'L':
      case 'l':
        return xany(static_cast<xlong>(v));
      case 'b':
        return fitted<xbyte>(v, start, "a byte");
      case 's':
        return fitted<xshort>(v, start, "a short");
      default:
        return fitted<xint>(v, start, "an int (write 123L for a long)");
    }
  }

  template <class T>
  xany fitted(long long v, size_t at, const char* what) const {
    if (v < std::numeric_limits<T>::min() || v > std::numeric_limits<T>::max()) {
      failAt(at, std::to_string(v) + " does not fit " + what);
    }
    return xany(static_cast<T>(v));
  }

  xany parseList(const TypeRef* element, int depth, bool strings) {
    ++pos_;  // '['
    xrchandle<xanysequence> values(xanysequence::create());
    xrchandle<xstringsequence> texts(xstringsequence::create());
    skipSpace();
    if (!take(']')) {
      do {
        skipSpace();
        const size_t at = pos_;
        xany v = parseValue(element, depth + 1);
        if (strings) {
          if (v.getKind() != xany_string) failAt(at, "strings[...] holds strings only");
          texts->append(v.toString());
        } else {
          values->append(v);
        }
        skipSpace();
      } while (take(','));
      expect(']');
    }
    return strings ? xany(static_cast<xobject*>(texts.get()))
                   : xany(static_cast<xobject*>(values.get()));
  }

  xany parseObject(const std::string& type, size_t at, int depth) {
    const jexgen::Definition* d = IdlFind(type);
    if (d == nullptr) failAt(at, "unknown type '" + type + "': no description names it");
    if (d->kind == DefinitionKind::kException) {
      failAt(at, "'" + type + "' is an exception, which cannot be passed as a value");
    }
    if (d->kind == DefinitionKind::kInterface) {
      failAt(at, "'" + type + "' is an interface: write a proxy as @" + type + ":ID");
    }
    std::vector<xany> values;
    for (const jexgen::Field& f : d->fields) values.push_back(IdlDefaultValue(f.type));
    std::set<std::string> given;
    ++pos_;  // '{'
    skipSpace();
    if (!take('}')) {
      do {
        skipSpace();
        const size_t nameAt = pos_;
        const std::string name = takeWhile(IsNameChar);
        if (name.empty()) fail("expected a field name, found " + describeHere());
        size_t index = 0;
        while (index < d->fields.size() && d->fields[index].name != name) ++index;
        if (index == d->fields.size()) failAt(nameAt, type + " has no field '" + name + "'");
        if (!given.insert(name).second) failAt(nameAt, "the field '" + name + "' is given twice");
        skipSpace();
        expect('=');
        skipSpace();
        values[index] = parseValue(&d->fields[index].type, depth + 1);
        skipSpace();
      } while (take(','));
      expect('}');
    }
    return xany(IdlMakeObject(*d, std::move(values)));
  }

  xany parseProxy() {
    const size_t at = pos_++;
    const std::string type = takeWhile(IsNameChar);
    if (type.empty()) fail("expected an interface name after '@'");
    expect(':');
    xstring id;
    if (pos_ < text_.size() && text_[pos_] == '"') {
      id = parseQuoted();
    } else {
      const std::string word = takeWhile(IsWordChar);
      if (word.empty()) fail("expected the proxy's id, found " + describeHere());
      id = xstring(word.c_str(), word.size());
    }
    xrcunihandle<xobject> proxy = IdlMakeProxy(type, xstring(server_.c_str()), id);
    if (!proxy) failAt(at, "'" + type + "' is no interface");
    return xany(proxy.get());
  }

  // `value` as a value of `type`, converted where nothing is lost.
  xany coerce(const xany& value, const TypeRef& type, size_t at, int depth) const {
    const int kind = value.getKind();
    if (type.kind == TypeKind::kAny) return value;
    if (kind == xany_nil || (kind == xany_object && value.toObject() == nullptr)) {
      if (!IsObjectKind(type.kind)) mismatch(value, type, at);
      return type.kind == TypeKind::kString ? xany(xstring("")) : xany::Nil();
    }
    switch (type.kind) {
      case TypeKind::kBool:
        if (kind == xany_bool) return value;
        break;
      case TypeKind::kByte:
        if (IsInteger(value)) return fitted<xbyte>(IntegerOf(value), at, "a byte");
        break;
      case TypeKind::kShort:
        if (IsInteger(value)) return fitted<xshort>(IntegerOf(value), at, "a short");
        break;
      case TypeKind::kInt:
        if (IsInteger(value)) return fitted<xint>(IntegerOf(value), at, "an int");
        break;
      case TypeKind::kLong:
        if (IsInteger(value)) return xany(static_cast<xlong>(IntegerOf(value)));
        break;
      case TypeKind::kReal:
        if (kind == xany_real) return value;
        if (IsInteger(value)) return xany(static_cast<double>(IntegerOf(value)));
        break;
      case TypeKind::kString:
        if (kind == xany_string) return value;
        break;
      case TypeKind::kStringSequence:
        if (xstringsequence::softcast(ObjectOf(value)) != nullptr) return value;
        if (xanysequence* list = xanysequence::softcast(ObjectOf(value))) {
          return stringsOf(*list, value, type, at);
        }
        break;
      case TypeKind::kAnySequence:
        if (xanysequence::softcast(ObjectOf(value)) != nullptr) return value;
        break;
      case TypeKind::kList:
        return coerceList(value, type, at, depth);
      case TypeKind::kNamed:
        if (ObjectOf(value) != nullptr && ObjectOf(value)->getZubTypeName() == type.name.c_str()) {
          return value;
        }
        break;
      case TypeKind::kAny:
        break;
    }
    mismatch(value, type, at);
  }

  xany coerceList(const xany& value, const TypeRef& type, size_t at, int depth) const {
    if (type.element->kind == TypeKind::kString) {
      if (xstringsequence::softcast(ObjectOf(value)) != nullptr) return value;
      if (xanysequence* list = xanysequence::softcast(ObjectOf(value))) {
        return stringsOf(*list, value, type, at);
      }
      mismatch(value, type, at);
    }
    xanysequence* list = xanysequence::softcast(ObjectOf(value));
    if (list == nullptr) mismatch(value, type, at);
    xrchandle<xanysequence> out(xanysequence::create(list->getCount()));
    for (int32_t i = 0; i < list->getCount(); ++i) {
      out->append(coerce(list->getAt(i), *type.element, at, depth + 1));
    }
    return xany(static_cast<xobject*>(out.get()));
  }

  xany stringsOf(const xanysequence& list, const xany& value, const TypeRef& type,
                 size_t at) const {
    xrchandle<xstringsequence> out(xstringsequence::create(list.getCount()));
    for (int32_t i = 0; i < list.getCount(); ++i) {
      const xany e = list.getAt(i);
      if (e.getKind() != xany_string) mismatch(value, type, at);
      out->append(e.toString());
    }
    return xany(static_cast<xobject*>(out.get()));
  }

  [[noreturn]] void mismatch(const xany& value, const TypeRef& type, size_t at) const {
    failAt(at, "expected " + type.spelling() + ", got " + KindText(value));
  }

  const std::string& text_;
  const std::string& server_;
  const LiteralLimits& limits_;
  size_t pos_ = 0;
};

}  // namespace

xany ParseLiteral(const std::string& text, const std::string& server, const TypeRef* expected,
                  const LiteralLimits& limits) {
  return Parser(text, server, limits).parseAll(expected);
}

}  // namespace jextools
