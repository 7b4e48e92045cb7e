#include "platform/xobject.h"

xrtti::~xrtti() = default;

bool xrttiobject::isKindOf(const xrttiobject* other) const {
  for (const xrttiobject* t = this; t != nullptr; t = t->parent_) {
    if (t == other) return true;
  }
  return false;
}

void initializeRttiObject(xrttiobject* rtti, const char* name, int, int, xrttiobject* parent) {
  rtti->name_ = xstring(name);
  rtti->parent_ = parent;
}

xobject::~xobject() = default;

xrttiobject* xobject::getClassRtti() {
  static xrttiobject* rtti = [] {
    auto* r = new xrttiobject();
    initializeRttiObject(r, "xobject", 0, 0, nullptr);
    return r;
  }();
  return rtti;
}

xrttiobject* xobject::getRtti() const { return getClassRtti(); }

void* xobject::castByRtti(xrttiobject* type) { return isKindOf(type) ? this : nullptr; }

xstring xobject::getZubTypeName() const {
  xrttiobject* r = getRtti();
  return r != nullptr ? r->getName() : xstring();
}

bool xobject::isKindOf(const xrttiobject* type) const {
  xrttiobject* r = getRtti();
  return r != nullptr && r->isKindOf(type);
}

void xobject::releaseRef() const {
  // The holder of the only reference is alone with the object (nobody else can take
  // one from it), so dropping that reference needs no atomic read-modify-write.
  if (refs_.load(std::memory_order_acquire) == 1) {
    refs_.store(0, std::memory_order_relaxed);
  } else if (refs_.fetch_sub(1, std::memory_order_acq_rel) != 1) {
    return;
  }
  if (isRefCountable()) delete this;
}
