#include "transport/tcp_transport.h"

#include "platform/exceptions.h"

zubJexTcpTransport::zubJexTcpTransport(const zubJexTcpOptions& options)
    : options_(options),
      request_(options.maxFrameSize),
      reader_(options.maxFrameSize, options.keptReceiveBuffer) {}

void zubJexTcpTransport::open(xstring serverName) {
  server_.assign(serverName.CastToCString(), serverName.GetMBSize());
}

btkOStream* zubJexTcpTransport::startOutput() {
  request_.begin();
  return &request_;
}

int zubJexTcpTransport::finishOutput() {
  if (reused_ && (reader_.hasPendingBytes() || socket_.isStale())) dropConnection();
  connectIfNeeded();
  clean_ = false;
  try {
    sendRequest();
  } catch (xthrowable* t) {
    xrcunihandle<xthrowable> error = xadoptThrown(t);
    bool retry = reused_;
    dropConnection();
    if (!retry) xthrow(error);
    connectIfNeeded();
    sendRequest();
  }
  reused_ = true;
  clean_ = true;
  return zubJexFinishDone;
}

btkIStream* zubJexTcpTransport::startInput() {
  if (!socket_.isOpen()) return nullptr;
  zubJexFrameReader::Result result;
  clean_ = false;
  try {
    zubTcpDeadline deadline = zubTcpDeadline::after(options_.ioTimeoutMs);
    result = reader_.read(socket_, deadline, options_.ioTimeoutMs);
  } catch (xthrowable*) {
    dropConnection();
    throw;
  }
  if (result != zubJexFrameReader::kFrame) {
    dropConnection();
    if (result == zubJexFrameReader::kTimedOut) zubTcpRaise("timed out waiting for " + server_);
    zubTcpRaise("connection closed by " + server_);
  }
  response_.reset(reader_.message(), reader_.messageSize());
  clean_ = true;
  return &response_;
}

void zubJexTcpTransport::close() {
  if (!clean_) {
    dropConnection();
  } else {
    reader_.releaseFrame();  // the response has been read: a large buffer goes back
  }
}

void zubJexTcpTransport::disconnect() { dropConnection(); }

void zubJexTcpTransport::reportException(xrchandle<zubXSerialization> error) {}

void zubJexTcpTransport::dropConnection() {
  socket_.close();
  reader_.reset();
  reused_ = false;
  clean_ = true;
}

void zubJexTcpTransport::connectIfNeeded() {
  if (socket_.isOpen()) return;
  socket_ = zubTcpSocket::connect(server_, options_.connectTimeoutMs);
  // Every response wait starts with a deadline of ioTimeoutMs: it then blocks in the
  // receive itself.
  socket_.setReceiveTimeout(options_.ioTimeoutMs);
}

void zubJexTcpTransport::sendRequest() {
  socket_.sendAll(request_.frame(), request_.frameSize(),
                  zubTcpDeadline::after(options_.ioTimeoutMs));
}

zubJexTcpTransportFactory::zubJexTcpTransportFactory(const zubJexTcpOptions& options)
    : options_(options) {}

zubJexTransport* zubJexTcpTransportFactory::createTransport() {
  return new zubJexTcpTransport(options_);
}
