#include "cpp_types.h"

#include "names.h"

namespace jexgen {

namespace {

const char* NumberType(TypeKind k) {
  switch (k) {
    case TypeKind::kBool:
      return "bool";
    case TypeKind::kByte:
      return "int8_t";
    case TypeKind::kShort:
      return "int16_t";
    case TypeKind::kInt:
      return "int32_t";
    case TypeKind::kLong:
      return "int64_t";
    case TypeKind::kReal:
      return "double";
    default:
      return nullptr;
  }
}

// The xany kind and conversion of a number type.
struct NumberKind {
  const char* kind;
  const char* convert;
};

NumberKind NumberKindOf(TypeKind k) {
  switch (k) {
    case TypeKind::kByte:
      return {"xany_byte", "toByte"};
    case TypeKind::kShort:
      return {"xany_short", "toShort"};
    case TypeKind::kInt:
      return {"xany_int", "toInt"};
    case TypeKind::kLong:
      return {"xany_long", "toLong"};
    case TypeKind::kReal:
      return {"xany_real", "toReal"};
    default:
      return {"xany_bool", "toBool"};
  }
}

std::string InterfaceClass(const Definition& d, Side side) {
  switch (side) {
    case Side::kClient:
      return proxyClass(d);
    case Side::kServer:
      return skeletonClass(d);
    default:
      return "xobject";
  }
}

// A name fragment that tells the conversions of `t` on `side` apart. The prefixes make
// it one-to-one: a description's names may contain "_" but are never keywords.
std::string Mangle(const TypeRef& t, Side side) {
  switch (t.kind) {
    case TypeKind::kList:
      return "list_" + Mangle(*t.element, side);
    case TypeKind::kNamed:
      if (t.target->kind != DefinitionKind::kInterface) return "s_" + t.name;
      return (side == Side::kClient ? "ip_" : side == Side::kServer ? "is_" : "io_") + t.name;
    default:
      return t.spelling();
  }
}

std::string Quoted(const std::string& s) { return "\"" + s + "\""; }

}  // namespace

std::string cppType(const TypeRef& t, Side side) {
  if (const char* number = NumberType(t.kind)) return number;
  switch (t.kind) {
    case TypeKind::kString:
      return "std::string";
    case TypeKind::kAny:
      return "xany";
    case TypeKind::kStringSequence:
      return "xrchandle<xstringsequence>";
    case TypeKind::kAnySequence:
      return "xrchandle<xanysequence>";
    case TypeKind::kList:
      return "std::vector<" + cppType(*t.element, side) + ">";
    default:
      if (t.target->kind == DefinitionKind::kInterface) {
        return "xrchandle<" + InterfaceClass(*t.target, side) + ">";
      }
      return "xrchandle<" + t.name + ">";
  }
}

std::string cppParam(const TypeRef& t, Side side, const std::string& name) {
  if (isNumber(t)) return cppType(t, side) + " " + name;
  return "const " + cppType(t, side) + "& " + name;
}

std::string cppDefault(const TypeRef& t) {
  if (t.kind == TypeKind::kBool) return " = false";
  return isNumber(t) ? " = 0" : "";
}

bool isNumber(const TypeRef& t) { return NumberType(t.kind) != nullptr; }

bool isObjectType(const TypeRef& t) {
  return t.kind == TypeKind::kStringSequence || t.kind == TypeKind::kAnySequence ||
         t.kind == TypeKind::kList || t.kind == TypeKind::kNamed;
}

void Conversions::add(const std::string& name, const std::string& code) {
  names_.insert(name);
  functions_.push_back({name, code});
}

std::string Conversions::toAny(const TypeRef& t, Side side) {
  const std::string name = "jex_toAny_" + Mangle(t, side);
  if (has(name)) return name;
  std::string body;
  if (t.kind == TypeKind::kBool) {
    body = "  return xany(static_cast<xbool>(v ? 1 : 0));\n";
  } else if (isNumber(t) || t.kind == TypeKind::kAny) {
    body = "  return xany(v);\n";
  } else if (t.kind == TypeKind::kString) {
    body = "  return xany(xstring(v.c_str(), v.size()));\n";
  } else if (t.kind == TypeKind::kList && t.element->kind == TypeKind::kString) {
    body =
        "  xrchandle<xstringsequence> "
        "seq(xstringsequence::create(static_cast<int32_t>(v.size())));\n"
        "  for (const std::string& e : v) seq->append(xstring(e.c_str(), e.size()));\n"
        "  return xany(static_cast<xobject*>(seq.get()));\n";
  } else if (t.kind == TypeKind::kList) {
    const std::string element = toAny(*t.element, side);
    body =
        "  xrchandle<xanysequence> seq(xanysequence::create(static_cast<int32_t>(v.size())));\n"
        "  for (const auto& e : v) seq->append(" +
        element +
        "(e));\n"
        "  return xany(static_cast<xobject*>(seq.get()));\n";
  } else {
    body = "  return xany(static_cast<xobject*>(v.get()));\n";
  }
  add(name, "xany " + name + "(" + cppParam(t, side, "v") + ") {\n" + body + "}\n");
  return name;
}

std::string Conversions::fromAny(const TypeRef& t, Side side) {
  const std::string name = "jex_fromAny_" + Mangle(t, side);
  if (has(name)) return name;
  const std::string type = cppType(t, side);
  const std::string expected = Quoted(t.spelling());
  const std::string wrong = "  jex_wrongKind(what, depth, " + expected + ", v);\n";
  std::string body;
  if (t.kind == TypeKind::kAny) {
    body = "  (void)what;\n  (void)depth;\n  return v;\n";
  } else if (t.kind == TypeKind::kBool) {
    body = "  if (v.isnil()) return false;\n  if (v.getKind() != xany_bool)" + wrong.substr(1) +
           "  return v.toBool() != 0;\n";
  } else if (isNumber(t)) {
    const NumberKind k = NumberKindOf(t.kind);
    body = std::string("  if (v.getKind() != ") + k.kind + " && !v.isnil())" + wrong.substr(1) +
           "  return v." + k.convert + "();\n";
  } else if (t.kind == TypeKind::kString) {
    body = "  if (v.isnil()) return std::string();\n  if (v.getKind() != xany_string)" +
           wrong.substr(1) + "  return std::string(v.stringText(), v.stringSize());\n";
  } else {
    body = "  if (v.isnil()) return " + type + "();\n";
    std::string cast;
    if (t.kind == TypeKind::kStringSequence || t.kind == TypeKind::kAnySequence) {
      cast = t.spelling() + "::softcast(o)";
    } else if (t.kind == TypeKind::kList) {
      cast =
          std::string(t.element->kind == TypeKind::kString ? "xstringsequence" : "xanysequence") +
          "::softcast(o)";
    } else if (t.target->kind != DefinitionKind::kInterface) {
      cast = t.name + "::softcast(o)";
    } else if (side == Side::kValue) {
      cast = "o != nullptr && o->getZubTypeName() == " + Quoted(t.name) + " ? o : nullptr";
    } else {
      cast = InterfaceClass(*t.target, side) + "::softcast(o)";
    }
    body +=
        "  xobject* o = v.getKind() == xany_object ? v.toObject() : nullptr;\n"
        "  auto* typed = " +
        cast +
        ";\n"
        "  if (typed == nullptr)" +
        wrong.substr(1);
    if (t.kind != TypeKind::kList) {
      body += "  return " + type + "(typed);\n";
    } else if (t.element->kind == TypeKind::kString) {
      body += "  " + type +
              " out;\n"
              "  for (int32_t i = 0; i < typed->getCount(); ++i) {\n"
              "    xstring e = typed->getAt(i);\n"
              "    out.emplace_back(e.CastToCString(), e.GetMBSize());\n"
              "  }\n"
              "  return out;\n";
    } else {
      const std::string element = fromAny(*t.element, side);
      body += "  " + type +
              " out;\n"
              "  for (int32_t i = 0; i < typed->getCount(); ++i) {\n"
              "    out.push_back(" +
              element +
              "(typed->getAt(i), what, depth + 1));\n"
              "  }\n"
              "  return out;\n";
    }
  }
  if (t.kind != TypeKind::kAny && !wrongKindNeeded_) {
    wrongKindNeeded_ = true;
    add("jex_wrongKind",
        "// A short description of a value's kind, for error messages.\n"
        "std::string jex_kindText(const xany& v) {\n"
        "  static const char* const kKinds[] = {\"uninit\", \"nil\",    \"an int\",  \"a long\",\n"
        "                                       \"a byte\", \"a short\", \"a bool\",  \"a real\",\n"
        "                                       \"a string\", \"an enum\"};\n"
        "  const int kind = v.getKind();\n"
        "  if (kind == xany_object) {\n"
        "    xstring type = v.toObject()->getZubTypeName();\n"
        "    return std::string(\"an object of type \") + type.CastToCString();\n"
        "  }\n"
        "  return kind >= 0 && kind <= xany_enum ? kKinds[kind] : \"an unknown kind\";\n"
        "}\n"
        "\n"
        "// Raises a zubXSerialization \"<what>[, an element[ of an element...]]: expected\n"
        "// <expected>, got <kind>\" (`depth` lists deep). The client's own errors end with a\n"
        "// full stop and are written to standard error in one line, as the client's are.\n"
        "[[noreturn]] void jex_wrongKind(const char* what, int depth, const char* expected,\n"
        "                                const xany& v) {\n"
        "  std::string text = what;\n"
        "  for (int i = 0; i < depth; ++i) text += i == 0 ? \", an element\" : \" of an "
        "element\";\n"
        "  text += std::string(\": expected \") + expected + \", got \" + jex_kindText(v);\n"
        "  if (text.rfind(\"JEX Client Error: \", 0) == 0) {\n"
        "    text += \".\";\n"
        "    const std::string line = text + \"\\n\";\n"
        "    std::fwrite(line.data(), 1, line.size(), stderr);\n"
        "    std::fflush(stderr);\n"
        "  }\n"
        "  zubXSerialization::Throw(text.c_str(), xrchandle<zubXException>());\n"
        "}\n");
  }
  add(name,
      type + " " + name + "(const xany& v, const char* what, int depth = 0) {\n" + body + "}\n");
  return name;
}

std::string Conversions::rttiOf(const TypeRef& t) {
  switch (t.kind) {
    case TypeKind::kBool:
      return "&zubGetRtti_bool";
    case TypeKind::kByte:
      return "&zubGetRtti_byte";
    case TypeKind::kShort:
      return "&zubGetRtti_short";
    case TypeKind::kInt:
      return "&zubGetRtti_int";
    case TypeKind::kLong:
      return "&zubGetRtti_long";
    case TypeKind::kReal:
      return "&zubGetRtti_real";
    case TypeKind::kString:
      return "&zubGetRtti_string";
    case TypeKind::kAny:
      return "&zubGetRtti_any";
    default:
      break;
  }
  std::string cls;
  if (t.kind == TypeKind::kStringSequence ||
      (t.kind == TypeKind::kList && t.element->kind == TypeKind::kString)) {
    cls = "xstringsequence";
  } else if (t.kind == TypeKind::kAnySequence || t.kind == TypeKind::kList) {
    cls = "xanysequence";
  } else {
    cls = t.target->kind == DefinitionKind::kInterface ? proxyClass(*t.target) : t.name;
  }
  const std::string name = "jex_rtti_" + cls;
  if (!has(name)) add(name, "xrtti* " + name + "() { return " + cls + "::getClassRtti(); }\n");
  return "&" + name;
}

std::string Conversions::definitions() const {
  std::string out;
  for (const Function& f : functions_) out += "\n" + f.code;
  return out;
}

}  // namespace jexgen
