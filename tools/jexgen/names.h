// The C++ names that the generated code gives to what a description defines, and the
// names that descriptions may not use because the generated code or C++ needs them.
#ifndef ZUBJEX_TOOLS_JEXGEN_NAMES_H_
#define ZUBJEX_TOOLS_JEXGEN_NAMES_H_

#include <string>

#include "ast.h"

namespace jexgen {

bool isCppKeyword(const std::string& name);
// Names of the framework and the standard types that generated code uses unqualified
// ("xobject", "int32_t", anything beginning with "zub" or "btk"), and the prefix "jex_"
// of the generated code's own locals.
bool isReservedName(const std::string& name);

// "<Interface>Proxy": the host's class of the interface's remote objects.
std::string proxyClass(const Definition& d);
// "<Interface>Skeleton": the base of a server's implementations of the interface.
std::string skeletonClass(const Definition& d);

// The base name of a description file without folders and ".jex": "calc" for
// "a/b/calc.jex".
std::string fileStem(const std::string& path);
// "typed_calc" -> "typedCalc": the prefix of the file's registration function.
std::string lowerCamel(const std::string& stem);
// "typed_calc" -> "TYPED_CALC": the prefix of the header's macros.
std::string macroName(const std::string& stem);

}  // namespace jexgen

#endif  // ZUBJEX_TOOLS_JEXGEN_NAMES_H_
