#include "fuzz_support.h"

#include <cstdio>
#include <cstdlib>

#include "calc.jex.h"
#include "support/sequence_types.h"

namespace zubfuzz {

XOBJECT_DEFINE_RTTI(HostCalc, "ICalc", xobject)

OneHostObjectMap::OneHostObjectMap() : host_(new HostCalc()) {}

xstring OneHostObjectMap::getObjectId(xrcunihandle<xobject> object) {
  return object.get() == host_.get() ? xstring(kHostId) : xstring();
}

xrcunihandle<xobject> OneHostObjectMap::findObject(const xstring& id) {
  return id == kHostId ? host_ : xrcunihandle<xobject>();
}

OneHostObjectMap& Setup() {
  static OneHostObjectMap* map = [] {
    zubSupportRegisterSequenceTypes();
    calcRegisterTypes();
    return new OneHostObjectMap();
  }();
  return *map;
}

namespace {
void PrintHex(const char* label, const std::string& bytes) {
  std::fprintf(stderr, "%s:", label);
  for (unsigned char c : bytes) std::fprintf(stderr, " %02X", c);
  std::fprintf(stderr, "\n");
}
}  // namespace

void Fail(const char* what, const std::string& first, const std::string& second) {
  std::fprintf(stderr, "FINDING: %s\n", what);
  PrintHex("first ", first);
  PrintHex("second", second);
  std::abort();
}

}  // namespace zubfuzz
