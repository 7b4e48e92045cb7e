#include "checker.h"

#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "names.h"

namespace jexgen {

namespace {

// Members that the generated classes declare or inherit, by kind of class.
const std::set<std::string> kObjectMembers = {
    "getClassRtti",   "getRtti",  "softcast",  "castByRtti", "isRefCountable",
    "getZubTypeName", "isKindOf", "attachRef", "releaseRef", "refCount"};
const std::set<std::string> kValueMembers = {"write", "read"};
const std::set<std::string> kExceptionMembers = {"getDescription", "setDescription", "getCause",
                                                 "cast", "Throw"};
const std::set<std::string> kInterfaceMembers = {"identity", "getServerUrl", "getProxyId",
                                                 "methodTable", "serve"};

class Checker {
 public:
  explicit Checker(Document& doc) : doc_(doc) {}

  Diagnostics run() {
    collectNames();
    for (Definition& d : doc_.definitions) checkDefinition(d);
    return errors_;
  }

 private:
  void error(Location where, const std::string& message) { errors_.push_back({where, message}); }

  std::string where(Location l) const {
    return std::to_string(l.line) + ":" + std::to_string(l.column);
  }

  // A name that becomes a C++ identifier of the generated code.
  bool checkIdentifier(const std::string& name, Location at) {
    if (isCppKeyword(name)) {
      error(at, "'" + name + "' is a C++ keyword");
      return false;
    }
    if (isReservedName(name)) {
      error(at, "'" + name + "' is reserved for the framework and the generated code");
      return false;
    }
    return true;
  }

  // Records each definition's name and the C++ classes it generates.
  void collectNames() {
    for (Definition& d : doc_.definitions) {
      if (!checkIdentifier(d.name, d.where)) continue;
      std::vector<std::pair<std::string, std::string>> names = {{d.name, ""}};
      if (d.kind == DefinitionKind::kInterface) {
        names.push_back({proxyClass(d), "the proxy class of '" + d.name + "'"});
        names.push_back({skeletonClass(d), "the skeleton class of '" + d.name + "'"});
      }
      for (const auto& n : names) {
        auto found = classes_.find(n.first);
        if (found != classes_.end()) {
          const std::string what = found->second.role.empty()
                                       ? "first defined at " + where(found->second.where)
                                       : found->second.role;
          error(d.where, "duplicate name '" + n.first + "' (" + what + ")");
        } else {
          classes_[n.first] = {n.second, d.where};
        }
      }
      if (!definitions_.count(d.name)) definitions_[d.name] = &d;
    }
  }

  void checkDefinition(Definition& d) {
    std::set<std::string> reserved = kObjectMembers;
    if (d.kind == DefinitionKind::kInterface) {
      reserved.insert(kInterfaceMembers.begin(), kInterfaceMembers.end());
    } else {
      reserved.insert(kValueMembers.begin(), kValueMembers.end());
    }
    if (d.kind == DefinitionKind::kException) {
      reserved.insert(kExceptionMembers.begin(), kExceptionMembers.end());
    }
    checkFields(d.fields, "field", "'" + d.name + "'", reserved);
    std::map<std::string, Location> seen;
    for (Method& m : d.methods) {
      if (checkMember(m.name, m.where, reserved) && !seen.emplace(m.name, m.where).second) {
        error(m.where, "duplicate method '" + m.name + "' in '" + d.name + "'");
      }
      checkMethod(d, m);
    }
  }

  // A field or method name: an identifier that is neither a type of the file nor a
  // member of the generated class.
  bool checkMember(const std::string& name, Location at, const std::set<std::string>& reserved) {
    if (!checkIdentifier(name, at)) return false;
    if (definitions_.count(name) || classes_.count(name)) {
      error(at, "'" + name + "' names a type of the file");
      return false;
    }
    if (reserved.count(name)) {
      error(at, "'" + name + "' is a member of the generated class");
      return false;
    }
    return true;
  }

  void checkFields(std::vector<Field>& fields, const char* what, const std::string& owner,
                   const std::set<std::string>& reserved) {
    std::set<std::string> seen;
    for (Field& f : fields) {
      checkValueType(f.type);
      if (checkMember(f.name, f.where, reserved) && !seen.insert(f.name).second) {
        error(f.where, std::string("duplicate ") + what + " '" + f.name + "' in " + owner);
      }
    }
  }

  void checkMethod(const Definition& d, Method& m) {
    const std::string owner = "'" + d.name + ":" + m.name + "'";
    checkFields(m.params, "parameter", owner, {});
    if (m.hasResult) checkValueType(m.result);
    if (m.oneWay && m.hasResult) {
      error(m.where, "oneway method " + owner + " cannot return a result");
    }
    if (m.oneWay && !m.raises.empty()) {
      error(m.where, "oneway method " + owner + " cannot declare exceptions");
    }
    for (TypeRef& t : m.raises) {
      if (resolve(t) && t.target->kind != DefinitionKind::kException) {
        error(t.where, "'" + t.name + "' in the throws list of " + owner + " is no exception");
      }
    }
  }

  // A type that values may have: anything but an exception.
  void checkValueType(TypeRef& t) {
    if (t.kind == TypeKind::kList) {
      checkValueType(*t.element);
      return;
    }
    if (t.kind != TypeKind::kNamed || !resolve(t)) return;
    if (t.target->kind == DefinitionKind::kException) {
      error(t.where, "exception '" + t.name + "' can only be raised, not passed as a value");
    }
  }

  bool resolve(TypeRef& t) {
    auto found = definitions_.find(t.name);
    if (found == definitions_.end()) {
      error(t.where, "unknown type '" + t.name + "'");
      return false;
    }
    t.target = found->second;
    return true;
  }

  struct ClassName {
    std::string role;  // empty for a definition's own name
    Location where;
  };

  Document& doc_;
  Diagnostics errors_;
  std::map<std::string, ClassName> classes_;
  std::map<std::string, const Definition*> definitions_;
};

}  // namespace

Diagnostics check(Document& doc) { return Checker(doc).run(); }

}  // namespace jexgen
