// Helpers that every test folder may use (they need the platform library only): byte
// strings written in hex, and the capture of raised framework exceptions.
#ifndef ZUBJEX_TESTS_TEST_SUPPORT_BASICS_H_
#define ZUBJEX_TESTS_TEST_SUPPORT_BASICS_H_

#include <cstdio>
#include <string>

#include "platform/exceptions.h"
#include "platform/handles.h"

namespace jex_test {

// "FE FF 01" -> the three bytes.
inline std::string Bytes(const char* hex) {
  std::string out;
  unsigned value = 0;
  int digits = 0;
  for (const char* p = hex; *p != '\0'; ++p) {
    const char c = *p;
    if (c == ' ') continue;
    value = value * 16 + static_cast<unsigned>(c <= '9' ? c - '0' : (c | 0x20) - 'a' + 10);
    if (++digits == 2) {
      out.push_back(static_cast<char>(value));
      value = 0;
      digits = 0;
    }
  }
  return out;
}

// The bytes as "FE FF 01".
inline std::string Hex(const std::string& bytes) {
  std::string out;
  char buf[4];
  for (unsigned char b : bytes) {
    std::snprintf(buf, sizeof buf, out.empty() ? "%02X" : " %02X", b);
    out += buf;
  }
  return out;
}

// Runs `action`; returns the xthrowable it raised, or null.
template <class F>
xrcunihandle<xthrowable> raisedBy(F&& action) {
  try {
    action();
  } catch (xthrowable* t) {
    return xadoptThrown(t);
  }
  return xrcunihandle<xthrowable>();
}

inline std::string descriptionOf(xobject* o) {
  zubXException* e = zubXException::softcast(o);
  return e == nullptr ? "<not a zubXException>" : e->getDescription().CastToCString();
}

// The descriptions of the chain of causes of `o`, outermost first, joined by " <- ".
inline std::string causesOf(xobject* o) {
  zubXException* e = zubXException::softcast(o);
  if (e == nullptr || !e->getCause()) return "";
  std::string rest = causesOf(e->getCause().get());
  return descriptionOf(e->getCause().get()) + (rest.empty() ? "" : " <- " + rest);
}

// The description of what `action` raised; "<none>" when it raised nothing.
template <class F>
std::string raisedText(F&& action) {
  xrcunihandle<xthrowable> raised = raisedBy(action);
  return raised ? descriptionOf(raised.get()) : "<none>";
}

}  // namespace jex_test

#endif  // ZUBJEX_TESTS_TEST_SUPPORT_BASICS_H_
