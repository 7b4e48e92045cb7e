// "CalcError": the exception a calculator server reports as the detail object of a
// fault (division by zero, for instance). Travels by type name; its contents are its
// description as one string.
#ifndef ZUBJEX_EXAMPLES_CALC_CALC_ERROR_H_
#define ZUBJEX_EXAMPLES_CALC_CALC_ERROR_H_

#include "examples/calc/calc_export.h"
#include "platform/exceptions.h"
#include "serialization/serializer.h"

class CALC_EXPORT CalcError : public zubXException {
  XOBJECT_DECLARE_RTTI(CALC_EXPORT)
 public:
  // An error without description (as a reader creates it before filling it).
  CalcError() : zubXException("") {}
  explicit CalcError(const char* description) : zubXException(description) {}

  // The object as a CalcError, or null when it is none (or null).
  static CalcError* softcast(xobject* o);

  // The contents on the wire: the description as a string.
  static void write(zubSerializer& out, const CalcError& error);
  static void read(zubDeserializer& in, CalcError& error);
};

#endif  // ZUBJEX_EXAMPLES_CALC_CALC_ERROR_H_
