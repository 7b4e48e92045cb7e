// The runtime's sequence objects: ordered, growable lists of strings or values.
// Reference-counted objects (see xobject.h); a sequence is not locked: one thread
// changes it at a time, and nobody reads it meanwhile.
#ifndef ZUBJEX_PLATFORM_SEQUENCES_H_
#define ZUBJEX_PLATFORM_SEQUENCES_H_

#include <cstddef>
#include <cstdint>
#include <utility>

#include "platform/export.h"
#include "platform/small_vector.h"
#include "platform/xany.h"
#include "platform/xobject.h"
#include "platform/xstring.h"

// A block for a sequence of `size` bytes (its elements' room included), taken from the
// thread's kept blocks; raises std::bad_alloc. Given back, whatever its size, with
// btkGiveSequenceBlock (null is ignored).
ZUBPLATFORM_EXPORT void* btkTakeSequenceBlock(size_t size);
ZUBPLATFORM_EXPORT void btkGiveSequenceBlock(void* memory);

// A list of xstrings; type name "xstringsequence".
class ZUBPLATFORM_EXPORT xstringsequence : public xobject {
  XOBJECT_DECLARE_RTTI(ZUBPLATFORM_EXPORT)
 public:
  // A new empty sequence with no reference yet.
  static xstringsequence* create() { return new xstringsequence(); }
  // As create(), with room for `capacity` elements made in the same allocation, so that
  // appending that many allocates nothing more.
  static xstringsequence* create(int32_t capacity);
  // Provided, so that making one does not first zero its inline storage.
  xstringsequence() {}
  // Sequences live in blocks that the thread keeps for reuse (platform/block_cache.h).
  static void* operator new(size_t size) { return btkTakeSequenceBlock(size); }
  // Frees what either create made.
  static void operator delete(void* memory) { btkGiveSequenceBlock(memory); }
  // The object as a string sequence, or null when it is none (or null).
  static xstringsequence* softcast(xobject* o);

  // getCount and append are final, so that calls through a pointer to the class are
  // direct and inline.
  virtual int32_t getCount() const final { return static_cast<int32_t>(items_.size()); }
  // A copy of the element at `index` (from 0); the nil string outside the range.
  virtual xstring getAt(int32_t index) const;
  // The element at `index`, borrowed while the sequence lives and is not changed; the
  // nil string outside the range.
  const xstring& itemAt(int32_t index) const {
    return index >= 0 && index < static_cast<int32_t>(items_.size())
               ? items_[static_cast<size_t>(index)]
               : xstring::Nil();
  }
  // Appends a copy.
  virtual void append(const xstring& s) final { items_.push_back(s); }
  // Removes every element, keeping the room made for them.
  void clear() { items_.clear(); }
  // Appends `s`, taking over its reference.
  virtual void append(xstring&& s) final { items_.push_back(std::move(s)); }
  // Makes room for `n` elements so that appending them allocates no more; a hint only.
  void reserve(int32_t n) {
    if (n > 0) items_.reserve(static_cast<size_t>(n));
  }
  // Appends `s`, taking over its reference, where room was made for it (create with a
  // capacity, or reserve): the caller promises getCount() < roomFor(), unchecked.
  void appendInRoom(xstring&& s) { items_.emplaceInRoom(std::move(s)); }
  // The number of elements that fit without growing.
  int32_t roomFor() const { return static_cast<int32_t>(items_.capacity()); }
  // The elements in order, borrowed while the sequence is unchanged.
  const xstring* begin() const { return items_.begin(); }
  const xstring* end() const { return items_.end(); }

 private:
  template <class Seq, class Element>
  friend Seq* btkCreateSequence(int32_t capacity);
  static constexpr int32_t kInlineCount = 4;
  xstringsequence(xstring* room, size_t capacity) : items_(room, capacity) {}
  btkSmallVector<xstring, kInlineCount> items_;  // short lists (parameter names) need no allocation
};

// A list of xany values; type name "xanysequence".
class ZUBPLATFORM_EXPORT xanysequence : public xobject {
  XOBJECT_DECLARE_RTTI(ZUBPLATFORM_EXPORT)
 public:
  // As xstringsequence's.
  static xanysequence* create() { return new xanysequence(); }
  static xanysequence* create(int32_t capacity);
  xanysequence() {}
  static void* operator new(size_t size) { return btkTakeSequenceBlock(size); }
  static void operator delete(void* memory) { btkGiveSequenceBlock(memory); }
  static xanysequence* softcast(xobject* o);

  virtual int32_t getCount() const final { return static_cast<int32_t>(items_.size()); }
  // A copy of the element at `index` (from 0); the nil value outside the range.
  virtual xany getAt(int32_t index) const;
  // The element at `index`, borrowed while the sequence lives and is not changed; the
  // nil value outside the range.
  const xany& itemAt(int32_t index) const {
    return index >= 0 && index < static_cast<int32_t>(items_.size())
               ? items_[static_cast<size_t>(index)]
               : xany::Nil();
  }
  virtual void append(const xany& v) final { items_.push_back(v); }
  void clear() { items_.clear(); }  // as xstringsequence's
  // Appends `v`, taking over its content.
  virtual void append(xany&& v) final { items_.push_back(std::move(v)); }
  // Makes room for `n` elements so that appending them allocates no more; a hint only.
  void reserve(int32_t n) {
    if (n > 0) items_.reserve(static_cast<size_t>(n));
  }
  // As xstringsequence's: a value made from `v` in room made for it.
  template <class V>
  void appendInRoom(V&& v) {
    items_.emplaceInRoom(std::forward<V>(v));
  }
  // For readers that make a run of values at once: the room after the last element,
  // where the caller makes up to roomFor() - getCount() values in order (placement new),
  // then counts them as appended with madeInRoom(n).
  xany* spareRoom() { return items_.spareRoom(); }
  void madeInRoom(int32_t n) { items_.madeInRoom(static_cast<size_t>(n)); }
  int32_t roomFor() const { return static_cast<int32_t>(items_.capacity()); }
  const xany* begin() const { return items_.begin(); }
  const xany* end() const { return items_.end(); }

 private:
  template <class Seq, class Element>
  friend Seq* btkCreateSequence(int32_t capacity);
  static constexpr int32_t kInlineCount = 4;
  xanysequence(xany* room, size_t capacity) : items_(room, capacity) {}
  btkSmallVector<xany, kInlineCount> items_;  // short lists (parameter values) need no allocation
};

#endif  // ZUBJEX_PLATFORM_SEQUENCES_H_
