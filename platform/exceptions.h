// The runtime's exceptions. They are objects, raised by pointer through xthrow and
// caught as `xthrowable*`. The raise holds one reference on the object; whoever catches
// it takes that reference over, normally with xadoptThrown:
//
//   try { ... } catch (xthrowable* t) {
//     xrcunihandle<xthrowable> caught = xadoptThrown(t);
//     ...  // caught->getZubTypeName(), zubXException::softcast(caught.get()), ...
//   }
#ifndef ZUBJEX_PLATFORM_EXCEPTIONS_H_
#define ZUBJEX_PLATFORM_EXCEPTIONS_H_

#include "platform/export.h"
#include "platform/handles.h"
#include "platform/xany.h"
#include "platform/xobject.h"
#include "platform/xstring.h"

class ZUBPLATFORM_EXPORT xthrowable : public xobject {
  XOBJECT_DECLARE_RTTI(ZUBPLATFORM_EXPORT)
 public:
  // The object as a throwable, or null when it is none.
  static xthrowable* cast(xobject* o);
};

// An exception with a description and an optional cause.
class ZUBPLATFORM_EXPORT zubXException : public xthrowable {
  XOBJECT_DECLARE_RTTI(ZUBPLATFORM_EXPORT)
 public:
  explicit zubXException(const char* description);
  zubXException(const xstring& description, xrchandle<zubXException> cause);

  xstring getDescription() const { return description_; }
  // The exception that led to this one; null when there is none.
  xrchandle<zubXException> getCause() const { return cause_; }
  // The object as a zubXException, or null when it is none (or null).
  static zubXException* softcast(xobject* o);

 protected:
  // For exception types that are created empty and filled afterwards (when read).
  void setDescription(const xstring& description) { description_ = description; }

 private:
  xstring description_;
  xrchandle<zubXException> cause_;
};

// The serialization error that the encoder and the client raise.
class ZUBPLATFORM_EXPORT zubXSerialization : public zubXException {
  XOBJECT_DECLARE_RTTI(ZUBPLATFORM_EXPORT)
 public:
  zubXSerialization(const xstring& text, xrchandle<zubXException> cause)
      : zubXException(text, cause) {}
  // A new error with no reference yet. `cause` may be null.
  static zubXSerialization* Create(const char* text, xrchandle<zubXException> cause);
  // Raises a new error. Never returns.
  [[noreturn]] static void Throw(const char* text, xrchandle<zubXException> cause);
  static zubXSerialization* softcast(xobject* o);
};

// A fault that a server reported: code, text and a detail value (which may hold the
// server's own exception object). Its description is "<code>: <text>", or whichever of
// the two is not empty.
class ZUBPLATFORM_EXPORT zubXJexFault : public zubXException {
  XOBJECT_DECLARE_RTTI(ZUBPLATFORM_EXPORT)
 public:
  zubXJexFault(const char* code, const char* text, const xany& detail);
  // Raises a new fault. Never returns.
  [[noreturn]] static void Throw(const char* code, const char* text, xany detail);

  xany getFaultDetail() const { return detail_; }
  xstring getFaultCode() const { return code_; }
  xstring getFaultString() const { return text_; }
  // The object as a fault; the caller must know that it is one (see isObjKindOf).
  static zubXJexFault* cast(xobject* o) { return static_cast<zubXJexFault*>(o); }
  static bool isObjKindOf(const xobject* o) { return o != nullptr && o->isKindOf(getClassRtti()); }

 private:
  xstring code_;
  xstring text_;
  xany detail_;
};

// Raises `e` as an `xthrowable*` holding one reference. Never returns. A null handle
// raises a zubXException "null exception".
[[noreturn]] ZUBPLATFORM_EXPORT void xthrow(xrcunihandle<xthrowable> e);

// Takes over the reference that a raise handed to the catcher of `t`.
inline xrcunihandle<xthrowable> xadoptThrown(xthrowable* t) {
  return xrcunihandle<xthrowable>::adopt(t);
}

// Raises a new zubXException with the given description. Never returns.
[[noreturn]] ZUBPLATFORM_EXPORT void xthrowException(const xstring& description);

#endif  // ZUBJEX_PLATFORM_EXCEPTIONS_H_
