#include "transport/tcp_transport.h"

#include <algorithm>

#include "client/deadline.h"
#include "platform/exceptions.h"
#include "transport/address.h"
#include "transport/detail/tls_context.h"
#include "transport/detail/tls_session.h"

namespace {

// "a:1, b:2" -> {"a:1", "b:2"}; blanks around the addresses are dropped.
std::vector<std::string> SplitAddresses(const std::string& name) {
  std::vector<std::string> addresses;
  size_t start = 0;
  for (;;) {
    size_t comma = name.find(',', start);
    std::string part = name.substr(start, comma == std::string::npos ? comma : comma - start);
    size_t first = part.find_first_not_of(" \t");
    size_t last = part.find_last_not_of(" \t");
    addresses.push_back(first == std::string::npos ? "" : part.substr(first, last - first + 1));
    if (comma == std::string::npos) return addresses;
    start = comma + 1;
  }
}

std::string DescriptionOf(xthrowable* error) {
  zubXException* ex = zubXException::softcast(error);
  xstring text = ex != nullptr ? ex->getDescription() : error->getZubTypeName();
  return std::string(text.CastToCString(), text.GetMBSize());
}

std::shared_ptr<zubTlsContext> TlsContextFor(const zubJexTlsOptions& options) {
  return options.enabled ? std::make_shared<zubTlsContext>(options) : nullptr;
}

}  // namespace

// The end of one wait: the earlier of its own time-out and the calling thread's call
// deadline, and which of the two it is.
class zubJexTcpTransport::WaitBound {
 public:
  explicit WaitBound(int timeoutMs) : call_(zubJexDeadline::at()) {
    zubTcpDeadline own = zubTcpDeadline::after(timeoutMs);
    byCall_ = zubJexDeadline::active() && call_ <= own.when();
    deadline_ = byCall_ ? zubTcpDeadline::at(call_) : own;
  }
  const zubTcpDeadline& deadline() const { return deadline_; }
  // The call's deadline ends this wait and has passed: a wait that ended now, however it
  // ended, ended because of it.
  bool callDeadlinePassed() const { return byCall_ && std::chrono::steady_clock::now() >= call_; }

 private:
  std::chrono::steady_clock::time_point call_;
  bool byCall_;
  zubTcpDeadline deadline_ = zubTcpDeadline::never();
};

zubJexTcpTransport::zubJexTcpTransport(const zubJexTcpOptions& options)
    : zubJexTcpTransport(options, nullptr) {}

zubJexTcpTransport::zubJexTcpTransport(const zubJexTcpOptions& options,
                                       std::shared_ptr<zubTlsContext> tls)
    : options_(options),
      tls_(!options.tls.enabled ? nullptr
           : tls                ? std::move(tls)
                                : TlsContextFor(options.tls)),
      request_(options.maxFrameSize),
      reader_(options.maxFrameSize, options.keptReceiveBuffer) {}

zubJexTcpTransport::~zubJexTcpTransport() { dropConnection(); }

void zubJexTcpTransport::open(xstring serverName) {
  server_.assign(serverName.CastToCString(), serverName.GetMBSize());
  addresses_ = SplitAddresses(server_);
}

btkOStream* zubJexTcpTransport::startOutput() {
  request_.begin();
  return &request_;
}

int zubJexTcpTransport::finishOutput() {
  if (zubJexDeadline::expired()) zubJexRaiseDeadlineExceeded(server_.c_str());
  if (reused_ && (reader_.hasPendingBytes() || isStale())) dropConnection();
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
    clean_ = false;
    sendRequest();
  }
  reused_ = true;
  clean_ = true;
  return zubJexFinishDone;
}

btkIStream* zubJexTcpTransport::startInput() {
  if (!socket_.isOpen()) return nullptr;
  clean_ = false;
  try {
    WaitBound start(options_.ioTimeoutMs);
    zubJexFrameReader::Result result = reader_.awaitFrame(channel(), start.deadline());
    if (result == zubJexFrameReader::kTimedOut) {
      raiseIfDeadline(start);
      zubTcpRaise("timed out waiting for " + socket_.peer());
    }
    if (result == zubJexFrameReader::kClosed) zubTcpRaise("connection closed by " + socket_.peer());
    WaitBound rest(options_.ioTimeoutMs);
    try {
      reader_.finishFrame(channel(), rest.deadline());
    } catch (xthrowable* t) {
      xrcunihandle<xthrowable> error = xadoptThrown(t);
      raiseIfDeadline(rest);
      xthrow(error);
    }
  } catch (...) {
    dropConnection();
    throw;
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
  session_.reset();
  socket_.close();
  reader_.reset();
  reused_ = false;
  clean_ = true;
}

void zubJexTcpTransport::connectIfNeeded() {
  if (socket_.isOpen()) return;
  if (tls_) tls_->get();  // files that cannot be used fail the call before any connection
  std::string address = connectToFirstAnswering();
  // Every response wait starts with a deadline of ioTimeoutMs: it then blocks in the
  // receive itself, with TLS too.
  socket_.setReceiveTimeout(options_.ioTimeoutMs);
  if (tls_) startTls(address);
}

std::string zubJexTcpTransport::connectToFirstAnswering() {
  std::string failures;
  for (const std::string& address : addresses_) {
    WaitBound bound(options_.connectTimeoutMs);
    try {
      socket_ = zubTcpSocket::connect(address, bound.deadline());
      return address;
    } catch (xthrowable* t) {
      xrcunihandle<xthrowable> error = xadoptThrown(t);
      raiseIfDeadline(bound);
      if (addresses_.size() == 1) xthrow(error);
      failures += (failures.empty() ? "" : "; ") + DescriptionOf(error.get());
    }
  }
  zubTcpRaise("cannot connect to any of " + server_ + ": " + failures);
}

void zubJexTcpTransport::startTls(const std::string& address) {
  zubTcpAddress parsed;
  zubTcpParseAddress(address, parsed);  // connected to it: it parses
  WaitBound bound(options_.connectTimeoutMs);
  try {
    session_.reset(new zubTlsSession(*tls_, socket_, parsed.host, bound.deadline()));
  } catch (xthrowable* t) {
    xrcunihandle<xthrowable> error = xadoptThrown(t);
    socket_.close();
    raiseIfDeadline(bound);
    xthrow(error);
  }
  ++handshakes_;
}

bool zubJexTcpTransport::isStale() { return session_ ? session_->isStale() : socket_.isStale(); }

void zubJexTcpTransport::sendRequest() {
  WaitBound bound(options_.ioTimeoutMs);
  try {
    channel().sendAll(request_.frame(), request_.frameSize(), bound.deadline());
  } catch (xthrowable* t) {
    xrcunihandle<xthrowable> error = xadoptThrown(t);
    raiseIfDeadline(bound);
    xthrow(error);
  }
}

zubTcpChannel& zubJexTcpTransport::channel() {
  if (session_) return *session_;
  return socket_;
}

void zubJexTcpTransport::raiseIfDeadline(const WaitBound& bound) const {
  if (bound.callDeadlinePassed()) zubJexRaiseDeadlineExceeded(server_.c_str());
}

zubJexTcpTransportFactory::zubJexTcpTransportFactory(const zubJexTcpOptions& options)
    : options_(options), tls_(TlsContextFor(options.tls)) {}

zubJexTcpTransportFactory::~zubJexTcpTransportFactory() = default;

zubJexTransport* zubJexTcpTransportFactory::createTransport() {
  return new zubJexTcpTransport(options_, tls_);
}

uint64_t zubJexTcpTransportFactory::tlsHandshakes() const { return tls_ ? tls_->handshakes() : 0; }
