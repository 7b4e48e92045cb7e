#include "errors/message_service.h"

#include <utility>

#include "platform/mutex.h"

namespace {

struct BuiltInText {
  const char* key;
  const char* text;
};

// In the order in which the table is filled.
const BuiltInText kBuiltInTexts[] = {
    {"zubJEX_JEX_CLIENT_ERROR", "JEX Client Error: %s."},
    {"zubJEX_UNKNOWN_EXCEPTION", "Unknown exception"},
    {"zubJEX_INVALID_PROXY_DESCR", "Invalid s11n descriptor for proxy of ZUB type %s"},
    {"zubJEX_MISSING_S11N_DESCR", "Missing s11n descriptor for ZUB type %s"},
    {"zubJEX_INVALID_RESPONSE_KIND", "Invalid JEX response kind"},
    {"zubJEX_INVALID_RESPONSE_NAME", "Invalid JEX response name"},
    {"zubJEX_FAILED_GET_REQUEST", "Failed to open JEX RPC call request stream"},
    {"zubJEX_FAILED_GET_RESPONSE", "Failed to open JEX RPC call response stream"},
    {"zubJEX_FAILED_FINISH_CALL", "Failed to finish writing JEX call request"},
    {"zubJEX_FAILED_CREATE_CALL",
     "Failed to generate RPC call for method \"%s\" of ZUB interface %s"},
    {"zubJEX_VALUE_IN_VOID_METHOD_RESPONSE", "JEX call to void method returned a value"},
    {"zubJEX_MISSING_RETURN_VALUE", "JEX call is expected to return a value of ZUB type %s"},
    {"zubJEX_MISSING_TRANSPORT_FACTORY", "No JEX transport factory is configured for server %s"},
    {"zubJEX_FAILED_CREATE_TRANSPORT", "The JEX transport factory made no transport for server %s"},
    {"zubJEX_DEADLINE_EXCEEDED", "JEX call to %s exceeded its deadline"},
};

constexpr int32_t kMaxArguments = 5;

// Guards the creation of the default service; made at load, taken by nothing else.
thrMutex defaultServiceMutex(thrMutexPlain);
zubMessageService* defaultService = nullptr;

}  // namespace

zubJexDefaultMessageService::zubJexDefaultMessageService() : texts(xstringdictionary::create()) {
  for (const BuiltInText& row : kBuiltInTexts) texts->insert(row.key, xstring(row.text));
}

xstring zubJexDefaultMessageService::getLocalizedMessage(xstring key,
                                                         xrchandle<xstringsequence> args) {
  xstring text;
  if (!texts->lookup(key.CastToCString(), text)) return key;
  const int32_t n = args->getCount();
  if (n == 0) return text;
  if (n > kMaxArguments) return key;
  xstring values[kMaxArguments];
  const char* narrow[kMaxArguments];
  for (int32_t i = 0; i < n; ++i) {
    values[i] = args->getAt(i);
    narrow[i] = values[i].CastToCString();
  }
  return xstring::FormatList(text.CastToCString(), narrow, static_cast<size_t>(n));
}

zubMessageService* zubBINgetDefaultMsgService() {
  defaultServiceMutex.Lock();
  if (defaultService == nullptr) defaultService = new zubJexDefaultMessageService();
  zubMessageService* service = defaultService;
  defaultServiceMutex.Unlock();
  return service;
}

xstring zubJexGetLocalizedMessage(zubMessageService* service, xstring key, xstring a1, xstring a2,
                                  xstring a3, xstring a4, xstring a5) {
  xrchandle<xstringsequence> args(xstringsequence::create());
  for (const xstring* a : {&a1, &a2, &a3, &a4, &a5}) {
    if (a->IsNil()) break;
    args->append(*a);
  }
  zubMessageService* fallback = zubBINgetDefaultMsgService();
  if (service == nullptr) service = fallback;
  xstring result = service->getLocalizedMessage(key, args);
  if (result.IsEmpty() && service != fallback) result = fallback->getLocalizedMessage(key, args);
  if (result.IsNil()) result = xstring("");
  return result;
}

xstring zubJexCreateExceptionMessage(zubMessageService* service, xstring text, xstring key) {
  return zubJexGetLocalizedMessage(service, std::move(key), std::move(text));
}

xstring zubJexCreateExceptionMessage(zubMessageService* service, zubJEXException* ex, xstring key) {
  return zubJexCreateExceptionMessage(service, ex->getMessage(), std::move(key));
}

void zubJexThrowException(zubMessageService* service, xstring key, xstring a1, xstring a2,
                          xstring a3, xstring a4, xstring a5) {
  xstring text = zubJexGetLocalizedMessage(service, std::move(key), std::move(a1), std::move(a2),
                                           std::move(a3), std::move(a4), std::move(a5));
  throw new zubJEXException(std::move(text));
}
