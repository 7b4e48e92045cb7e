// xany: the runtime's variant value.
//
// An xany has a kind (__xanykind, 0 to 10) and a payload. Every typed value has a nil
// marker and an uninit marker; assigning a typed value stores its kind and value,
// except that a nil marker gives the kind nil and (for bool and real only) the uninit
// marker gives the kind uninit. Converting back gives the markers for the kinds nil
// and uninit, the value for the matching kind, and ends the process through btkAbort
// ("Can not convert xany to xint." and alike) for any other kind.
// An object value holds one reference on its object.
#ifndef ZUBJEX_PLATFORM_XANY_H_
#define ZUBJEX_PLATFORM_XANY_H_

#include <cstdint>
#include <utility>

#include "platform/export.h"
#include "platform/xobject.h"
#include "platform/xstring.h"

enum __xanykind : int32_t {
  xany_uninit = 0,
  xany_nil = 1,
  xany_int = 2,
  xany_long = 3,
  xany_byte = 4,
  xany_short = 5,
  xany_bool = 6,
  xany_real = 7,
  xany_string = 8,
  xany_enum = 9,
  xany_object = 10,
};

typedef int32_t xint;
typedef int64_t xlong;
typedef signed char xbyte;
typedef int16_t xshort;
typedef unsigned char xbool;
typedef double xreal;

// The nil and uninit markers of the typed values.
constexpr xbyte XBYTE_NIL = static_cast<xbyte>(0x80);
constexpr xbyte XBYTE_UNINIT = static_cast<xbyte>(0x81);
constexpr xbool XBOOL_NIL = 0x80;
constexpr xbool XBOOL_UNINIT = 0x81;
constexpr xshort XSHORT_NIL = static_cast<xshort>(0x8000);
constexpr xshort XSHORT_UNINIT = static_cast<xshort>(0x8001);
constexpr xint XINT_NIL = static_cast<xint>(0x80000000u);
constexpr xint XINT_UNINIT = static_cast<xint>(0x80000001u);
constexpr xlong XLONG_NIL = static_cast<xlong>(0x8000000000000000ull);
constexpr xlong XLONG_UNINIT = static_cast<xlong>(0x8000000000000001ull);
constexpr xreal XREAL_NIL = 1e126;
constexpr xreal XREAL_UNINIT = 9e125;
// The object markers: nil is the null pointer, uninit the pointer value 22.
#define XOBJECT_NIL (static_cast<xobject*>(nullptr))
#define XOBJECT_UNINIT (reinterpret_cast<xobject*>(uintptr_t{22}))

class ZUBPLATFORM_EXPORT xany {
 public:
  // The uninit value.
  xany() : kind_(xany_uninit) { u_.l = 0; }
  xany(const xany& other) : kind_(other.kind_), u_(other.u_) {
    if (HasCountedPayload()) AttachPayload();
  }
  xany(xany&& other) noexcept : kind_(other.kind_), u_(other.u_) {
    other.kind_ = xany_uninit;
    other.u_.l = 0;
  }
  ~xany() { Clear(); }
  xany& operator=(const xany& other);
  xany& operator=(xany&& other) noexcept {
    if (this != &other) {
      Clear();
      kind_ = other.kind_;
      u_ = other.u_;
      other.kind_ = xany_uninit;
      other.u_.l = 0;
    }
    return *this;
  }

  xany(xint v) : xany() { *this = v; }                  // NOLINT(runtime/explicit)
  xany(xlong v) : xany() { *this = v; }                 // NOLINT(runtime/explicit)
  xany(xbyte v) : xany() { *this = v; }                 // NOLINT(runtime/explicit)
  xany(xshort v) : xany() { *this = v; }                // NOLINT(runtime/explicit)
  xany(xbool v) : xany() { *this = v; }                 // NOLINT(runtime/explicit)
  xany(xreal v) : xany() { *this = v; }                 // NOLINT(runtime/explicit)
  xany(const xstring& v) : xany() { *this = v; }        // NOLINT(runtime/explicit)
  xany(xstring&& v) : xany() { *this = std::move(v); }  // NOLINT(runtime/explicit)
  xany(const char* v) : xany() { *this = xstring(v); }  // NOLINT(runtime/explicit)
  xany(xobject* v) : xany() { *this = v; }              // NOLINT(runtime/explicit)

  // The shared nil and uninit values.
  static const xany& Nil();
  static const xany& Uninit();
  // A value of the enum kind.
  static xany Enum(xint v);

