#include "ast.h"

namespace jexgen {

std::string TypeRef::spelling() const {
  switch (kind) {
    case TypeKind::kBool:
      return "bool";
    case TypeKind::kByte:
      return "byte";
    case TypeKind::kShort:
      return "short";
    case TypeKind::kInt:
      return "int";
    case TypeKind::kLong:
      return "long";
    case TypeKind::kReal:
      return "real";
    case TypeKind::kString:
      return "string";
    case TypeKind::kAny:
      return "any";
    case TypeKind::kStringSequence:
      return "xstringsequence";
    case TypeKind::kAnySequence:
      return "xanysequence";
    case TypeKind::kList:
      return "list<" + element->spelling() + ">";
    case TypeKind::kNamed:
      return name;
  }
  return name;
}

bool TypeRef::isNamed(DefinitionKind k) const {
  return kind == TypeKind::kNamed && target != nullptr && target->kind == k;
}

}  // namespace jexgen
