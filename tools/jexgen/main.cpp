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
#include <sstream>
#include <string>

#include "checker.h"
#include "cpp_emitter.h"
#include "diagnostics.h"
#include "names.h"
#include "parser.h"

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

bool ReadFile(const std::string& path, std::string& text) {
  std::ifstream in(path, std::ios::binary);
  if (!in) return false;
  std::ostringstream buffer;
  buffer << in.rdbuf();
  text = buffer.str();
  return true;
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
  std::string text;
  if (!ReadFile(args.input, text)) {
    std::cerr << "jexgen: cannot read " << args.input << "\n";
    return 2;
  }
  jexgen::Document doc;
  try {
    doc = jexgen::parse(args.input, text);
  } catch (const jexgen::JexError& e) {
    std::cerr << jexgen::formatDiagnostic(args.input, e.diagnostic()) << "\n";
    return 1;
  }
  const jexgen::Diagnostics errors = jexgen::check(doc);
  for (const jexgen::Diagnostic& d : errors) {
    std::cerr << jexgen::formatDiagnostic(args.input, d) << "\n";
  }
  if (!errors.empty()) return 1;

  const jexgen::GeneratedFiles files =
      jexgen::emitCpp(doc, {jexgen::fileStem(args.input), args.clientOnly});
  const std::string dir = args.outDir + "/";
  if (!WriteFile(dir + files.headerName, files.header)) return 2;
  if (!WriteFile(dir + files.sourceName, files.source)) return 2;
  return 0;
}
