// Registration of the calculator example's types.
#ifndef ZUBJEX_EXAMPLES_CALC_CALC_TYPES_H_
#define ZUBJEX_EXAMPLES_CALC_CALC_TYPES_H_

#include "examples/calc/calc_error.h"
#include "examples/calc/calc_export.h"
#include "examples/calc/calc_proxy.h"

// Registers under "bins11n" the remote interface "ICalc" (proxy descriptor with the call
// generators of its methods), "CalcError" and the runtime's sequence types. Idempotent
// and thread-safe; call it before the first call is made or read.
CALC_EXPORT void calcRegisterTypes();

#endif  // ZUBJEX_EXAMPLES_CALC_CALC_TYPES_H_
