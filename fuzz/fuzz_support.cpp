#include "fuzz_support.h"

#include "examples/calc/calc_types.h"
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

}  // namespace zubfuzz
