#include "server/detail/tcp_connection.h"

#include <algorithm>
#include <array>
#include <boost/asio/buffer.hpp>
#include <boost/asio/write.hpp>

void zubJexTcpConnection::awaitRequest(int timeoutMs) {
  if (closed_) return;
  armTimer(timeoutMs);
  headerReceived_ = 0;
  stream_.async_read_some(boost::asio::buffer(header_),
                          [self = self<zubJexTcpConnection>()](
                              const boost::system::error_code& error, size_t received) {
                            self->onRequestBegun(error, received);
                          });
}

void zubJexTcpConnection::trimBuffers(size_t keep) { buffer_.trim(keep); }

void zubJexTcpConnection::onRequestBegun(const boost::system::error_code& error, size_t received) {
  if (!beginRequest(error)) return;
  headerReceived_ = received;
  readHeader();
}

void zubJexTcpConnection::readHeader() {
  if (headerReceived_ < sizeof(header_)) {
    stream_.async_read_some(
        boost::asio::buffer(header_ + headerReceived_, sizeof(header_) - headerReceived_),
        [self = self<zubJexTcpConnection>()](const boost::system::error_code& error,
                                             size_t received) {
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
  buffer_.grow(messageReceived_, 1, messageSize_);
  // Never beyond the frame: what follows it is the next request, left to the socket.
  const size_t room = std::min<size_t>(buffer_.capacity(), messageSize_) - messageReceived_;
  stream_.async_read_some(boost::asio::buffer(buffer_.data() + messageReceived_, room),
                          [self = self<zubJexTcpConnection>()](
                              const boost::system::error_code& error, size_t received) {
                            self->onMessageBytes(error, received);
                          });
}

void zubJexTcpConnection::onMessageBytes(const boost::system::error_code& error, size_t received) {
  if (closed_) return;
  if (error) return close();
  messageReceived_ += received;
  readMessage();
}

void zubJexTcpConnection::serveRequest() {
  const Served served = serve(buffer_.data(), messageSize_);
  if (served == kFailed) return close();
  if (served == kOneWay) return finishExchange();
  zubJexEncodeFrameLength(static_cast<uint32_t>(response().size()), responseHeader_);
  armTimer(options_.writeTimeoutMs);
  const std::array<boost::asio::const_buffer, 2> frame = {
      boost::asio::buffer(responseHeader_),
      boost::asio::buffer(response().data(), response().size())};
  boost::asio::async_write(
      stream_, frame,
      [self = self<zubJexTcpConnection>()](const boost::system::error_code& error, size_t) {
        self->onResponseSent(error);
      });
}

void zubJexTcpConnection::onResponseSent(const boost::system::error_code& error) {
  if (closed_) return;
  if (error) return close();
  finishExchange();
}
