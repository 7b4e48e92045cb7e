// The road of one call: build or take the call record, write it through the
// transport, read the response, check that it answers the call, give the client back.
//
// Log records (area ZUBJEX, level 3, formed only when that level is on), per attempt
// to send a request and per response:
//   "** Send RPC request <call name>"   "Begin request JEX s11n"   "End request JEX s11n"
//   "Exiting zubJexClient::sendCall"   (once, after the request has gone out)
//   "Begin response JEX des11n"   "End response JEX des11n"
//   "** Receive RPC response <response name>"
#include <string_view>
#include <utility>

#include "client/jex_client.h"
#include "client/transport.h"
#include "errors/message_service.h"
#include "messages/jex_call.h"
#include "messages/jex_response.h"
#include "messages/jex_serializer.h"
#include "platform/logging.h"
#include "platform/rtti_registry.h"
#include "serialization/descriptors.h"

namespace {

constexpr int kTraceLevel = 3;

bool traceOn() { return btkLogManager::AreaIsLoggable(ZUBJEX_LOG_AREA, kTraceLevel); }

void trace(const char* text) {
  if (traceOn()) btkLogGetOStream(ZUBJEX_LOG_AREA, kTraceLevel) << text;
}

void trace(const char* text, const xstring& name) {
  if (traceOn()) btkLogGetOStream(ZUBJEX_LOG_AREA, kTraceLevel) << text << name;
}

// "Calc:add" -> "add": a name of exactly two words (runs of characters other than ':')
// compares by its second; any other name compares whole. A view into `name`.
std::string_view methodPart(const xstring& name) {
  const std::string_view whole(name.CastToCString(), name.GetMBSize());
  std::string_view second;
  int words = 0;
  for (size_t i = 0; i < whole.size();) {
    if (whole[i] == ':') {
      ++i;
      continue;
    }
    const size_t start = i;
    while (i < whole.size() && whole[i] != ':') ++i;
    if (++words == 2) second = whole.substr(start, i - start);
  }
  return words == 2 ? second : whole;
}

// Whether `answer` is `method` followed by `suffix`.
bool answers(std::string_view answer, std::string_view method, std::string_view suffix) {
  return answer.size() == method.size() + suffix.size() &&
         answer.compare(0, method.size(), method) == 0 &&
         answer.compare(method.size(), suffix.size(), suffix) == 0;
}

}  // namespace

xany zubJexClient::makeCall(zubJexCall* call) {
  try {
    return makeCallImpl(call);
  } catch (...) {
    processCaught();
  }
}

xany zubJexClient::makeCall(const char* interfaceName, const char* methodName,
                            xrchandle<xanysequence> params) {
  try {
    zubJexCall call;
    createCall(&call, interfaceName, methodName, std::move(params));
    return makeCallImpl(&call);
  } catch (...) {
    processCaught();
  }
}

void zubJexClient::makeVoidCall(zubJexCall* call) {
  try {
    makeVoidCallImpl(call);
  } catch (...) {
    processCaught();
  }
}

void zubJexClient::makeVoidCall(const char* interfaceName, const char* methodName,
                                xrchandle<xanysequence> params) {
  try {
    zubJexCall call;
    createCall(&call, interfaceName, methodName, std::move(params));
    makeVoidCallImpl(&call);
  } catch (...) {
    processCaught();
  }
}

void zubJexClient::createCall(zubJexCall* call, const char* interfaceName, const char* methodName,
                              xrchandle<xanysequence> params) {
  zubBinS11nRtti* descriptor = zubBinS11nRttiGetDescriptor(interfaceName);
  if (descriptor == nullptr) {
    zubJexThrowException(getMessageService(), "zubJEX_MISSING_S11N_DESCR", interfaceName);
  }
  zubBinS11nRttiProxy* proxyDescriptor = nullptr;
  if (!descriptor->isProxy(&proxyDescriptor)) {
    zubJexThrowException(getMessageService(), "zubJEX_INVALID_PROXY_DESCR", interfaceName);
  }
  if (!proxyDescriptor->createCall(*call, methodName, std::move(params))) {
    zubJexThrowException(getMessageService(), "zubJEX_FAILED_CREATE_CALL", methodName,
                         interfaceName);
  }
}

