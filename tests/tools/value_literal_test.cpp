// The literal syntax of values: what each form gives, how a described parameter type
// converts it, and where errors are reported.
#include "value_literal.h"

#include <gtest/gtest.h>

#include <string>

#include "idl_types.h"
#include "load.h"
#include "value_printer.h"

namespace {

class ValueLiteralTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    jexgen::Loaded loaded = jexgen::loadDescription(TOOLS_TEST_JEX_DIR "/typed_shapes.jex");
    ASSERT_TRUE(loaded.doc);
    jextools::IdlRegister(std::move(loaded.doc));
  }

  // The type of a parameter of IShapes in typed_shapes.jex; null for "".
  static const jexgen::TypeRef* ParamType(const std::string& method, const std::string& param) {
    if (method.empty()) return nullptr;
    for (const jexgen::Field& f : jextools::IdlFindMethod("IShapes", method)->params) {
      if (f.name == param) return &f.type;
    }
    return nullptr;
  }
};

struct Case {
  const char* method;  // of IShapes, whose parameter types the value must fit; "" for none
  const char* param;
  const char* text;
  const char* printed;  // null when the text is an error
  size_t column;        // of the error
  const char* error;
};

const Case kCases[] = {
    {"", "", "12", "12", 0, nullptr},
    {"", "", " -7 ", "-7", 0, nullptr},
    {"", "", "12L", "12L", 0, nullptr},
    {"", "", "-127b", "byte -127", 0, nullptr},
    {"", "", "300s", "short 300", 0, nullptr},
    {"", "", "true", "bool 1", 0, nullptr},
    {"", "", "-1e3", "-1000", 0, nullptr},
    {"", "", "2.5", "2.5", 0, nullptr},
    {"", "", "nil", "nil", 0, nullptr},
    {"", "", "\"a \\\"b\\\"\\n\\x41\"", "\"a \\\"b\\\"\\x0AA\"", 0, nullptr},
    {"", "", "a/b.c-d:e", "\"a/b.c-d:e\"", 0, nullptr},
    {"", "", "[1, [ ], \"x\" ,[2L]]", "[1, [], \"x\", [2L]]", 0, nullptr},
    {"", "", "strings[a, \"b c\"]", "[\"a\", \"b c\"]", 0, nullptr},
    {"", "", "@ICalc:7", "<ICalc proxy id=\"7\" server=\"srv\">", 0, nullptr},
    {"", "", "@ICalc:\"a b\"", "<ICalc proxy id=\"a b\" server=\"srv\">", 0, nullptr},
    {"", "", "Point{y=2}", "Point{x=0, y=2}", 0, nullptr},
    // Converted to the described type.
    {"scale", "id", "5", "5L", 0, nullptr},
    {"scale", "tag", "5", "byte 5", 0, nullptr},
    {"scale", "factor", "5", "5", 0, nullptr},
    {"echo", "words", "[a]", "[\"a\"]", 0, nullptr},
    {"sums", "groups", "[[1], []]", "[[1], []]", 0, nullptr},
    {"make", "name", "nil", "\"\"", 0, nullptr},
    {"same", "other", "@IShapes:1", "<IShapes proxy id=\"1\" server=\"srv\">", 0, nullptr},
    // Errors and their columns.
    {"", "", "", nullptr, 1, "expected a value, found the end"},
    {"", "", "[1,2", nullptr, 5, "expected ']', found the end"},
    {"", "", "1 2", nullptr, 3, "unexpected '2' after the value"},
    {"", "", "12x", nullptr, 3, "unexpected 'x' in a number"},
    {"", "", "3000000000", nullptr, 1, "does not fit an int (write 123L for a long)"},
    {"", "", "128b", nullptr, 1, "128 does not fit a byte"},
    {"", "", "\"abc", nullptr, 1, "the string is not closed"},
    {"", "", "\"\\q\"", nullptr, 2, "unknown escape \\q"},
    {"", "", "strings[1]", nullptr, 9, "strings[...] holds strings only"},
    {"", "", "ints[1]", nullptr, 1, "only strings[...] names the type of a list"},
    {"", "", "Point{z=1}", nullptr, 7, "Point has no field 'z'"},
    {"", "", "Point{x=1,x=2}", nullptr, 11, "the field 'x' is given twice"},
    {"", "", "Point{x=\"1\"}", nullptr, 9, "expected int, got a string"},
    {"", "", "Nope{}", nullptr, 1, "unknown type 'Nope': no description names it"},
    {"", "", "ShapeError{}", nullptr, 1, "an exception, which cannot be passed as a value"},
    {"", "", "@Point:1", nullptr, 1, "'Point' is no interface"},
    {"scale", "layer", "70000", nullptr, 1, "70000 does not fit a short"},
    {"scale", "flip", "1", nullptr, 1, "expected bool, got an int"},
    {"scale", "id", "nil", nullptr, 1, "expected long, got nil"},
    {"echo", "words", "[a, 1]", nullptr, 5, "expected string, got an int"},
    {"make", "points", "[Point{}, 1]", nullptr, 11, "expected Point, got an int"},
    {"same", "other", "@ICalc:1", nullptr, 1, "expected IShapes, got an object of type ICalc"},
};

TEST_F(ValueLiteralTest, ReadsEveryFormAndReportsWhereItFails) {
  for (const Case& c : kCases) {
    SCOPED_TRACE(c.text);
    const jexgen::TypeRef* type = ParamType(c.method, c.param);
    if (c.printed != nullptr) {
      EXPECT_EQ(PrintValue(jextools::ParseLiteral(c.text, "srv", type)), c.printed);
      continue;
    }
    try {
      jextools::ParseLiteral(c.text, "srv", type);
      ADD_FAILURE() << "no error";
    } catch (const jextools::LiteralError& e) {
      EXPECT_EQ(e.column(), c.column);
      EXPECT_NE(std::string(e.what()).find(c.error), std::string::npos) << e.what();
    }
  }
}

TEST_F(ValueLiteralTest, RefusesNestingDeeperThanTheStackAllows) {
  EXPECT_THROW(jextools::ParseLiteral(std::string(100000, '['), "srv", nullptr),
               jextools::LiteralError);
}

}  // namespace
