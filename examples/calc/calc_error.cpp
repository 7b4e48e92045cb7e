#include "examples/calc/calc_error.h"

XOBJECT_DEFINE_RTTI(CalcError, "CalcError", zubXException)

CalcError* CalcError::softcast(xobject* o) {
  return o != nullptr && o->isKindOf(getClassRtti()) ? static_cast<CalcError*>(o) : nullptr;
}

void CalcError::write(zubSerializer& out, const CalcError& error) {
  out.writeString(error.getDescription());
}

void CalcError::read(zubDeserializer& in, CalcError& error) {
  xstring description;
  in.readString(description);
  error.setDescription(description);
}
