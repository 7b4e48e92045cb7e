#include "examples/calc/calc_proxy.h"

#include "platform/rtti_registry.h"

XOBJECT_DEFINE_RTTI(CalcProxy, "ICalc", xobject)

CalcProxy* CalcProxy::softcast(xobject* o) {
  return o != nullptr && o->isKindOf(getClassRtti()) ? static_cast<CalcProxy*>(o) : nullptr;
}

namespace {

xrtti* CalcRtti() { return CalcProxy::getClassRtti(); }

const char* const kTwoOperands[] = {"a", "b", nullptr};
const char* const kMessage[] = {"message", nullptr};
const char* const kName[] = {"name", nullptr};

}  // namespace

const zubSupportMethod kCalcAdd = {"ICalc", "add", &zubGetRtti_int, kTwoOperands, false};
const zubSupportMethod kCalcDivide = {"ICalc", "divide", &zubGetRtti_int, kTwoOperands, false};
const zubSupportMethod kCalcLog = {"ICalc", "log", nullptr, kMessage, true};
const zubSupportMethod kCalcCreateChild = {"ICalc", "createChild", &CalcRtti, kName, false};
const zubSupportMethod kCalcGetName = {"ICalc", "getName", &zubGetRtti_string, nullptr, false};
