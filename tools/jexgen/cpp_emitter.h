// Writes the C++ of a checked document: "<stem>.jex.h" and "<stem>.jex.cpp".
//
// The header declares, in the order of the description:
//   - per struct S: class S : xobject, public fields, write/read of the "bins11n"
//     contents (the fields in declaration order);
//   - per exception E: class E : zubXException, the same, and E::Throw(fields...);
//   - per interface I: class IProxy : zubSupportProxy with one typed method per remote
//     method, and (unless client-only) the abstract class ISkeleton : xobject with one
//     pure virtual method per remote method and serve() to add it to a dispatcher;
//   - <stem>RegisterTypes(), which registers every type of the file.
// The source holds the definitions and, in an anonymous namespace, the method
// descriptions and conversions they use. The output depends only on the document and
// the options, so that a build regenerates identical files.
#ifndef ZUBJEX_TOOLS_JEXGEN_CPP_EMITTER_H_
#define ZUBJEX_TOOLS_JEXGEN_CPP_EMITTER_H_

#include <string>

#include "ast.h"

namespace jexgen {

struct EmitOptions {
  std::string stem;         // names the files, the guard and the registration function
  bool clientOnly = false;  // no skeletons: the code needs no server library
};

struct GeneratedFiles {
  std::string headerName;  // "<stem>.jex.h"
  std::string header;
  std::string sourceName;  // "<stem>.jex.cpp"
  std::string source;
};

// `doc` must have passed check() without errors.
GeneratedFiles emitCpp(const Document& doc, const EmitOptions& options);

}  // namespace jexgen

#endif  // ZUBJEX_TOOLS_JEXGEN_CPP_EMITTER_H_
