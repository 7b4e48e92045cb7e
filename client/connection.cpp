// The client's use of its transport: made and opened at the first call, one exchange
// per call, closed at the end of each.
#include "client/jex_client.h"
#include "client/transport.h"
#include "errors/message_service.h"

void zubJexClient::openConnection() {
  if (transport != nullptr) return;
  zubJexTransportFactory* factory = config.getJexTransportFactory();
  if (factory == nullptr) {
    zubJexThrowException(getMessageService(), "zubJEX_MISSING_TRANSPORT_FACTORY", serverName);
  }
  transport = factory->createTransport();
  if (transport == nullptr) {
    zubJexThrowException(getMessageService(), "zubJEX_FAILED_CREATE_TRANSPORT", serverName);
  }
  transport->open(serverName);
}

btkOStream* zubJexClient::startOutput() {
  btkOStream* stream = transport->startOutput();
  if (stream == nullptr) zubJexThrowException(getMessageService(), "zubJEX_FAILED_GET_REQUEST");
  return stream;
}

bool zubJexClient::finishOutput() {
  switch (transport->finishOutput()) {
    case zubJexFinishFailed:
      zubJexThrowException(getMessageService(), "zubJEX_FAILED_FINISH_CALL");
    case zubJexFinishResend:
      transport->close();
      return false;
    default:
      return true;
  }
}

btkIStream* zubJexClient::startInput() {
  btkIStream* stream = transport->startInput();
  if (stream == nullptr) zubJexThrowException(getMessageService(), "zubJEX_FAILED_GET_RESPONSE");
  return stream;
}

void zubJexClient::finishInput() {}

void zubJexClient::closeConnection() {
  if (transport != nullptr) transport->close();
  freeInstance(this);
}
