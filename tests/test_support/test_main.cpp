// The main function of every test program. It runs the tests as GoogleTest's own main
// does, but lets an exception that escapes a test reach this function, so that a
// framework exception (raised by pointer, which GoogleTest reports only as "Unknown C++
// exception") is printed with its type, description and every cause before the program
// fails.
#include <gtest/gtest.h>

#include <cstdio>
#include <exception>
#include <string>

#include "platform/exceptions.h"
#include "platform/handles.h"

namespace {

std::string text(const xstring& s) { return std::string(s.CastToCString(), s.GetMBSize()); }

std::string currentTestName() {
  const testing::TestInfo* test = testing::UnitTest::GetInstance()->current_test_info();
  if (test == nullptr) return "outside any test";
  return std::string(test->test_suite_name()) + "." + test->name();
}

void printThrowable(xthrowable* raised) {
  xrcunihandle<xthrowable> caught = xadoptThrown(raised);
  std::fprintf(stderr, "%s raised %s", currentTestName().c_str(),
               text(caught->getZubTypeName()).c_str());
  const zubXException* error = zubXException::softcast(caught.get());
  if (error == nullptr) {
    std::fprintf(stderr, "\n");
    return;
  }
  std::fprintf(stderr, ": %s\n", text(error->getDescription()).c_str());
  for (xrchandle<zubXException> cause = error->getCause(); cause; cause = cause->getCause()) {
    std::fprintf(stderr, "  caused by %s: %s\n", text(cause->getZubTypeName()).c_str(),
                 text(cause->getDescription()).c_str());
  }
}

}  // namespace

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  testing::GTEST_FLAG(catch_exceptions) = false;
  try {
    return RUN_ALL_TESTS();
  } catch (xthrowable* raised) {
    printThrowable(raised);
  } catch (const std::exception& e) {
    std::fprintf(stderr, "%s raised %s\n", currentTestName().c_str(), e.what());
  }
  return 1;
}
