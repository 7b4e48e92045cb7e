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

template <void (zubJexTcpConnection::*onBytes)(const boost::system::error_code&, size_t)>
size_t zubJexTcpConnection::readNowOrWait(const boost::asio::mutable_buffer& rest) {
  boost::system::error_code error;
  const size_t received = stream_.readAvailable(rest, error);
  if (error) {
    close();
    return 0;
  }
  if (received == 0) {
    stream_.async_read_some(rest, [self = self<zubJexTcpConnection>()](
                                      const boost::system::error_code& error, size_t received) {
      ((*self).*onBytes)(error, received);
    });
  }
  return received;
}

void zubJexTcpConnection::readHeader() {
  while (headerReceived_ < sizeof(header_)) {
    const auto rest =
        boost::asio::buffer(header_ + headerReceived_, sizeof(header_) - headerReceived_);
    const size_t received = readNowOrWait<&zubJexTcpConnection::onHeaderBytes>(rest);
    if (received == 0) return;
    headerReceived_ += received;
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
  while (messageReceived_ < messageSize_) {
    buffer_.grow(messageReceived_, 1, messageSize_);
    // Never beyond the frame: what follows it is the next request, left to the socket.
    const size_t room = std::min<size_t>(buffer_.capacity(), messageSize_) - messageReceived_;
    const auto rest = boost::asio::buffer(buffer_.data() + messageReceived_, room);
    const size_t received = readNowOrWait<&zubJexTcpConnection::onMessageBytes>(rest);
    if (received == 0) return;
    messageReceived_ += received;
  }
  serveRequest();
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
  std::array<boost::asio::const_buffer, 2> frame = {
      boost::asio::buffer(responseHeader_),
      boost::asio::buffer(response().data(), response().size())};
  // A response that the socket takes at once is done without the event loop.
  boost::system::error_code error;
  size_t sent = stream_.writeAvailable(frame, error);
  if (error) return close();
  if (sent == frame[0].size() + frame[1].size()) return finishExchange();
  const size_t fromHeader = std::min(sent, frame[0].size());
  frame[0] += fromHeader;
  frame[1] += sent - fromHeader;
  armTimer(options_.writeTimeoutMs);
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
