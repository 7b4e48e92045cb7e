#include "platform/sequences.h"

XOBJECT_DEFINE_RTTI(xstringsequence, "xstringsequence", xobject)
XOBJECT_DEFINE_RTTI(xanysequence, "xanysequence", xobject)

xstringsequence* xstringsequence::softcast(xobject* o) {
  return o != XOBJECT_NIL && o != XOBJECT_UNINIT && o->isKindOf(getClassRtti()) ? static_cast<xstringsequence*>(o)
                                                     : nullptr;
}

xstring xstringsequence::getAt(int32_t index) const {
  if (index < 0 || index >= getCount()) return xstring();
  return items_[static_cast<size_t>(index)];
}

xanysequence* xanysequence::softcast(xobject* o) {
  return o != XOBJECT_NIL && o != XOBJECT_UNINIT && o->isKindOf(getClassRtti()) ? static_cast<xanysequence*>(o) : nullptr;
}

xany xanysequence::getAt(int32_t index) const {
  if (index < 0 || index >= getCount()) return xany::Nil();
  return items_[static_cast<size_t>(index)];
}
