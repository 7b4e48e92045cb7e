#include "value_classes.h"

#include <string>
#include <vector>

#include "cpp_types.h"

namespace jexgen {

namespace {

// The first string field of an exception, whose value is its description; null for none.
const Field* DescriptionField(const Definition& d) {
  for (const Field& f : d.fields) {
    if (f.type.kind == TypeKind::kString) return &f;
  }
  return nullptr;
}

class ValueClassEmitter {
 public:
  explicit ValueClassEmitter(EmitOutput& out) : out_(out) {}

  void run(const Definition& d) {
    const bool isException = d.kind == DefinitionKind::kException;
    const std::string base = isException ? "zubXException" : "xobject";
    std::string about = std::string(isException ? "exception " : "struct ") + d.name +
                        " (type name \"" + d.name +
                        "\"): its \"bins11n\" contents are its fields in declaration order.";
    if (isException) {
      const Field* text = DescriptionField(d);
      about +=
          " A server raises it with Throw(); it travels as the fault's detail and the host's "
          "call raises it. Its description (the fault's text) is " +
          (text ? "the field " + text->name : std::string("its type name")) +
          ", taken when it is made or read.";
    }
    std::string h = comment(about) + "class " + out_.exportMacro + " " + d.name + " : public " +
                    base + " {\n  XOBJECT_DECLARE_RTTI(" + out_.exportMacro + ")\n public:\n  " +
                    d.name + "();\n";
    if (!d.fields.empty()) {
      h += "  " + std::string(d.fields.size() == 1 ? "explicit " : "") + d.name + "(" +
           fieldParams(d) + ");\n";
    }
    h += "  ~" + d.name + "() override;\n\n" + softcastDeclaration(d.name) +
         "  // The contents on the wire.\n"
         "  static void write(zubSerializer& out, const " +
         d.name +
         "& value);\n"
         "  static void read(zubDeserializer& in, " +
         d.name + "& value);\n";
    if (isException) {
      h += "  // Raises a new " + d.name +
           " with these fields. Never returns.\n"
           "  [[noreturn]] static void Throw(" +
           fieldParams(d) + ");\n";
    }
    h += "\n";
    for (const Field& f : d.fields) {
      h += "  " + cppType(f.type, Side::kValue) + " " + f.name + cppDefault(f.type) + ";\n";
    }
    out_.declarations += h + "};\n";
    valueClassBody(d, base);
  }

  std::string fieldParams(const Definition& d) const {
    std::string s;
    for (size_t i = 0; i < d.fields.size(); ++i) {
      s += (i ? ", " : "") + cppParam(d.fields[i].type, Side::kValue, d.fields[i].name);
    }
    return s;
  }

  void valueClassBody(const Definition& d, const std::string& base) {
    const bool isException = d.kind == DefinitionKind::kException;
    const Field* text = isException ? DescriptionField(d) : nullptr;
    std::string& b = out_.definitions;
    b += "\nXOBJECT_DEFINE_RTTI(" + d.name + ", " + quoted(d.name) + ", " + base + ")\n\n";
    if (isException) {
      b += d.name + "::" + d.name + "() : zubXException(" + (text ? "\"\"" : quoted(d.name)) +
           ") {}\n";
    } else {
      b += d.name + "::" + d.name + "() = default;\n";
    }
    if (!d.fields.empty()) {
      std::vector<std::string> inits;
      if (isException) {
        inits.push_back("zubXException(" + (text ? text->name + ".c_str()" : quoted(d.name)) + ")");
      }
      for (const Field& f : d.fields) inits.push_back(f.name + "(" + f.name + ")");
      b += d.name + "::" + d.name + "(" + fieldParams(d) + ")\n    : ";
      for (size_t i = 0; i < inits.size(); ++i) b += (i ? ", " : "") + inits[i];
      b += " {}\n";
    }
    b += d.name + "::~" + d.name + "() = default;\n\n";
    b += softcastDefinition(d.name) + "\n";
    const std::string out = d.fields.empty() ? "" : " out";
    const std::string in = d.fields.empty() ? "" : " in";
    const std::string value = d.fields.empty() && !text ? "" : " value";
    b += "void " + d.name + "::write(zubSerializer&" + out + ", const " + d.name + "&" + value +
         ") {\n";
    for (const Field& f : d.fields) b += writeField(f);
    b += "}\n\nvoid " + d.name + "::read(zubDeserializer&" + in + ", " + d.name + "&" + value +
         ") {\n";
    for (const Field& f : d.fields) b += readField(d, f);
    if (text) {
      b += "  value.setDescription(xstring(value." + text->name + ".c_str(), value." + text->name +
           ".size()));\n";
    }
    b += "}\n";
    if (isException) {
      std::string args;
      for (size_t i = 0; i < d.fields.size(); ++i) args += (i ? ", " : "") + d.fields[i].name;
      b += "\nvoid " + d.name + "::Throw(" + fieldParams(d) + ") { xthrow(new " + d.name + "(" +
           args + ")); }\n";
    }
  }

  std::string writeField(const Field& f) {
    const std::string v = "value." + f.name;
    switch (f.type.kind) {
      case TypeKind::kBool:
        return "  out.writeBool(" + v + " ? 1 : 0);\n";
      case TypeKind::kByte:
        return "  out.writeByte(" + v + ");\n";
      case TypeKind::kShort:
        return "  out.writeShort(" + v + ");\n";
      case TypeKind::kInt:
        return "  out.writeInt(" + v + ");\n";
      case TypeKind::kLong:
        return "  out.writeLong(" + v + ");\n";
      case TypeKind::kReal:
        return "  out.writeReal(" + v + ");\n";
      case TypeKind::kString:
        return "  out.writeString(xstring(" + v + ".c_str(), " + v + ".size()));\n";
      case TypeKind::kAny:
        return "  out.writeAny(" + v + ");\n";
      default:
        return "  out.writeObject(" + out_.conversions.toAny(f.type, Side::kValue) + "(" + v +
               ").toObject());\n";
    }
  }

  std::string readField(const Definition& d, const Field& f) {
    const std::string v = "value." + f.name;
    switch (f.type.kind) {
      case TypeKind::kBool:
        return "  {\n    xbool b = 0;\n    in.readBool(b);\n    " + v +
               " = b != 0 && b != XBOOL_NIL;\n  }\n";
      case TypeKind::kByte:
        return "  in.readByte(" + v + ");\n";
      case TypeKind::kShort:
        return "  in.readShort(" + v + ");\n";
      case TypeKind::kInt:
        return "  in.readInt(" + v + ");\n";
      case TypeKind::kLong:
        return "  in.readLong(" + v + ");\n";
      case TypeKind::kReal:
        return "  in.readReal(" + v + ");\n";
      case TypeKind::kString:
        return "  {\n    xstring s;\n    in.readString(s);\n    " + v +
               ".assign(s.CastToCString(), s.GetMBSize());\n  }\n";
      case TypeKind::kAny:
        return "  in.readAny(" + v + ");\n";
      default:
        return "  {\n    xobject* o = nullptr;\n    in.readObject(o);\n    " + v + " = " +
               out_.conversions.fromAny(f.type, Side::kValue) + "(xany(o), \"the field " + f.name +
               " of " + d.name + "\");\n  }\n";
    }
  }

 private:
  EmitOutput& out_;
};

}  // namespace

void emitValueClass(const Definition& d, EmitOutput& out) { ValueClassEmitter(out).run(d); }

}  // namespace jexgen
