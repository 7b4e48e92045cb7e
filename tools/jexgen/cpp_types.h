// How the types of a description appear in the generated C++: the C++ type of a value,
// how a parameter of that type is passed, and the conversions between a value and the
// runtime's variant (xany), which the generated code emits into the anonymous
// namespace of the .cpp file on demand.
//
// Interface types depend on the side: fields and list elements hold any object of the
// interface (xrchandle<xobject>), a host's proxies are <I>Proxy, a server's objects
// <I>Skeleton. Every other type is the same on both sides.
#ifndef ZUBJEX_TOOLS_JEXGEN_CPP_TYPES_H_
#define ZUBJEX_TOOLS_JEXGEN_CPP_TYPES_H_

#include <set>
#include <string>
#include <vector>

#include "ast.h"

namespace jexgen {

enum class Side { kValue, kClient, kServer };

// "int32_t", "std::vector<std::string>", "xrchandle<Point>".
std::string cppType(const TypeRef& t, Side side);
// The declaration of a parameter: by value for numbers, by const reference otherwise.
std::string cppParam(const TypeRef& t, Side side, const std::string& name);
// The value of a field before it is set ("= 0", "= false" or "").
std::string cppDefault(const TypeRef& t);
// True for bool, byte, short, int, long and real.
bool isNumber(const TypeRef& t);
// True for the types that travel as objects (sequences, lists, structs, interfaces).
bool isObjectType(const TypeRef& t);

// Collects the conversion functions that the generated code calls and writes their
// definitions, each after the ones it calls.
class Conversions {
 public:
  // The name of the function `xany f(<param>)` for `t`; records that it is needed.
  std::string toAny(const TypeRef& t, Side side);
  // The name of the function `<type> f(const xany& value, const char* what)` for `t`,
  // which raises a zubXSerialization "<what>: expected <type>, got <kind>" for a
  // value of another kind (a list's elements are checked too); records that it is
  // needed.
  std::string fromAny(const TypeRef& t, Side side);
  // The name of the function `xrtti* f()` that gives the type of a method's result.
  std::string rttiOf(const TypeRef& t);

  // The definitions of every function recorded so far.
  std::string definitions() const;

 private:
  struct Function {
    std::string name;
    std::string code;
  };
  bool has(const std::string& name) const { return names_.count(name) != 0; }
  void add(const std::string& name, const std::string& code);

  std::vector<Function> functions_;
  std::set<std::string> names_;
  bool wrongKindNeeded_ = false;
};

}  // namespace jexgen

#endif  // ZUBJEX_TOOLS_JEXGEN_CPP_TYPES_H_
