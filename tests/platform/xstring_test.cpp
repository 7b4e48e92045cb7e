#include "platform/xstring.h"

#include <gtest/gtest.h>

#include <sstream>

#include "platform/memory_streams.h"

namespace {

TEST(XstringTest, NilIsDistinctFromEmpty) {
  xstring nil;
  xstring empty("");
  EXPECT_TRUE(nil.IsNil());
  EXPECT_FALSE(empty.IsNil());
  EXPECT_TRUE(nil.IsEmpty());
  EXPECT_TRUE(empty.IsEmpty());
  EXPECT_NE(nil, empty);
  EXPECT_FALSE(nil == "");
  EXPECT_TRUE(empty == "");
  EXPECT_TRUE(xstring(static_cast<const char*>(nullptr)).IsNil());
  EXPECT_TRUE(xstring(reinterpret_cast<const char*>(1)).IsNil());
  EXPECT_TRUE(xstring(reinterpret_cast<const char*>(2)).IsUninit());
}

TEST(XstringTest, NarrowAndWideForms) {
  xstring s(L"gr\u00fc\u00df");  // 4 characters, 6 UTF-8 bytes
  EXPECT_EQ(s.GetMBSize(), 6u);
  EXPECT_TRUE(s == L"gr\u00fc\u00df");
  EXPECT_TRUE(s == "gr\xc3\xbc\xc3\x9f");
  EXPECT_STREQ(xstring("abc").CastToCWString(), L"abc");
}

TEST(XstringTest, ConcatenationKeepsOperands) {
  xstring a("ab");
  xstring b = a;
  b += "cd";
  EXPECT_TRUE(a == "ab");
  EXPECT_TRUE(b == "abcd");
  EXPECT_TRUE((xstring() + xstring("x")) == "x");
}

TEST(XstringTest, PrintfReplacesOnlyPercentS) {
  EXPECT_TRUE(xstring::Printf("a %s b %s", "1", "2") == "a 1 b 2");
  EXPECT_TRUE(xstring::Printf("%s%%", "50") == "50%");
  // A %s without an argument stays; %d is not interpreted.
  EXPECT_TRUE(xstring::Printf("%s and %s", "x") == "x and %s");
  EXPECT_TRUE(xstring::Printf("%d %s", "x") == "%d x");
}

TEST(XstringTest, WordsSkipEmptyRuns) {
  struct Case {
    const char* text;
    int words;
    const char* second;  // word 1, or null for nil
  } cases[] = {
      {"Calc:add", 2, "add"},   {"add", 1, nullptr},          {"a:b:c", 3, "b"},
      {":add", 1, nullptr},     {"Calc::addResponse", 2, "addResponse"},
      {"", 0, nullptr},
  };
  for (const auto& c : cases) {
    xstring s(c.text);
    EXPECT_EQ(s.GetNWords(":"), c.words) << c.text;
    xstring w = s.GetWord(1, ":");
    if (c.second == nullptr) {
      EXPECT_TRUE(w.IsNil()) << c.text;
    } else {
      EXPECT_TRUE(w == c.second) << c.text;
    }
  }
}

TEST(XstringTest, BufferAdoptionTakesTheCallersLock) {
  char* text = nullptr;
  btkStrBuf* buf = btkStrBuf::AllocMB(3, &text);
  text[0] = 'a';
  text[1] = 'b';
  text[2] = 'c';
  xstring s;
  s.Assign(__xstring_c{buf, text, nullptr}, false);
  EXPECT_TRUE(s == "abc");
  __xstring_c c = s.getxstring_c();  // a second lock
  xstring t(c, true);                // a third
  xstrunlock_c(c);
  EXPECT_TRUE(t == "abc");
}  // LeakSanitizer checks that every lock was dropped

TEST(XstringTest, StreamsOutput) {
  std::ostringstream out;
  out << xstring("x") << xstring();
  EXPECT_EQ(out.str(), "x");
  btkMemOStream bytes;
  bytes << xstring("hi");
  EXPECT_EQ(bytes.str(), "hi");
}

}  // namespace
