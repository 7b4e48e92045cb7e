#include "support/proxy_support.h"

#include <utility>

#include "platform/dictionaries.h"
#include "platform/exceptions.h"

namespace {

int32_t CountNames(const char* const* names) {
  int32_t n = 0;
  while (names != nullptr && names[n] != nullptr) ++n;
  return n;
}

}  // namespace

void* zubSupportProxy::castByRtti(xrttiobject* type) {
  if (type == zubGetRtti_jexproxy()) return &identity_;
  return xobject::castByRtti(type);
}

void zubSupportFillCall(const zubSupportMethod& method, zubJexCall& call,
                        xrchandle<xanysequence> params) {
  const xstring callName = xstring(method.interfaceName) + ":" + method.methodName;
  const int32_t declared = CountNames(method.paramNames);
  if (params.isNull()) params = xanysequence::create();
  const int32_t given = params->getCount();
  if (given != declared && given != declared + 1) {
    xthrowException(xstring("invalid parameter count for ") + callName);
  }

  xrchandle<xstringsequence> names(xstringsequence::create());
  if (given == declared + 1) names->append("this");
  for (int32_t i = 0; i < declared; ++i) names->append(method.paramNames[i]);

  xrtti* returnType = method.returnType != nullptr ? method.returnType() : nullptr;
  call.initialize(callName, returnType, std::move(names), std::move(params),
                  method.oneWay && returnType == nullptr);
}

zubBinS11nRttiProxy* zubSupportRegisterProxy(xrttiobject* type,
                                             zubBinS11nRttiInterface::CreateFn createFn,
                                             zubBinS11nRttiInterface::CastFn castFn,
                                             std::initializer_list<zubSupportMethodEntry> methods) {
  auto* table = new xtsdictionary<zubJexCallGenerator>();
  for (const zubSupportMethodEntry& entry : methods) {
    table->insert(entry.method->methodName, entry.generator);
    if (entry.method->returnType != nullptr) entry.method->returnType();
  }
  auto* descriptor = new zubBinS11nRttiProxy(createFn, castFn, table);
  zubSupportRegisterDescriptor(type, descriptor);
  return descriptor;
}
