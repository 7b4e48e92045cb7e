#include "server/detail/tcp_connection.h"

#include <algorithm>
#include <array>
#include <boost/asio/buffer.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/write.hpp>
#include <cstring>
#include <exception>
#include <string>
#include <utility>

#include "platform/exceptions.h"
#include "transport/address.h"

namespace {

// The most that a frame's buffer grows ahead of the bytes received, at first: a length
// field alone never makes the server allocate more. Then the buffer doubles with the
// bytes that arrive, so that a large frame costs few reads and copies.
constexpr size_t kReceiveChunk = 4 * 1024;

std::string peerName(const zubJexTcpConnection::Socket& socket) {
  boost::system::error_code error;
  boost::asio::ip::tcp::endpoint peer = socket.remote_endpoint(error);
  if (error) return "?";
  return zubTcpFormatAddress(peer.address().to_string(), peer.port());
}

}  // namespace

zubJexTcpConnection::zubJexTcpConnection(Socket socket, zubJexDispatcher& dispatcher,
                                         const zubJexTcpServerOptions& options,
                                         zubJexConnectionSlots& slots)
    : socket_(std::move(socket)),
      timer_(socket_.get_executor()),
      dispatcher_(dispatcher),
      options_(options),
      slots_(slots),
      peer_(peerName(socket_).c_str()) {
  boost::system::error_code ignored;
  socket_.set_option(boost::asio::ip::tcp::no_delay(true), ignored);
}

zubJexTcpConnection::~zubJexTcpConnection() { slots_.release(*this); }

void zubJexTcpConnection::start() {
  boost::asio::post(socket_.get_executor(), [self = shared_from_this()] {
    self->awaitRequest(self->options_.firstRequestTimeoutMs);
  });
}

void zubJexTcpConnection::closeSoon() {
  boost::asio::post(socket_.get_executor(), [self = shared_from_this()] { self->close(); });
}

void zubJexTcpConnection::awaitRequest(int timeoutMs) {
  if (closed_) return;
  armTimer(timeoutMs);
  headerReceived_ = 0;
  socket_.async_read_some(
      boost::asio::buffer(header_),
      [self = shared_from_this()](const boost::system::error_code& error, size_t received) {
        self->onRequestBegun(error, received);
      });
}

void zubJexTcpConnection::onRequestBegun(const boost::system::error_code& error, size_t received) {
  if (closed_) return;
  // A connection put out to make room (or by stop) while its bytes were arriving
  // closes all the same: its slot is gone.
  if (error || !slots_.stopWaiting(*this)) return close();
  armTimer(options_.frameTimeoutMs);
  headerReceived_ = received;
  readHeader();
}

void zubJexTcpConnection::readHeader() {
  if (headerReceived_ < sizeof(header_)) {
    socket_.async_read_some(
        boost::asio::buffer(header_ + headerReceived_, sizeof(header_) - headerReceived_),
        [self = shared_from_this()](const boost::system::error_code& error, size_t received) {
          self->onHeaderBytes(error, received);
        });
    return;
  }
  messageSize_ = zubJexDecodeFrameLength(header_);
  if (messageSize_ > options_.maxFrameSize) return close();
  messageReceived_ = 0;
  readMessage();
}

void zubJexTcpConnection::onHeaderBytes(const boost::system::error_code& error, size_t received) {
  if (closed_) return;
  if (error) return close();
  headerReceived_ += received;
  readHeader();
}

void zubJexTcpConnection::readMessage() {
  if (messageReceived_ == messageSize_) return serveRequest();
  if (messageReceived_ == std::min<size_t>(capacity_, messageSize_)) growBuffer();
  // Never beyond the frame: what follows it is the next request, left to the socket.
  const size_t room = std::min<size_t>(capacity_, messageSize_) - messageReceived_;
  socket_.async_read_some(
      boost::asio::buffer(buffer_.get() + messageReceived_, room),
      [self = shared_from_this()](const boost::system::error_code& error, size_t received) {
        self->onMessageBytes(error, received);
      });
}

void zubJexTcpConnection::onMessageBytes(const boost::system::error_code& error, size_t received) {
  if (closed_) return;
  if (error) return close();
  messageReceived_ += received;
  readMessage();
}

void zubJexTcpConnection::growBuffer() {
  const size_t size =
      std::min<size_t>(messageSize_, messageReceived_ + std::max(messageReceived_, kReceiveChunk));
  std::unique_ptr<uint8_t[]> grown(new uint8_t[size]);
  if (messageReceived_ != 0) std::memcpy(grown.get(), buffer_.get(), messageReceived_);
  buffer_ = std::move(grown);
  capacity_ = size;
}

void zubJexTcpConnection::serveRequest() {
  disarmTimer();
  if (!response_) response_.reset(new btkMemOStream());
  request_.reset(buffer_.get(), messageSize_);
  bool answered = false;
  try {
    answered = dispatcher_.dispatch(&request_, *response_, peer_);
  } catch (xthrowable* t) {
    xadoptThrown(t);  // never for a bad request; the server cannot answer: give up
    return close();
  } catch (const std::exception&) {
    return close();
  }
  if (!answered) return finishExchange();  // a one-way call
  zubJexEncodeFrameLength(static_cast<uint32_t>(response_->size()), responseHeader_);
  armTimer(options_.writeTimeoutMs);
  const std::array<boost::asio::const_buffer, 2> frame = {
      boost::asio::buffer(responseHeader_),
      boost::asio::buffer(response_->data(), response_->size())};
  boost::asio::async_write(
      socket_, frame, [self = shared_from_this()](const boost::system::error_code& error, size_t) {
        self->onResponseSent(error);
      });
}

void zubJexTcpConnection::onResponseSent(const boost::system::error_code& error) {
  if (closed_) return;
  if (error) return close();
  finishExchange();
}

void zubJexTcpConnection::finishExchange() {
  disarmTimer();
  if (capacity_ > options_.keptBufferSize) {
    buffer_.reset();
    capacity_ = 0;
  }
  if (response_ && response_->size() > options_.keptBufferSize) response_.reset();
  if (!slots_.startWaiting(shared_from_this())) return close();
  awaitRequest(options_.idleTimeoutMs);
}

void zubJexTcpConnection::armTimer(int timeoutMs) {
  const uint64_t armed = ++timerArmed_;
  if (timeoutMs <= 0) {
    timer_.cancel();
    return;
  }
  timer_.expires_after(std::chrono::milliseconds(timeoutMs));
  timer_.async_wait([self = shared_from_this(), armed](const boost::system::error_code& error) {
    if (!error && armed == self->timerArmed_) self->close();
  });
}

void zubJexTcpConnection::disarmTimer() { armTimer(0); }

void zubJexTcpConnection::close() {
  if (closed_) return;
  closed_ = true;
  ++timerArmed_;
  timer_.cancel();
  boost::system::error_code ignored;
  socket_.close(ignored);  // ends the operation in progress with an error
  slots_.release(*this);
  buffer_.reset();
  response_.reset();
}
