// The object model of the runtime: type information, reference-counted objects and
// the cast by run-time type.
#ifndef ZUBJEX_PLATFORM_XOBJECT_H_
#define ZUBJEX_PLATFORM_XOBJECT_H_

#include <atomic>

#include "platform/export.h"
#include "platform/xstring.h"

// Type information. Its first operation names the type; instances belong to the type
// registry (or are static) and are never freed through the objects that point at them.
class ZUBPLATFORM_EXPORT xrtti {
 public:
  virtual xstring getName() const = 0;
  virtual ~xrtti();
};

// Type information of a class of objects: a name and an optional parent class.
// Made empty, then set once with initializeRttiObject.
class ZUBPLATFORM_EXPORT xrttiobject : public xrtti {
 public:
  xrttiobject() = default;
  xstring getName() const override { return name_; }
  xrttiobject* getParent() const { return parent_; }
  // True when this type is `other` or derives from it.
  bool isKindOf(const xrttiobject* other) const;

 private:
  friend ZUBPLATFORM_EXPORT void initializeRttiObject(xrttiobject*, const char*, int, int,
                                                      xrttiobject*);
  xstring name_;
  xrttiobject* parent_ = nullptr;
};

// Sets the name and the parent class (may be null) of `rtti`. `size` and `flags` are
// kept for the framework's signature and unused.
ZUBPLATFORM_EXPORT void initializeRttiObject(xrttiobject* rtti, const char* name, int size,
                                             int flags, xrttiobject* parent);

// Base of all framework objects. Objects are reference counted: a new object has no
// reference, the first handle that takes it owns it, and the last release deletes it
// (unless isRefCountable() is false: such objects are static or owned elsewhere).
class ZUBPLATFORM_EXPORT xobject {
 public:
  xobject() = default;
  xobject(const xobject&) = delete;
  xobject& operator=(const xobject&) = delete;
  virtual ~xobject();

  // The type of the object; every class overrides it.
  virtual xrttiobject* getRtti() const;
  // The cast by run-time type: the address of this object's part of the type `type`
  // names, or null when the object has no such part. The default answers for the
  // object's own classes (returning this); proxy classes also answer for the proxy
  // type marker with the address of their identity part.
  virtual void* castByRtti(xrttiobject* type);
  virtual bool isRefCountable() const { return true; }

  // The registered name of the object's type; nil when the type has none.
  xstring getZubTypeName() const;
  bool isKindOf(const xrttiobject* type) const;

  static xrttiobject* getClassRtti();

  // Reference counting; prefer the handles of handles.h.
  void attachRef() const { refs_.fetch_add(1, std::memory_order_relaxed); }
  // Drops a reference; deletes the object at the last one when it is ref-countable.
  void releaseRef() const;
  int refCount() const { return refs_.load(std::memory_order_relaxed); }

 private:
  mutable std::atomic<int> refs_{0};
};

// Counting operations used by handles and by xany. Null pointers are ignored.
inline void xrcattach(const xobject* o) {
  if (o != nullptr) o->attachRef();
}
inline void xrcrelease(const xobject* o) {
  if (o != nullptr) o->releaseRef();
}
inline void xrcrelease_c(const xobject* o) { xrcrelease(o); }
// As above, but only for objects that are ref-countable.
inline void xrcuniattach(const xobject* o) {
  if (o != nullptr && o->isRefCountable()) o->attachRef();
}
inline void xrcunirelease(const xobject* o) {
  if (o != nullptr && o->isRefCountable()) o->releaseRef();
}
// Frees an object that no handle ever took (a fresh object with no reference).
inline void xrcdisposeUnreferenced(const xobject* o) {
  if (o != nullptr && o->refCount() == 0) {
    o->attachRef();
    o->releaseRef();
  }
}

// Declares the type information of a class: getClassRtti() and the getRtti override.
#define XOBJECT_DECLARE_RTTI(EXPORT)              \
 public:                                          \
  EXPORT static xrttiobject* getClassRtti();      \
  xrttiobject* getRtti() const override { return getClassRtti(); }

// Defines getClassRtti() of `Class` with the type name `Name` and the parent `Parent`.
#define XOBJECT_DEFINE_RTTI(Class, Name, Parent)                                \
  xrttiobject* Class::getClassRtti() {                                          \
    static xrttiobject* rtti = [] {                                             \
      auto* r = new xrttiobject();                                              \
      initializeRttiObject(r, Name, 0, 0, Parent::getClassRtti());              \
      return r;                                                                 \
    }();                                                                        \
    return rtti;                                                                \
  }

#endif  // ZUBJEX_PLATFORM_XOBJECT_H_
