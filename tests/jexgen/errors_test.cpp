// Every error that jexgen reports in a description, with its place: the description
// text in, "file:line:column: message" out.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "checker.h"
#include "diagnostics.h"
#include "parser.h"

namespace {

// The errors of `text` as jexgen prints them, one a line.
std::string errorsOf(const std::string& text) {
  std::string out;
  try {
    jexgen::Document doc = jexgen::parse("t.jex", text);
    for (const jexgen::Diagnostic& d : jexgen::check(doc)) {
      out += jexgen::formatDiagnostic("t.jex", d) + "\n";
    }
  } catch (const jexgen::JexError& e) {
    out += jexgen::formatDiagnostic("t.jex", e.diagnostic()) + "\n";
  }
  return out;
}

struct Case {
  const char* text;
  const char* errors;
};

const Case kCases[] = {
    // Characters and comments.
    {"struct P { int x; }\n  #", "t.jex:2:3: unexpected character '#'\n"},
    {"struct P { int x; } /* open\n\n", "t.jex:1:21: unterminated comment\n"},
    // The grammar.
    {"point P {}", "t.jex:1:1: expected 'struct', 'exception' or 'interface', found 'point'\n"},
    {"struct P { int x }", "t.jex:1:18: expected ';', found '}'\n"},
    {"struct P { int x;", "t.jex:1:18: expected '}', found the end of the file\n"},
    {"interface I { int f(int a int b); }", "t.jex:1:27: expected ')', found 'int'\n"},
    {"interface I { int f() throws CalcError; }", "t.jex:1:30: expected '(', found 'CalcError'\n"},
    {"struct P { list<list<list<list<list<list<list<list<list<list<list<list<list<list<list<"
     "list<list<int>>>>>>>>>>>>>>>>> x; }",
     "t.jex:1:92: lists nest too deep\n"},
    {"struct P { list<int x; }", "t.jex:1:21: expected '>', found 'x'\n"},
    {"struct int { }", "t.jex:1:8: 'int' is a keyword and cannot be a type name\n"},
    {"struct P { int list; }", "t.jex:1:16: 'list' is a keyword and cannot be a field name\n"},
    {"struct P { void x; }", "t.jex:1:12: 'void' is only allowed as a method's result\n"},
    {"interface I { void f(void a); }",
     "t.jex:1:22: 'void' is only allowed as a method's result\n"},
    // Names.
    {"struct P { int x; }\nstruct P { int y; }",
     "t.jex:2:8: duplicate name 'P' (first defined at 1:8)\n"},
    {"struct IProxy {}\ninterface I {}",
     "t.jex:2:11: duplicate name 'IProxy' (first defined at 1:8)\n"},
    {"interface I {}\nstruct ISkeleton {}",
     "t.jex:2:8: duplicate name 'ISkeleton' (the skeleton class of 'I')\n"},
    {"struct class {}", "t.jex:1:8: 'class' is a C++ keyword\n"},
    {"struct P { int new; }", "t.jex:1:16: 'new' is a C++ keyword\n"},
    {"struct xobject {}",
     "t.jex:1:8: 'xobject' is reserved for the framework and the generated code\n"},
    {"interface I { void f(int jex_call); }",
     "t.jex:1:26: 'jex_call' is reserved for the framework and the generated code\n"},
    {"struct P { int x; int x; }", "t.jex:1:23: duplicate field 'x' in 'P'\n"},
    {"interface I { void f(int a, string a); }", "t.jex:1:36: duplicate parameter 'a' in 'I:f'\n"},
    {"interface I { void f(); int f(int a); }", "t.jex:1:29: duplicate method 'f' in 'I'\n"},
    {"struct P { int write; }", "t.jex:1:16: 'write' is a member of the generated class\n"},
    {"exception E { string getDescription; }",
     "t.jex:1:22: 'getDescription' is a member of the generated class\n"},
    {"interface I { void serve(); }", "t.jex:1:20: 'serve' is a member of the generated class\n"},
    {"struct P { int P; }", "t.jex:1:16: 'P' names a type of the file\n"},
    // Types and methods.
    {"struct P { Q q; list<R> r; }",
     "t.jex:1:12: unknown type 'Q'\nt.jex:1:22: unknown type 'R'\n"},
    {"exception E {}\nstruct P { list<E> e; }",
     "t.jex:2:17: exception 'E' can only be raised, not passed as a value\n"},
    {"exception E {}\ninterface I { E f(); }",
     "t.jex:2:15: exception 'E' can only be raised, not passed as a value\n"},
    {"interface I { oneway int f(); }", "t.jex:1:26: oneway method 'I:f' cannot return a result\n"},
    {"exception E {}\ninterface I { oneway void f() throws (E); }",
     "t.jex:2:27: oneway method 'I:f' cannot declare exceptions\n"},
    {"struct P {}\ninterface I { void f() throws (P, Z); }",
     "t.jex:2:32: 'P' in the throws list of 'I:f' is no exception\n"
     "t.jex:2:35: unknown type 'Z'\n"},
};

TEST(JexgenErrors, EachErrorIsReportedAtItsPlace) {
  for (const Case& c : kCases) EXPECT_EQ(errorsOf(c.text), c.errors) << c.text;
}

TEST(JexgenErrors, CompleteDescriptionHasNone) {
  EXPECT_EQ(errorsOf("// a comment\n/* another\n */ struct P { int x; list<list<P>> ps; }\n"
                     "exception E { int code; string text; };\n"
                     "interface I { P f(P p, I i) throws (E); oneway void g(any a); I h(); }"),
            "");
}

}  // namespace
