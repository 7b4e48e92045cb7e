#include "platform/sequences.h"

#include <new>

// A new empty sequence whose first `capacity` elements live right after it, in one
// allocation (freed whole by the class's operator delete).
template <class Seq, class Element>
Seq* btkCreateSequence(int32_t capacity) {
  static_assert(sizeof(Seq) % alignof(Element) == 0, "elements follow the sequence aligned");
  if (capacity <= Seq::kInlineCount) return new Seq();
  const size_t room = static_cast<size_t>(capacity);
  void* memory = ::operator new(sizeof(Seq) + room * sizeof(Element));
  Element* elements = reinterpret_cast<Element*>(static_cast<char*>(memory) + sizeof(Seq));
  return new (memory) Seq(elements, room);
}

XOBJECT_DEFINE_RTTI(xstringsequence, "xstringsequence", xobject)
XOBJECT_DEFINE_RTTI(xanysequence, "xanysequence", xobject)

xstringsequence* xstringsequence::softcast(xobject* o) {
  return o != XOBJECT_NIL && o != XOBJECT_UNINIT && o->isKindOf(getClassRtti())
             ? static_cast<xstringsequence*>(o)
             : nullptr;
}

xstringsequence* xstringsequence::create(int32_t capacity) {
  return btkCreateSequence<xstringsequence, xstring>(capacity);
}

xstring xstringsequence::getAt(int32_t index) const {
  if (index < 0 || index >= getCount()) return xstring();
  return items_[static_cast<size_t>(index)];
}

xanysequence* xanysequence::softcast(xobject* o) {
  return o != XOBJECT_NIL && o != XOBJECT_UNINIT && o->isKindOf(getClassRtti())
             ? static_cast<xanysequence*>(o)
             : nullptr;
}

xanysequence* xanysequence::create(int32_t capacity) {
  return btkCreateSequence<xanysequence, xany>(capacity);
}

xany xanysequence::getAt(int32_t index) const {
  if (index < 0 || index >= getCount()) return xany::Nil();
  return items_[static_cast<size_t>(index)];
}
