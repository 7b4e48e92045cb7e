// The C++ of a remote interface: its method descriptions (for the proxy descriptor and
// the calls), the proxy class with one typed method per remote method, and unless
// client-only the skeleton class with its method table and serve(). Appends to every
// section of `out`.
#ifndef ZUBJEX_TOOLS_JEXGEN_INTERFACE_CLASSES_H_
#define ZUBJEX_TOOLS_JEXGEN_INTERFACE_CLASSES_H_

#include <string>

#include "ast.h"
#include "emit_output.h"

namespace jexgen {

void emitInterface(const Definition& d, EmitOutput& out);
// The name of the zubSupportMethod that describes `m` of interface `d` in the source.
std::string methodDescriptionName(const Definition& d, const Method& m);

}  // namespace jexgen

#endif  // ZUBJEX_TOOLS_JEXGEN_INTERFACE_CLASSES_H_
