#include "platform/rtti_registry.h"  // zubGetRtti_int
#include "support/proxy_support.h"   // zubSupportProxy, zubSupportMethod
#include "support/sequence_types.h"  // zubSupportRegisterSequenceTypes
#include "support/type_support.h"    // zubSupportRegisterProxyType, zubSupportMethodOf

class CalcProxy : public zubSupportProxy {  // type name "ICalc"
  XOBJECT_DECLARE_RTTI()
};
XOBJECT_DEFINE_RTTI(CalcProxy, "ICalc", zubSupportProxy)

const char* const kOperands[] = {"a", "b", nullptr};
const zubSupportMethod kAdd = {"ICalc", "add", &zubGetRtti_int, kOperands, false};
const char* const kMessage[] = {"message", nullptr};
const zubSupportMethod kLog = {"ICalc", "log", nullptr, kMessage, true};  // one-way

void RegisterCalc() {
  zubSupportRegisterSequenceTypes();  // parameter lists travel as sequences
  zubSupportRegisterProxyType<CalcProxy>({zubSupportMethodOf<kAdd>(), zubSupportMethodOf<kLog>()});
}
