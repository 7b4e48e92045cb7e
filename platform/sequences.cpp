#include "platform/sequences.h"

#include <new>

#include "platform/block_cache.h"

namespace {

// Each sequence's block starts with its size, so that it goes back to its size class
// without the sequence's help (the sequence is gone by then); 16 bytes keep the object
// aligned as malloc aligns.
constexpr size_t kBlockHeader = 16;

}  // namespace

void* btkTakeSequenceBlock(size_t size) {
  char* block = static_cast<char*>(btkBlockTake(size + kBlockHeader));
  *reinterpret_cast<size_t*>(block) = size + kBlockHeader;
  return block + kBlockHeader;
}

void btkGiveSequenceBlock(void* memory) {
  if (memory == nullptr) return;
  char* block = static_cast<char*>(memory) - kBlockHeader;
  btkBlockGive(block, *reinterpret_cast<size_t*>(block));
}

// A new empty sequence whose first `capacity` elements live right after it, in one
// allocation (freed whole by the class's operator delete).
template <class Seq, class Element>
Seq* btkCreateSequence(int32_t capacity) {
  static_assert(sizeof(Seq) % alignof(Element) == 0, "elements follow the sequence aligned");
  if (capacity <= Seq::kInlineCount) return new Seq();
  const size_t room = static_cast<size_t>(capacity);
  void* memory = btkTakeSequenceBlock(sizeof(Seq) + room * sizeof(Element));
  Element* elements = reinterpret_cast<Element*>(static_cast<char*>(memory) + sizeof(Seq));
  return ::new (memory) Seq(elements, room);
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
