// A client connection of the server that speaks bare frames (transport/frame.h), over
// TCP or TLS: waits for a request without a buffer, reads the frame into a buffer that
// grows with the bytes that arrive, and sends the framed response.
#ifndef ZUBJEX_SERVER_DETAIL_TCP_CONNECTION_H_
#define ZUBJEX_SERVER_DETAIL_TCP_CONNECTION_H_

#include <cstddef>
#include <cstdint>

#include "server/detail/connection.h"
#include "server/detail/growing_buffer.h"
#include "transport/frame.h"

// See zubJexConnection for ownership and threads.
class zubJexTcpConnection : public zubJexConnection {
 public:
  using zubJexConnection::zubJexConnection;

 private:
  // Waits, with no buffer but the frame header's, for the first byte of a request.
  void awaitRequest(int timeoutMs) override;
  void trimBuffers(size_t keep) override;
  void onRequestBegun(const boost::system::error_code& error, size_t received);
  void readHeader();
  void onHeaderBytes(const boost::system::error_code& error, size_t received);
  void readMessage();
  void onMessageBytes(const boost::system::error_code& error, size_t received);
  // Takes what the socket holds for `rest` without waiting and returns how many bytes
  // came. When none are there it starts a wait whose bytes go to `onBytes`, and returns
  // 0; on an error it closes the connection and returns 0.
  template <void (zubJexTcpConnection::*onBytes)(const boost::system::error_code&, size_t)>
  size_t readNowOrWait(const boost::asio::mutable_buffer& rest);
  void serveRequest();
  void onResponseSent(const boost::system::error_code& error);

  uint8_t header_[kZubJexFrameHeaderSize];
  size_t headerReceived_ = 0;
  uint32_t messageSize_ = 0;
  size_t messageReceived_ = 0;
  zubJexGrowingBuffer buffer_;  // the message
  uint8_t responseHeader_[kZubJexFrameHeaderSize];
};

#endif  // ZUBJEX_SERVER_DETAIL_TCP_CONNECTION_H_
