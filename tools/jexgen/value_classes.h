// The C++ of a struct or exception: the class (fields as public members, constructors,
// softcast, write and read of the "bins11n" contents: the fields in declaration order;
// for an exception also Throw and its description, the first string field or else the
// type name). Appends to the declarations and definitions of `out`.
#ifndef ZUBJEX_TOOLS_JEXGEN_VALUE_CLASSES_H_
#define ZUBJEX_TOOLS_JEXGEN_VALUE_CLASSES_H_

#include "ast.h"
#include "emit_output.h"

namespace jexgen {

void emitValueClass(const Definition& d, EmitOutput& out);

}  // namespace jexgen

#endif  // ZUBJEX_TOOLS_JEXGEN_VALUE_CLASSES_H_
