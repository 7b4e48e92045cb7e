#include "interface_classes.h"

#include <string>

#include "cpp_types.h"
#include "names.h"

namespace jexgen {

namespace {

// The namespace (inside the anonymous one) of an interface's method descriptions and
// the skeleton's target check. Descriptions' names never begin with "jex_", so nothing
// else of the generated code begins with "jex_i_".
std::string interfaceSpace(const Definition& d) { return "jex_i_" + d.name; }

class InterfaceEmitter {
 public:
  explicit InterfaceEmitter(EmitOutput& out) : out_(out) {}

  void run(const Definition& d) {
    methodDescriptions(d);
    proxyCode(d);
    if (!out_.clientOnly) skeletonCode(d);
  }

  void methodDescriptions(const Definition& d) {
    out_.helpers += "\nnamespace " + interfaceSpace(d) + " {\n";
    std::string params;
    for (const Method& m : d.methods) {
      if (m.params.empty()) continue;
      params += "const char* const " + m.name + "[] = {";
      for (const Field& p : m.params) params += quoted(p.name) + ", ";
      params += "nullptr};\n";
    }
    if (!params.empty())
      out_.helpers += "namespace jex_params {\n" + params + "}  // namespace jex_params\n";
    for (const Method& m : d.methods) {
      const std::string rtti = m.hasResult ? out_.conversions.rttiOf(m.result) : "nullptr";
      out_.helpers += "// " + signature(m) + "\nconst zubSupportMethod " + m.name + " = {" +
                      quoted(d.name) + ", " + quoted(m.name) + ", " + rtti + ", " +
                      (m.params.empty() ? "nullptr" : "jex_params::" + m.name) + ", " +
                      (m.oneWay ? "true" : "false") + "};\n";
    }
    if (!out_.clientOnly && !d.methods.empty()) {
      const std::string cls = skeletonClass(d);
      out_.helpers += "\n// The target of a call of `method`, which must be a " + cls + ".\n" +
                      cls +
                      "& jex_self(xobject* target, const char* method) {\n"
                      "  " +
                      cls + "* self = " + cls +
                      "::softcast(target);\n"
                      "  if (self == nullptr) {\n"
                      "    const std::string text = std::string(method) + \": the target is no " +
                      cls +
                      "\";\n"
                      "    zubXSerialization::Throw(text.c_str(), xrchandle<zubXException>());\n"
                      "  }\n  return *self;\n}\n";
    }
    out_.helpers += "}  // namespace " + interfaceSpace(d) + "\n";
  }

  std::string methodParams(const Method& m, Side side) const {
    std::string s;
    for (size_t i = 0; i < m.params.size(); ++i) {
      s += (i ? ", " : "") + cppParam(m.params[i].type, side, m.params[i].name);
    }
    return s;
  }

  std::string resultType(const Method& m, Side side) const {
    return m.hasResult ? cppType(m.result, side) : "void";
  }

  void proxyCode(const Definition& d) {
    const std::string cls = proxyClass(d);
    std::string h =
        comment("A proxy of a remote \"" + d.name +
                "\" (its type name). Made by the type's descriptor (getRootObject, results "
                "and fields of this type) and bound to its server and id; call its methods "
                "through a handle that holds it. Each method makes one call through a pooled "
                "client of the proxy's server and raises what zubJexClient::makeCall raises, and "
                "a zubXSerialization when the server answers a value of another type than the "
                "method's result.") +
        rttiClassHead(out_, cls, "zubSupportProxy");
    out_.definitions += "\nXOBJECT_DEFINE_RTTI(" + cls + ", " + quoted(d.name) + ", xobject)\n\n" +
                        softcastDefinition(cls);
    for (const Method& m : d.methods) {
      h += "\n  // " + signature(m) + "\n  " + resultType(m, Side::kClient) + " " + m.name + "(" +
           methodParams(m, Side::kClient) + ");\n";
      proxyMethodBody(d, m);
    }
    out_.declarations += h + "};\n";
  }

