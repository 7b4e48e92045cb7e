// Short declarations of a host's remote interface types: a proxy base class, method
// descriptions, a generic call generator and the registration of the interface.
//
//   class CalcProxy : public zubSupportProxy { XOBJECT_DECLARE_RTTI(...) };  // "ICalc"
//   const char* const kAddParams[] = {"a", "b", nullptr};
//   const zubSupportMethod kAdd = {"ICalc", "add", &zubGetRtti_int, kAddParams, false};
//   zubSupportRegisterProxyType<CalcProxy>({zubSupportMethodOf<kAdd>(), ...});
//
// A generated call is named "<Interface>:<method>". When the host passes one value more
// than the method declares, the first value is the target proxy and is named "this";
// with exactly the declared number of values the call has no "this" and goes to the
// server's root object of the interface. Any other count raises a zubXException
// "invalid parameter count for <Interface>:<method>".
#ifndef ZUBJEX_SUPPORT_PROXY_SUPPORT_H_
#define ZUBJEX_SUPPORT_PROXY_SUPPORT_H_

#include <initializer_list>
#include <utility>
#include <vector>

#include "messages/jex_call.h"
#include "messages/jex_proxy.h"
#include "platform/handles.h"
#include "platform/sequences.h"
#include "platform/xobject.h"
#include "serialization/descriptors.h"
#include "support/export.h"
#include "support/type_support.h"

// Base of a host's proxy classes: holds the identity (server URL and proxy id) and
// answers the cast by run-time type for zubGetRtti_jexproxy() with its address.
class ZUBJEX_SUPPORT_EXPORT zubSupportProxy : public xobject {
 public:
  void* castByRtti(xrttiobject* type) override;

  zubS11nJexProxy& identity() { return identity_; }
  xstring getServerUrl() const { return identity_.serverUrl; }
  xstring getProxyId() const { return identity_.getProxyId(); }

 private:
  zubS11nJexProxy identity_;
};

// One method of a remote interface. Static data of the host; borrowed for ever.
struct zubSupportMethod {
  const char* interfaceName;
  const char* methodName;
  // The type of the result (registered in the type registry); null for no result.
  xrtti* (*returnType)();
  // The declared parameter names, ended by a null pointer; null for none.
  const char* const* paramNames;
  // Calls of this method are one-way (only meaningful without a result).
  bool oneWay;
};

// Fills `call` for `method` from the host's values (see the file comment for "this").
// The call shares `params` (a null handle counts as no values). Raises a zubXException
// when the number of values fits neither form.
ZUBJEX_SUPPORT_EXPORT void zubSupportFillCall(const zubSupportMethod& method, zubJexCall& call,
                                              xrchandle<xanysequence> params);

// The strings that every call of one method carries: its call name
// "<Interface>:<method>", "this", and the declared parameter names. Made once per
// method; read-only afterwards, so any number of threads may share it.
struct ZUBJEX_SUPPORT_EXPORT zubSupportMethodNames {
  explicit zubSupportMethodNames(const zubSupportMethod& method);

  xstring callName;
  xstring self;
  std::vector<xstring> params;
};

// As above, with the method's strings made beforehand: the call then shares them
// instead of making its own.
ZUBJEX_SUPPORT_EXPORT void zubSupportFillCall(const zubSupportMethod& method,
                                              const zubSupportMethodNames& names, zubJexCall& call,
                                              xrchandle<xanysequence> params);

// The call generator of one method, for a descriptor's method table. Its strings are
// made at the first call and kept for the life of the process.
template <const zubSupportMethod& M>
void zubSupportGenerateCall(zubJexCall& call, xrchandle<xanysequence> params) {
  static const zubSupportMethodNames* const names = new zubSupportMethodNames(M);
  zubSupportFillCall(M, *names, call, std::move(params));
}

// An entry of a method table: the description and its generator.
struct zubSupportMethodEntry {
  const zubSupportMethod* method;
  zubJexCallGenerator generator;
};

template <const zubSupportMethod& M>
zubSupportMethodEntry zubSupportMethodOf() {
  return {&M, &zubSupportGenerateCall<M>};
}

// Registers a remote interface: `type` in the type registry, a proxy descriptor with a
// table of `methods` under "bins11n" for the type's name, and the return types of the
// methods (so that readers find them by name). Returns the descriptor (never freed).
ZUBJEX_SUPPORT_EXPORT zubBinS11nRttiProxy* zubSupportRegisterProxy(
    xrttiobject* type, zubBinS11nRttiInterface::CreateFn createFn,
    zubBinS11nRttiInterface::CastFn castFn, std::initializer_list<zubSupportMethodEntry> methods);

// As above for a proxy class T derived from zubSupportProxy with a default constructor.
template <class T>
zubBinS11nRttiProxy* zubSupportRegisterProxyType(
    std::initializer_list<zubSupportMethodEntry> methods) {
  return zubSupportRegisterProxy(T::getClassRtti(), &zubSupportCreate<T>, &zubSupportCast<T>,
                                 methods);
}

#endif  // ZUBJEX_SUPPORT_PROXY_SUPPORT_H_
