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

zubSupportMethodNames::zubSupportMethodNames(const zubSupportMethod& method)
    : callName(xstring(method.interfaceName) + ":" + method.methodName), self("this") {
  const int32_t declared = CountNames(method.paramNames);
  params.reserve(static_cast<size_t>(declared));
  for (int32_t i = 0; i < declared; ++i) params.emplace_back(method.paramNames[i]);
}

void zubSupportFillCall(const zubSupportMethod& method, zubJexCall& call,
                        xrchandle<xanysequence> params) {
  zubSupportFillCall(method, zubSupportMethodNames(method), call, std::move(params));
}

void zubSupportFillCall(const zubSupportMethod& method, const zubSupportMethodNames& names,
                        zubJexCall& call, xrchandle<xanysequence> params) {
  const int32_t declared = static_cast<int32_t>(names.params.size());
  if (params.isNull()) params = xanysequence::create();
  const int32_t given = params->getCount();
  if (given != declared && given != declared + 1) {
    xthrowException(xstring("invalid parameter count for ") + names.callName);
  }

  xrchandle<xstringsequence> paramNames(xstringsequence::create());
  paramNames->reserve(given);
  if (given == declared + 1) paramNames->append(names.self);
  for (const xstring& name : names.params) paramNames->append(name);

  xrtti* returnType = method.returnType != nullptr ? method.returnType() : nullptr;
  call.initialize(names.callName, returnType, std::move(paramNames), std::move(params),
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
