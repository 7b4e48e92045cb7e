#include "examples/calc/calc_types.h"

#include "support/sequence_types.h"
#include "support/type_support.h"

void calcRegisterTypes() {
  static const bool registered = [] {
    zubSupportRegisterSequenceTypes();
    zubSupportRegisterProxyType<CalcProxy>({
        zubSupportMethodOf<kCalcAdd>(),
        zubSupportMethodOf<kCalcDivide>(),
        zubSupportMethodOf<kCalcLog>(),
        zubSupportMethodOf<kCalcCreateChild>(),
        zubSupportMethodOf<kCalcGetName>(),
    });
    zubSupportRegisterType<CalcError, &CalcError::write, &CalcError::read>();
    return true;
  }();
  (void)registered;
}