  // Typed assignments (see the class comment for the marker rules).
  xany& operator=(xint v) { return SetNumber(v == XINT_NIL ? xany_nil : xany_int, v); }
  xany& operator=(xlong v) { return SetNumber(v == XLONG_NIL ? xany_nil : xany_long, v); }
  xany& operator=(xbyte v) { return SetNumber(v == XBYTE_NIL ? xany_nil : xany_byte, v); }
  xany& operator=(xshort v) { return SetNumber(v == XSHORT_NIL ? xany_nil : xany_short, v); }
  xany& operator=(xbool v) {
    return SetNumber(v == XBOOL_NIL ? xany_nil : v == XBOOL_UNINIT ? xany_uninit : xany_bool, v);
  }
  xany& operator=(xreal v) {
    Clear();
    kind_ = v == XREAL_NIL ? xany_nil : v == XREAL_UNINIT ? xany_uninit : xany_real;
    u_.r = v;
    return *this;
  }
  // The nil string gives nil; the uninit string uninit.
  xany& operator=(const xstring& v);
  // As above, taking over the string's reference.
  xany& operator=(xstring&& v);
  // Stores the object with a reference of its own; null gives nil, the uninit object
  // marker uninit.
  xany& operator=(xobject* v);

  __xanykind getKind() const { return kind_; }
  bool isuninit() const { return kind_ == xany_uninit; }
  bool isnil() const { return kind_ == xany_nil; }
  // Kind tests; each also accepts nil and uninit (a marker converts to every type).
  bool isint() const { return Is(xany_int); }
  bool islong() const { return Is(xany_long); }
  bool isbyte() const { return Is(xany_byte); }
  bool isshort() const { return Is(xany_short); }
  bool isbool() const { return Is(xany_bool); }
  bool isreal() const { return Is(xany_real); }
  bool isstring() const { return Is(xany_string); }
  bool isenum() const { return Is(xany_enum); }
  bool isobject() const { return Is(xany_object); }

  // Conversions back. The int conversion also accepts the enum kind, the long one the
  // enum kind sign-extended. A wrong kind ends the process through btkAbort.
  xint toInt() const { return kind_ == xany_int ? static_cast<xint>(u_.l) : OtherToInt(); }
  xlong toLong() const { return kind_ == xany_long ? static_cast<xlong>(u_.l) : OtherToLong(); }
  xbyte toByte() const { return kind_ == xany_byte ? static_cast<xbyte>(u_.l) : OtherToByte(); }
  xshort toShort() const {
    return kind_ == xany_short ? static_cast<xshort>(u_.l) : OtherToShort();
  }
  xbool toBool() const { return kind_ == xany_bool ? static_cast<xbool>(u_.l) : OtherToBool(); }
  xreal toReal() const { return kind_ == xany_real ? u_.r : OtherToReal(); }
  xstring toString() const;
  // The object without a reference of its own (the value keeps its reference).
  xobject* toObject() const;
  // The text of a value of the kind string (only), borrowed while the value is
  // unchanged: its narrow bytes and their number.
  const char* stringText() const { return u_.s->MB(); }
  size_t stringSize() const { return u_.s->MBSize(); }

  // Equality of kind and value (objects by identity, strings by text).
  bool operator==(const xany& other) const;
  bool operator!=(const xany& other) const { return !(*this == other); }

 private:
  bool Is(__xanykind k) const { return kind_ == k || kind_ <= xany_nil; }
  // Strings and objects hold a reference on their payload; the other kinds hold none.
  bool HasCountedPayload() const { return kind_ == xany_string || kind_ == xany_object; }
  void AttachPayload();
  void ReleasePayload();
  void Clear() {
    if (HasCountedPayload()) ReleasePayload();
    kind_ = xany_uninit;
    u_.l = 0;
  }
  void CopyFrom(const xany& other);
  xany& SetNumber(__xanykind kind, int64_t v) {
    Clear();
    kind_ = kind;
    u_.l = v;
    return *this;
  }
  // The conversions for every kind but the matching one.
  xint OtherToInt() const;
  xlong OtherToLong() const;
  xbyte OtherToByte() const;
  xshort OtherToShort() const;
  xbool OtherToBool() const;
  xreal OtherToReal() const;
  template <class T>
  T Convert(__xanykind kind, T nil, T uninit, const char* typeName) const;

  __xanykind kind_;
  union {
    int64_t l;
    double r;
    xobject* o;
    btkStrBuf* s;
  } u_;
};

// An xany is its kind and payload alone (a payload never points into its value): it
// moves as bytes.
template <>
struct btkRelocatesAsBytes<xany> : std::true_type {};

#endif  // ZUBJEX_PLATFORM_XANY_H_
