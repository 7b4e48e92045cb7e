// Handles on reference-counted objects.
//
// xrchandle<T> always counts: it attaches on take and releases on drop.
// xrcunihandle<T> counts only objects that are ref-countable, so it may also hold
// static objects. Both are null or hold one reference; copies add one.
// A handle is used by one thread at a time; the objects' counts are atomic, so
// different handles on one object may live on different threads.
#ifndef ZUBJEX_PLATFORM_HANDLES_H_
#define ZUBJEX_PLATFORM_HANDLES_H_

#include <utility>

#include "platform/xobject.h"

template <class T, void (*Attach)(const xobject*), void (*Release)(const xobject*)>
class xhandleBase {
 public:
  xhandleBase() : p_(nullptr) {}
  xhandleBase(T* p) : p_(p) { Attach(p_); }  // NOLINT(runtime/explicit)
  xhandleBase(const xhandleBase& o) : p_(o.p_) { Attach(p_); }
  xhandleBase(xhandleBase&& o) noexcept : p_(o.p_) { o.p_ = nullptr; }
  template <class U>
  xhandleBase(const xhandleBase<U, Attach, Release>& o) : p_(o.get()) {  // NOLINT
    Attach(p_);
  }
  ~xhandleBase() { Release(p_); }

  xhandleBase& operator=(const xhandleBase& o) {
    Attach(o.p_);
    Release(p_);
    p_ = o.p_;
    return *this;
  }
  xhandleBase& operator=(xhandleBase&& o) noexcept {
    if (this != &o) {
      Release(p_);
      p_ = o.p_;
      o.p_ = nullptr;
    }
    return *this;
  }

  T* get() const { return p_; }
  T* operator->() const { return p_; }
  T& operator*() const { return *p_; }
  explicit operator bool() const { return p_ != nullptr; }
  bool isNull() const { return p_ == nullptr; }
  // Drops the reference; the handle becomes null.
  void reset() { *this = xhandleBase(); }

  // Takes over a reference that the caller already holds (no attach).
  static xhandleBase adopt(T* p) {
    xhandleBase h;
    h.p_ = p;
    return h;
  }

 private:
  T* p_;
};

template <class T>
using xrchandle = xhandleBase<T, &xrcattach, &xrcrelease>;
template <class T>
using xrcunihandle = xhandleBase<T, &xrcuniattach, &xrcunirelease>;

#endif  // ZUBJEX_PLATFORM_HANDLES_H_
