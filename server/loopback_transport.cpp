#include "server/loopback_transport.h"

namespace {
// The name under which the dispatcher knows every loopback client.
const char* const kLoopbackPeer = "loopback";
}  // namespace

zubJexLoopbackTransport::zubJexLoopbackTransport(zubJexDispatcher& dispatcher)
    : dispatcher_(dispatcher) {}

btkOStream* zubJexLoopbackTransport::startOutput() {
  request_.Clear();
  answered_ = false;
  return &request_;
}

int zubJexLoopbackTransport::finishOutput() {
  static const xstring peer(kLoopbackPeer);
  requestIn_.Reset(request_.data(), request_.size());
  answered_ = dispatcher_.dispatch(&requestIn_, response_, peer);
  return zubJexFinishDone;
}

btkIStream* zubJexLoopbackTransport::startInput() {
  if (!answered_) return nullptr;
  answered_ = false;
  responseIn_.Reset(response_.data(), response_.size());
  return &responseIn_;
}

zubJexTransport* zubJexLoopbackTransportFactory::createTransport() {
  return new zubJexLoopbackTransport(dispatcher_);
}
