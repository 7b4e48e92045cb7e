#include "platform/exceptions.h"

XOBJECT_DEFINE_RTTI(xthrowable, "xthrowable", xobject)
XOBJECT_DEFINE_RTTI(zubXException, "zubXException", xthrowable)
XOBJECT_DEFINE_RTTI(zubXSerialization, "zubXSerialization", zubXException)
XOBJECT_DEFINE_RTTI(zubXJexFault, "zubXJexFault", zubXException)

namespace {

template <class T>
T* SoftCast(xobject* o) {
  return o != XOBJECT_NIL && o != XOBJECT_UNINIT && o->isKindOf(T::getClassRtti())
             ? static_cast<T*>(o)
             : nullptr;
}

xstring FaultDescription(const char* code, const char* text) {
  xstring c(code == nullptr ? "" : code);
  xstring t(text == nullptr ? "" : text);
  if (c.IsEmpty()) return t;
  if (t.IsEmpty()) return c;
  return c + ": " + t;
}

}  // namespace

xthrowable* xthrowable::cast(xobject* o) { return SoftCast<xthrowable>(o); }

zubXException::zubXException(const char* description) : description_(description) {}

zubXException::zubXException(const xstring& description, xrchandle<zubXException> cause)
    : description_(description), cause_(std::move(cause)) {}

zubXException* zubXException::softcast(xobject* o) { return SoftCast<zubXException>(o); }

zubXSerialization* zubXSerialization::Create(const char* text, xrchandle<zubXException> cause) {
  return new zubXSerialization(xstring(text), std::move(cause));
}

void zubXSerialization::Throw(const char* text, xrchandle<zubXException> cause) {
  xthrow(Create(text, std::move(cause)));
}

zubXSerialization* zubXSerialization::softcast(xobject* o) {
  return SoftCast<zubXSerialization>(o);
}

zubXJexFault::zubXJexFault(const char* code, const char* text, const xany& detail)
    : zubXException(FaultDescription(code, text), xrchandle<zubXException>()),
      code_(code),
      text_(text),
      detail_(detail) {}

void zubXJexFault::Throw(const char* code, const char* text, xany detail) {
  xthrow(new zubXJexFault(code, text, detail));
}

void xthrow(xrcunihandle<xthrowable> e) {
  if (e.isNull()) e = new zubXException("null exception");
  xthrowable* raw = e.get();
  xrcuniattach(raw);  // the raise's own reference, taken over by the catcher
  throw raw;
}

void xthrowException(const xstring& description) {
  xthrow(new zubXException(description, xrchandle<zubXException>()));
}
