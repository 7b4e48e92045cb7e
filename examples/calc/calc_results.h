// The answers of "ICalc" calls as the host uses them. A server may answer with a value
// of any kind, and converting an xany to another kind ends the process; these check
// the kind first and raise instead.
//
//   xany answer = client->makeCall("ICalc", "add", params);
//   int sum = calcIntResult(answer, "ICalc:add");   // raises on a string, nil, ...
#ifndef ZUBJEX_EXAMPLES_CALC_CALC_RESULTS_H_
#define ZUBJEX_EXAMPLES_CALC_CALC_RESULTS_H_

#include <string>

#include "examples/calc/calc_export.h"
#include "examples/calc/calc_proxy.h"
#include "platform/xany.h"

// What `value` is, in words: "an int", "a string", "nil", "no value", "an object of
// type CalcError", ...
CALC_EXPORT std::string calcKindOf(const xany& value);

// Each returns the answer of `method` (the call's name, "ICalc:add") as the type it
// names, or raises a zubXException "<method> answered <kind>, not <type>" when the
// answer is of another kind (nil included).
CALC_EXPORT int calcIntResult(const xany& answer, const char* method);
CALC_EXPORT std::string calcStringResult(const xany& answer, const char* method);
// The proxy is borrowed from `answer`, which keeps it alive; never null.
CALC_EXPORT CalcProxy* calcProxyResult(const xany& answer, const char* method);

#endif  // ZUBJEX_EXAMPLES_CALC_CALC_RESULTS_H_
