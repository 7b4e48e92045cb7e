// jexgen: generates C++ for the value types, exceptions and remote interfaces of a
// ".jex" description (docs/idl.md).
//
//   jexgen [-o OUTDIR] [--client-only] FILE.jex
//
// Writes OUTDIR/<stem>.jex.h and OUTDIR/<stem>.jex.cpp (OUTDIR defaults to the current
// folder). Exit status: 0 when written; 1 when the description has errors, each printed
// to standard error as "file:line:column: message" and nothing written; 2 for a wrong
// command line or a file that cannot be read or written.
#include <cstdio>
#include <fstream>
#include <iostream>
#include <string>

#include "cpp_emitter.h"
#include "load.h"
#include "names.h"

namespace {

const char kUsage[] = "usage: jexgen [-o OUTDIR] [--client-only] FILE.jex\n";

struct Arguments {
  std::string input;
  std::string outDir = ".";
  bool clientOnly = false;
};

bool ParseArguments(int argc, char** argv, Arguments& args) {
  for (int i = 1; i < argc; ++i) {
    const std::string a = argv[i];
    if (a == "-o" && i + 1 < argc) {
      args.outDir = argv[++i];
    } else if (a == "--client-only") {
      args.clientOnly = true;
    } else if (!a.empty() && a[0] != '-' && args.input.empty()) {
      args.input = a;
    } else {
      return false;
    }
  }
  return !args.input.empty();
}

bool WriteFile(const std::string& path, const std::string& text) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out << text;
  out.close();
  if (out) return true;
  std::cerr << "jexgen: cannot write " << path << "\n";
  return false;
}

}  // namespace

int main(int argc, char** argv) {
  Arguments args;
  if (!ParseArguments(argc, argv, args)) {
    std::cerr << kUsage;
    return 2;
  }
  const jexgen::Loaded loaded = jexgen::loadDescription(args.input);
  if (!loaded.readable) {
    std::cerr << "jexgen: cannot read " << args.input << "\n";
    return 2;
  }
  for (const std::string& error : loaded.errors) std::cerr << error << "\n";
  if (!loaded.doc) return 1;
  const jexgen::Document& doc = *loaded.doc;

  const jexgen::GeneratedFiles files =
      jexgen::emitCpp(doc, {jexgen::fileStem(args.input), args.clientOnly});
  const std::string dir = args.outDir + "/";
  if (!WriteFile(dir + files.headerName, files.header)) return 2;
  if (!WriteFile(dir + files.sourceName, files.source)) return 2;
  return 0;
}
