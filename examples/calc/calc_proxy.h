// The remote interface "ICalc" as the host sees it: a proxy class and the method
// descriptions from which its call generators are made.
//
//   add(a: int, b: int) -> int
//   divide(a: int, b: int) -> int
//   log(message: string)              no result; one-way
//   createChild(name: string) -> ICalc
//   getName() -> string
#ifndef ZUBJEX_EXAMPLES_CALC_CALC_PROXY_H_
#define ZUBJEX_EXAMPLES_CALC_CALC_PROXY_H_

#include "examples/calc/calc_export.h"
#include "support/proxy_support.h"

// A proxy of a calculator on a server; type name "ICalc". Made empty by the descriptor
// (createProxy, readers of proxies) and bound to its server and id afterwards.
class CALC_EXPORT CalcProxy : public zubSupportProxy {
  XOBJECT_DECLARE_RTTI(CALC_EXPORT)
 public:
  // The object as a CalcProxy, or null when it is none (or null).
  static CalcProxy* softcast(xobject* o);
};

// The methods of "ICalc".
CALC_EXPORT extern const zubSupportMethod kCalcAdd;
CALC_EXPORT extern const zubSupportMethod kCalcDivide;
CALC_EXPORT extern const zubSupportMethod kCalcLog;
CALC_EXPORT extern const zubSupportMethod kCalcCreateChild;
CALC_EXPORT extern const zubSupportMethod kCalcGetName;

#endif  // ZUBJEX_EXAMPLES_CALC_CALC_PROXY_H_