xany zubJexClient::makeCallImpl(zubJexCall* call) {
  btkLocalLogger logger(btkLogger::CreateNestedOnCurrent("zubjex_clnt", "ZUB JEX Client", nullptr));
  logger->Activate();
  openConnection();
  sendCall(call);
  xany result = recieveResult(call);
  closeConnection();
  return result;
}

void zubJexClient::makeVoidCallImpl(zubJexCall* call) {
  btkLocalLogger logger(btkLogger::CreateNestedOnCurrent("zubjex_clnt", "ZUB JEX Client", nullptr));
  logger->Activate();
  openConnection();
  sendCall(call);
  if (!call->getIsAsync()) recieveVoidResult(call);
  closeConnection();
}

void zubJexClient::sendCall(zubJexCall* call) {
  bool sent = false;
  while (!sent) {
    trace("** Send RPC request ", call->getName());
    btkOStream* stream = startOutput();
    trace("Begin request JEX s11n");
    zubJexProxyMap* map = getServerProxyMap(serverName.CastToCString());
    serializer->writeCall(stream, *call, map);
    trace("End request JEX s11n");
    sent = finishOutput();
  }
  trace("Exiting zubJexClient::sendCall");
}

void zubJexClient::recieveResponse(zubJexResponse* response) {
  btkIStream* stream = startInput();
  trace("Begin response JEX des11n");
  zubJexProxyMap* map = getServerProxyMap(serverName.CastToCString());
  serializer->readResponse(stream, *response, map, serverName);
  trace("End response JEX des11n");
  trace("** Receive RPC response ", response->getName());
  finishInput();
}

xany zubJexClient::recieveResult(const zubJexCall* call) {
  zubJexResponse response;
  recieveResponse(&response);
  xrtti* returnType = call->getReturnType();
  response.setReturnType(returnType != nullptr ? returnType : zubGetRtti_any());
  switch (response.getKind()) {
    case zubJexResponseValue:
      validateResponse(call, &response);
      return response.getObject();
    case zubJexResponseFault:
      handleFault(&response);
    default:
      zubJexThrowException(getMessageService(), "zubJEX_INVALID_RESPONSE_KIND");
  }
}

void zubJexClient::recieveVoidResult(const zubJexCall* call) {
  zubJexResponse response;
  recieveResponse(&response);
  switch (response.getKind()) {
    case zubJexResponseVoid:
      validateResponse(call, &response);
      return;
    case zubJexResponseFault:
      handleFault(&response);
    default:
      zubJexThrowException(getMessageService(), "zubJEX_INVALID_RESPONSE_KIND");
  }
}

void zubJexClient::validateResponse(const zubJexCall* call, const zubJexResponse* response) {
  // Compared in place: no string is made per call.
  const xstring& callName = call->getName();
  const xstring& responseName = response->getName();
  const std::string_view method = methodPart(callName);
  const std::string_view answer = methodPart(responseName);
  if (!answers(answer, method, "Response") && !answers(answer, method, "Reply")) {
    zubJexThrowException(getMessageService(), "zubJEX_INVALID_RESPONSE_NAME");
  }
  const xany& value = response->getObject();
  xrtti* returnType = response->getReturnType();
  if (returnType == nullptr) {
    if (!value.isuninit()) {
      zubJexThrowException(getMessageService(), "zubJEX_VALUE_IN_VOID_METHOD_RESPONSE");
    }
  } else if (value.isuninit()) {
    zubJexThrowException(getMessageService(), "zubJEX_MISSING_RETURN_VALUE", returnType->getName());
  }
}
