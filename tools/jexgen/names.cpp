#include "names.h"

#include <cctype>
#include <set>

namespace jexgen {

bool isCppKeyword(const std::string& name) {
  static const std::set<std::string> kKeywords = {"alignas",      "alignof",
                                                  "and",          "and_eq",
                                                  "asm",          "auto",
                                                  "bitand",       "bitor",
                                                  "bool",         "break",
                                                  "case",         "catch",
                                                  "char",         "char16_t",
                                                  "char32_t",     "class",
                                                  "compl",        "const",
                                                  "constexpr",    "const_cast",
                                                  "continue",     "decltype",
                                                  "default",      "delete",
                                                  "do",           "double",
                                                  "dynamic_cast", "else",
                                                  "enum",         "explicit",
                                                  "export",       "extern",
                                                  "false",        "float",
                                                  "for",          "friend",
                                                  "goto",         "if",
                                                  "inline",       "int",
                                                  "long",         "mutable",
                                                  "namespace",    "new",
                                                  "noexcept",     "not",
                                                  "not_eq",       "nullptr",
                                                  "operator",     "or",
                                                  "or_eq",        "private",
                                                  "protected",    "public",
                                                  "register",     "reinterpret_cast",
                                                  "return",       "short",
                                                  "signed",       "sizeof",
                                                  "static",       "static_assert",
                                                  "static_cast",  "struct",
                                                  "switch",       "template",
                                                  "this",         "thread_local",
                                                  "throw",        "true",
                                                  "try",          "typedef",
                                                  "typeid",       "typename",
                                                  "union",        "unsigned",
                                                  "using",        "virtual",
                                                  "void",         "volatile",
                                                  "wchar_t",      "while",
                                                  "xor",          "xor_eq",
                                                  "char8_t",      "concept",
                                                  "consteval",    "constinit",
                                                  "co_await",     "co_return",
                                                  "co_yield",     "requires",
                                                  "final",        "override",
                                                  "std"};
  return kKeywords.count(name) != 0;
}

bool isReservedName(const std::string& name) {
  static const std::set<std::string> kUsed = {
      "xobject",      "xany",    "xstring", "xrtti",   "xrttiobject", "xthrowable", "xrchandle",
      "xrcunihandle", "xint",    "xlong",   "xbyte",   "xshort",      "xbool",      "xreal",
      "int8_t",       "int16_t", "int32_t", "int64_t", "size_t",      "uintptr_t"};
  auto startsWith = [&](const char* p) { return name.rfind(p, 0) == 0; };
  return kUsed.count(name) != 0 || startsWith("zub") || startsWith("btk") || startsWith("jex_");
}

std::string proxyClass(const Definition& d) { return d.name + "Proxy"; }
std::string skeletonClass(const Definition& d) { return d.name + "Skeleton"; }

std::string fileStem(const std::string& path) {
  const size_t slash = path.find_last_of('/');
  std::string stem = slash == std::string::npos ? path : path.substr(slash + 1);
  const std::string ext = ".jex";
  if (stem.size() > ext.size() && stem.compare(stem.size() - ext.size(), ext.size(), ext) == 0) {
    stem.resize(stem.size() - ext.size());
  }
  return stem;
}

std::string lowerCamel(const std::string& stem) {
  std::string out;
  bool upper = false;
  for (char c : stem) {
    if (!std::isalnum(static_cast<unsigned char>(c))) {
      upper = !out.empty();
      continue;
    }
    if (out.empty() && std::isdigit(static_cast<unsigned char>(c))) out += "jex";
    out += upper ? static_cast<char>(std::toupper(static_cast<unsigned char>(c))) : c;
    upper = false;
  }
  return out.empty() ? "jex" : out;
}

std::string macroName(const std::string& stem) {
  std::string out;
  for (char c : stem) {
    out += std::isalnum(static_cast<unsigned char>(c))
               ? static_cast<char>(std::toupper(static_cast<unsigned char>(c)))
               : '_';
  }
  if (out.empty() || std::isdigit(static_cast<unsigned char>(out[0]))) out = "JEX_" + out;
  return out;
}

}  // namespace jexgen
