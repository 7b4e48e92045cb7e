#include "messages/jex_call.h"

#include <utility>

zubJexCall::zubJexCall() : returnType(nullptr), isAsync(false) {}

// Members go in reverse order: the values, then the names, then the name.
zubJexCall::~zubJexCall() = default;

void zubJexCall::initialize(xstring name, xrtti* returnType, xrchandle<xstringsequence> paramNames,
                            xrchandle<xanysequence> paramValues, bool isAsync) {
  this->name = std::move(name);
  this->returnType = returnType;
  this->paramNames = std::move(paramNames);
  this->paramValues = std::move(paramValues);
  this->isAsync = isAsync;
}

void zubJexCall::addParam(xstring name, xany value) {
  if (paramNames.isNull()) {
    paramNames = xstringsequence::create();
    paramValues = xanysequence::create();
  } else if (paramValues.isNull()) {
    paramValues = xanysequence::create();
  }
  paramNames->append(std::move(name));
  paramValues->append(std::move(value));
}

xany zubJexCall::getParamByName(xstring name) {
  const int32_t n = paramNames.isNull() ? 0 : paramNames->getCount();
  for (int32_t i = 0; i < n; ++i) {
    if (paramNames->getAt(i) == name) {
      return paramValues.isNull() ? xany::Nil() : paramValues->getAt(i);
    }
  }
  return xany::Nil();
}

void zubJexCall::reset() {
  name = xstring();
  returnType = nullptr;
  paramNames.reset();
  paramValues.reset();
  isAsync = false;
}