  void proxyMethodBody(const Definition& d, const Method& m) {
    const std::string cls = proxyClass(d);
    std::string& b = out_.definitions;
    b += "\n" + resultType(m, Side::kClient) + " " + cls + "::" + m.name + "(" +
         methodParams(m, Side::kClient) +
         ") {\n"
         "  xrchandle<xanysequence> jex_params(xanysequence::create(" +
         std::to_string(m.params.size() + 1) +
         "));\n"
         "  jex_params->append(xany(static_cast<xobject*>(this)));\n";
    for (const Field& p : m.params) {
      b += "  jex_params->append(" + out_.conversions.toAny(p.type, Side::kClient) + "(" + p.name +
           "));\n";
    }
    b += "  zubJexCall jex_call;\n  zubSupportFillCall(" + methodDescriptionName(d, m) +
         ", jex_call, std::move(jex_params));\n"
         "  zubJexClient* jex_client =\n      "
         "zubJexClient::getInstance(this->getServerUrl().CastToCString());\n";
    if (m.hasResult) {
      b += "  return " + out_.conversions.fromAny(m.result, Side::kClient) +
           "(jex_client->makeCall(&jex_call), \"JEX Client Error: the result of " + d.name + ":" +
           m.name + "\");\n";
    } else {
      b += "  jex_client->makeVoidCall(&jex_call);\n";
    }
    b += "}\n";
  }

  void skeletonCode(const Definition& d) {
    const std::string cls = skeletonClass(d);
    std::string h =
        comment("The base of a server's \"" + d.name +
                "\" objects (its type name, so that an object returned by a call travels as a " +
                d.name +
                " proxy). The handlers of methodTable() check the kind of every parameter (a "
                "wrong one is answered with a fault) and call these methods, possibly on several "
                "threads at once.") +
        rttiClassHead(out_, cls, "xobject");
    for (const Method& m : d.methods) {
      h += "\n  // " + signature(m) + "\n  virtual " + resultType(m, Side::kServer) + " " + m.name +
           "(" + methodParams(m, Side::kServer) + ") = 0;\n";
    }
    h += "\n  // The handlers of the remote methods, for zubJexDispatcher::addInterface.\n"
         "  static zubJexMethodTable methodTable();\n"
         "  // Adds \"" +
         d.name +
         "\" with methodTable() to the dispatcher.\n"
         "  static void serve(zubJexDispatcher& dispatcher);\n"
         "  // As above, and publishes `root` (kept by the dispatcher's object map) under\n"
         "  // `rootId` as the target of calls without \"this\".\n"
         "  static void serve(zubJexDispatcher& dispatcher, " +
         cls + "* root, const std::string& rootId);\n";
    out_.declarations += h + "};\n";
    skeletonBody(d);
  }

  void skeletonBody(const Definition& d) {
    const std::string cls = skeletonClass(d);
    std::string& b = out_.definitions;
    b += "\nXOBJECT_DEFINE_RTTI(" + cls + ", " + quoted(d.name) + ", xobject)\n\n" +
         softcastDefinition(cls) +
         "\n"
         "zubJexMethodTable " +
         cls + "::methodTable() {\n  zubJexMethodTable jex_table;\n";
    for (const Method& m : d.methods) b += handler(d, m);
    b += "  return jex_table;\n}\n\n"
         "void " +
         cls +
         "::serve(zubJexDispatcher& dispatcher) {\n"
         "  dispatcher.addInterface(" +
         quoted(d.name) +
         ", methodTable());\n}\n\n"
         "void " +
         cls + "::serve(zubJexDispatcher& dispatcher, " + cls +
         "* root, const std::string& rootId) {\n"
         "  serve(dispatcher);\n  dispatcher.setRootObject(root, rootId);\n}\n";
  }

  std::string handler(const Definition& d, const Method& m) {
    const std::string call = d.name + ":" + m.name;
    std::string h = "  jex_table.add(" + quoted(m.name) + ", [](xobject* jex_target, zubJexCall&" +
                    (m.params.empty() ? "" : " jex_call") +
                    ") -> xany {\n"
                    "    " +
                    skeletonClass(d) + "& jex_self = " + interfaceSpace(d) +
                    "::jex_self(jex_target, " + quoted(call) + ");\n";
    std::string args;
    for (const Field& p : m.params) {
      h += "    const " + cppType(p.type, Side::kServer) + " " + p.name + " = " +
           out_.conversions.fromAny(p.type, Side::kServer) + "(jex_call.getParamByName(" +
           quoted(p.name) + "), \"the parameter " + p.name + " of " + call + "\");\n";
      args += (args.empty() ? "" : ", ") + p.name;
    }
    const std::string invoke = "jex_self." + m.name + "(" + args + ")";
    if (m.hasResult) {
      h += "    return " + out_.conversions.toAny(m.result, Side::kServer) + "(" + invoke + ");\n";
    } else {
      h += "    " + invoke + ";\n    return xany();\n";
    }
    return h + "  });\n";
  }

 private:
  EmitOutput& out_;
};

}  // namespace

std::string methodDescriptionName(const Definition& d, const Method& m) {
  return interfaceSpace(d) + "::" + m.name;
}

void emitInterface(const Definition& d, EmitOutput& out) { InterfaceEmitter(out).run(d); }

}  // namespace jexgen
