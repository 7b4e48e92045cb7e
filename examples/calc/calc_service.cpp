#include "examples/calc/calc_service.h"

#include <chrono>

#include "examples/calc/calc_error.h"
#include "platform/exceptions.h"

XOBJECT_DEFINE_RTTI(CalcService, "ICalc", xobject)

CalcService* CalcService::softcast(xobject* o) {
  return o != nullptr && o->isKindOf(getClassRtti()) ? static_cast<CalcService*>(o) : nullptr;
}

int CalcService::add(int a, int b) const {
  int sum = 0;
  // INT_MIN is the runtime's nil int: as a result it would arrive as nil, not as a sum.
  if (__builtin_add_overflow(a, b, &sum) || sum == XINT_NIL) {
    xthrow(new CalcError("integer overflow"));
  }
  return sum;
}

int CalcService::divide(int a, int b) const {
  if (b == 0) xthrow(new CalcError("division by zero"));
  return a / b;
}

void CalcService::log(const std::string& message) {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    logged_.push_back(message);
  }
  loggedChanged_.notify_all();
}

std::vector<std::string> CalcService::loggedMessages() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return logged_;
}

bool CalcService::waitForLogged(size_t count, int timeoutMs) const {
  std::unique_lock<std::mutex> lock(mutex_);
  return loggedChanged_.wait_for(lock, std::chrono::milliseconds(timeoutMs),
                                 [&] { return logged_.size() >= count; });
}

namespace {

[[noreturn]] void BadParameter(const char* name) {
  xthrow(new CalcError((std::string("invalid parameter ") + name).c_str()));
}

int IntParam(zubJexCall& call, const char* name) {
  xany value = call.getParamByName(name);
  if (value.getKind() != xany_int) BadParameter(name);
  return value.toInt();
}

std::string StringParam(zubJexCall& call, const char* name) {
  xany value = call.getParamByName(name);
  if (value.getKind() != xany_string) BadParameter(name);
  xstring text = value.toString();
  return std::string(text.CastToCString(), text.GetMBSize());
}

CalcService& Self(xobject* target) {
  CalcService* calc = CalcService::softcast(target);
  if (calc == nullptr) xthrow(new CalcError("the target is no calculator"));
  return *calc;
}

}  // namespace

zubJexMethodTable calcServiceMethods() {
  zubJexMethodTable table;
  table.add("add", [](xobject* self, zubJexCall& call) -> xany {
    return Self(self).add(IntParam(call, "a"), IntParam(call, "b"));
  });
  table.add("divide", [](xobject* self, zubJexCall& call) -> xany {
    return Self(self).divide(IntParam(call, "a"), IntParam(call, "b"));
  });
  table.add("log", [](xobject* self, zubJexCall& call) -> xany {
    Self(self).log(StringParam(call, "message"));
    return xany();
  });
  table.add("createChild", [](xobject* self, zubJexCall& call) -> xany {
    return xany(static_cast<xobject*>(Self(self).createChild(StringParam(call, "name"))));
  });
  table.add("getName", [](xobject* self, zubJexCall&) -> xany {
    return xstring(Self(self).getName().c_str());
  });
  return table;
}

void calcServe(zubJexDispatcher& dispatcher, CalcService* root) {
  dispatcher.addInterface("ICalc", calcServiceMethods());
  dispatcher.setRootObject(root, kCalcRootId);
}
