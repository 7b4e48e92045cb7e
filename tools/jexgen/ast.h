// The syntax tree of a ".jex" interface description, as the parser builds it and the
// checker completes it (named types resolved). Plain data; no behaviour beyond the
// spelling of a type.
#ifndef ZUBJEX_TOOLS_JEXGEN_AST_H_
#define ZUBJEX_TOOLS_JEXGEN_AST_H_

#include <memory>
#include <string>
#include <vector>

namespace jexgen {

// A place in the description: 1-based line and column (columns count bytes).
struct Location {
  int line = 1;
  int column = 1;
};

enum class TypeKind {
  kBool,
  kByte,
  kShort,
  kInt,
  kLong,
  kReal,
  kString,
  kAny,
  kStringSequence,  // the runtime's xstringsequence
  kAnySequence,     // the runtime's xanysequence
  kList,            // list<element>
  kNamed,           // a struct, exception or interface of the file
};

// What a named type turned out to be; set by the checker.
enum class DefinitionKind { kStruct, kException, kInterface };

struct Definition;

struct TypeRef {
  TypeKind kind = TypeKind::kInt;
  Location where;
  std::string name;                    // kNamed: the name as written
  std::shared_ptr<TypeRef> element;    // kList: the element type
  const Definition* target = nullptr;  // kNamed after checking

  // The type as written in a description ("int", "list<Point>").
  std::string spelling() const;
  bool isNamed(DefinitionKind kind) const;
};

// A field of a struct or exception, or a parameter of a method.
struct Field {
  TypeRef type;
  std::string name;
  Location where;
};

struct Method {
  bool oneWay = false;
  bool hasResult = false;  // false for "void"
  TypeRef result;          // meaningful when hasResult
  std::string name;
  Location where;
  std::vector<Field> params;
  std::vector<TypeRef> raises;  // the "throws" list: exceptions of the file
};

struct Definition {
  DefinitionKind kind = DefinitionKind::kStruct;
  std::string name;
  Location where;
  std::vector<Field> fields;    // struct and exception
  std::vector<Method> methods;  // interface
};

struct Document {
  std::string path;  // as given on the command line; used in messages
  std::vector<Definition> definitions;
};

}  // namespace jexgen

#endif  // ZUBJEX_TOOLS_JEXGEN_AST_H_
