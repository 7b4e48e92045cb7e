#include "platform/xany.h"

#include <cstdio>
#include <utility>

#include "platform/abort.h"

namespace {

void AbortConversion(const char* typeName) {
  char message[64];
  std::snprintf(message, sizeof message, "Can not convert xany to %s.", typeName);
  btkAbort(message, 0, nullptr, 0);
}

}  // namespace

xany& xany::operator=(const xany& other) {
  if (this != &other) {
    xany copy(other);
    *this = std::move(copy);
  }
  return *this;
}

const xany& xany::Nil() {
  static const xany nil = [] {
    xany v;
    v.kind_ = xany_nil;
    return v;
  }();
  return nil;
}

const xany& xany::Uninit() {
  static const xany uninit;
  return uninit;
}

xany xany::Enum(xint v) {
  xany a;
  a.kind_ = xany_enum;
  a.u_.l = v;
  return a;
}

void xany::ReleasePayload() {
  if (kind_ == xany_string) {
    __xstring_c c{u_.s, nullptr, nullptr};
    xstrunlock_c(c);
  } else {
    xrcrelease_c(u_.o);
  }
}

void xany::AttachPayload() {
  if (kind_ == xany_string) {
    u_.s->Lock();
  } else {
    xrcattach(u_.o);
  }
}

void xany::CopyFrom(const xany& other) {
  Clear();
  kind_ = other.kind_;
  u_ = other.u_;
  if (kind_ == xany_string) {
    u_.s->Lock();
  } else if (kind_ == xany_object) {
    xrcattach(u_.o);
  }
}

xany& xany::operator=(const xstring& v) {
  if (v.IsNil() || v.IsUninit()) {
    Clear();
    kind_ = v.IsNil() ? xany_nil : xany_uninit;
    return *this;
  }
  __xstring_c c = v.getxstring_c();  // our own lock, taken before the old value goes
  Clear();
  kind_ = xany_string;
  u_.s = c.buffer;
  return *this;
}

xany& xany::operator=(xstring&& v) {
  if (v.IsNil() || v.IsUninit()) return *this = static_cast<const xstring&>(v);
  const __xstring_c c = v.Detach();
  Clear();
  kind_ = xany_string;
  u_.s = c.buffer;
  return *this;
}

xany& xany::operator=(xobject* v) {
  if (v == XOBJECT_NIL || v == XOBJECT_UNINIT) {
    Clear();
    kind_ = v == XOBJECT_NIL ? xany_nil : xany_uninit;
    return *this;
  }
  xrcattach(v);  // before the old value goes: it may be the only holder of v
  Clear();
  kind_ = xany_object;
  u_.o = v;
  return *this;
}

template <class T>
T xany::Convert(__xanykind kind, T nil, T uninit, const char* typeName) const {
  if (kind_ == xany_nil) return nil;
  if (kind_ == xany_uninit) return uninit;
  if (kind_ != kind) AbortConversion(typeName);
  return static_cast<T>(u_.l);
}

xint xany::OtherToInt() const {
  if (kind_ == xany_enum) return static_cast<xint>(u_.l);
  return Convert<xint>(xany_int, XINT_NIL, XINT_UNINIT, "xint");
}

xlong xany::OtherToLong() const {
  if (kind_ == xany_enum) return static_cast<xlong>(static_cast<xint>(u_.l));
  return Convert<xlong>(xany_long, XLONG_NIL, XLONG_UNINIT, "xlong");
}

xbyte xany::OtherToByte() const {
  return Convert<xbyte>(xany_byte, XBYTE_NIL, XBYTE_UNINIT, "xbyte");
}

xshort xany::OtherToShort() const {
  return Convert<xshort>(xany_short, XSHORT_NIL, XSHORT_UNINIT, "xshort");
}

xbool xany::OtherToBool() const {
  return Convert<xbool>(xany_bool, XBOOL_NIL, XBOOL_UNINIT, "xbool");
}

xreal xany::OtherToReal() const {
  if (kind_ == xany_nil) return XREAL_NIL;
  if (kind_ == xany_uninit) return XREAL_UNINIT;
  if (kind_ != xany_real) AbortConversion("xreal");
  return u_.r;
}

xstring xany::toString() const {
  if (kind_ == xany_nil) return xstring::Nil();
  if (kind_ == xany_uninit) return xstring::Uninit();
  if (kind_ != xany_string) AbortConversion("xstring");
  return xstring(__xstring_c{u_.s, nullptr, nullptr}, true);
}

xobject* xany::toObject() const {
  if (kind_ == xany_nil) return XOBJECT_NIL;
  if (kind_ == xany_uninit) return XOBJECT_UNINIT;
  if (kind_ != xany_object) AbortConversion("xobject");
  return u_.o;
}

bool xany::operator==(const xany& other) const {
  if (kind_ != other.kind_) return false;
  switch (kind_) {
    case xany_uninit:
    case xany_nil:
      return true;
    case xany_real:
      return u_.r == other.u_.r;
    case xany_string:
      return toString() == other.toString();
    case xany_object:
      return u_.o == other.u_.o;
    default:
      return u_.l == other.u_.l;
  }
}
