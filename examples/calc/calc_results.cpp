#include "examples/calc/calc_results.h"

#include "platform/exceptions.h"

namespace {

const char* const kKindNames[] = {"no value", "nil",     "an int",   "a long",
                                  "a byte",   "a short", "a bool",   "a real",
                                  "a string", "an enum", "an object"};

[[noreturn]] void WrongKind(const xany& answer, const char* method, const char* expected) {
  xthrowException(
      (std::string(method) + " answered " + calcKindOf(answer) + ", not " + expected).c_str());
}

}  // namespace

std::string calcKindOf(const xany& value) {
  const int kind = value.getKind();
  if (kind == xany_object) {
    xobject* object = value.toObject();
    if (object == nullptr) return "nil";
    xstring type = object->getZubTypeName();
    return "an object of type " + std::string(type.CastToCString(), type.GetMBSize());
  }
  if (kind < 0 || kind >= static_cast<int>(sizeof kKindNames / sizeof kKindNames[0])) {
    return "a value of kind " + std::to_string(kind);
  }
  return kKindNames[kind];
}

int calcIntResult(const xany& answer, const char* method) {
  if (answer.getKind() != xany_int) WrongKind(answer, method, "an int");
  return answer.toInt();
}

std::string calcStringResult(const xany& answer, const char* method) {
  if (answer.getKind() != xany_string) WrongKind(answer, method, "a string");
  return std::string(answer.stringText(), answer.stringSize());
}

CalcProxy* calcProxyResult(const xany& answer, const char* method) {
  CalcProxy* proxy =
      answer.getKind() == xany_object ? CalcProxy::softcast(answer.toObject()) : nullptr;
  if (proxy == nullptr) WrongKind(answer, method, "an ICalc");
  return proxy;
}
