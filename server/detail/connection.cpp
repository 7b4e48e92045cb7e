#include "server/detail/connection.h"

#include <boost/asio/post.hpp>
#include <exception>
#include <utility>

#include "platform/exceptions.h"
#include "server/detail/caller_scope.h"

namespace {

zubJexCaller callerAt(zubJexServerStream& stream) {
  zubJexCaller caller;
  caller.address = stream.peerAddress();
  return caller;
}

}  // namespace

zubJexConnection::zubJexConnection(Socket socket, boost::asio::ssl::context* tls,
                                   zubJexDispatcher& dispatcher,
                                   const zubJexTcpServerOptions& options,
                                   zubJexConnectionSlots& slots)
    : stream_(std::move(socket), tls),
      options_(options),
      timer_(stream_.get_executor()),
      dispatcher_(dispatcher),
      slots_(slots),
      caller_(callerAt(stream_)),
      peer_(caller_.address.c_str()) {
  boost::system::error_code ignored;
  stream_.socket().set_option(boost::asio::ip::tcp::no_delay(true), ignored);
}

zubJexConnection::~zubJexConnection() { slots_.release(*this); }

void zubJexConnection::start() {
  boost::asio::post(stream_.get_executor(), [self = shared_from_this()] {
    if (!self->stream_.isTls()) return self->awaitRequest(self->options_.firstRequestTimeoutMs);
    self->armTimer(self->options_.tls.handshakeTimeoutMs);
    self->stream_.async_handshake(
        [self](const boost::system::error_code& error) { self->onHandshake(error); });
  });
}

void zubJexConnection::onHandshake(const boost::system::error_code& error) {
  if (closed_) return;
  if (error) return close();
  caller_.certificateSubject = stream_.peerSubject();
  awaitRequest(options_.firstRequestTimeoutMs);
}

void zubJexConnection::closeSoon() {
  boost::asio::post(stream_.get_executor(), [self = shared_from_this()] { self->close(); });
}

bool zubJexConnection::beginRequest(const boost::system::error_code& error) {
  if (closed_) return false;
  // A connection put out to make room (or by stop) while its bytes were arriving
  // closes all the same: its slot is gone.
  if (error || !slots_.stopWaiting(*this)) {
    close();
    return false;
  }
  armTimer(options_.frameTimeoutMs);
  return true;
}

zubJexConnection::Served zubJexConnection::serve(const uint8_t* message, size_t size) {
  disarmTimer();
  if (!response_) response_.reset(new btkMemOStream());
  request_.reset(message, size);
  zubJexCallerScope scope(caller_);
  try {
    return dispatcher_.dispatch(&request_, *response_, peer_) ? kAnswered : kOneWay;
  } catch (xthrowable* t) {
    xadoptThrown(t);  // never for a bad request; the server cannot answer: give up
  } catch (const std::exception&) {
  }
  return kFailed;
}

void zubJexConnection::finishExchange() {
  disarmTimer();
  trimBuffers(options_.keptBufferSize);
  if (response_ && response_->size() > options_.keptBufferSize) response_.reset();
  if (!slots_.startWaiting(shared_from_this())) return close();
  awaitRequest(options_.idleTimeoutMs);
}

void zubJexConnection::armTimer(int timeoutMs) {
  if (timeoutMs <= 0) return disarmTimer();
  deadline_ = Clock::now() + std::chrono::milliseconds(timeoutMs);
  if (timerWaiting_ && waitEnds_ <= deadline_) return;
  startTimerWait();
}

void zubJexConnection::disarmTimer() { deadline_ = Clock::time_point::max(); }

void zubJexConnection::startTimerWait() {
  const uint64_t wait = ++timerWaits_;
  timerWaiting_ = true;
  waitEnds_ = deadline_;
  timer_.expires_at(deadline_);
  timer_.async_wait([self = shared_from_this(), wait](const boost::system::error_code& error) {
    self->onTimerWait(error, wait);
  });
}

void zubJexConnection::onTimerWait(const boost::system::error_code& error, uint64_t wait) {
  if (closed_ || wait != timerWaits_) return;
  timerWaiting_ = false;
  if (error || deadline_ == Clock::time_point::max()) return;
  if (Clock::now() >= deadline_) return close();
  startTimerWait();
}

void zubJexConnection::close() {
  if (closed_) return;
  closed_ = true;
  timer_.cancel();
  // Ends the operation in progress with an error. Its buffers stay until the connection
  // goes: a TLS operation may still copy into them on its way to the error.
  stream_.close();
  slots_.release(*this);
}
