// Checks a parsed document and resolves its named types (TypeRef::target), so that the
// emitter can rely on it: every name is defined once, every named type exists and may
// be used where it is, no name clashes with C++ or with what the generated code
// declares, and one-way methods neither return a result nor declare exceptions.
//
// Returns every error found, in the order of the description; an empty list means the
// document is ready for the emitter. The document must stay where it is afterwards
// (types point at its definitions).
#ifndef ZUBJEX_TOOLS_JEXGEN_CHECKER_H_
#define ZUBJEX_TOOLS_JEXGEN_CHECKER_H_

#include "ast.h"
#include "diagnostics.h"

namespace jexgen {

Diagnostics check(Document& doc);

}  // namespace jexgen

#endif  // ZUBJEX_TOOLS_JEXGEN_CHECKER_H_
