// One client connection of the TCP server, on Boost.Asio: waits for a request without
// a buffer, reads the frame into a buffer that grows with the bytes that arrive, runs
// the request through the dispatcher and sends the response, each step within its time
// limit (zubJexTcpServerOptions).
#ifndef ZUBJEX_SERVER_DETAIL_TCP_CONNECTION_H_
#define ZUBJEX_SERVER_DETAIL_TCP_CONNECTION_H_

#include <boost/asio/basic_stream_socket.hpp>
#include <boost/asio/basic_waitable_timer.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/strand.hpp>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>

#include "platform/memory_streams.h"
#include "server/detail/connection_slots.h"
#include "server/dispatcher.h"
#include "server/tcp_server.h"
#include "transport/frame.h"
#include "transport/frame_reader.h"

// Owned by shared pointers: the operations in progress hold it, and the slots while it
// waits for a request. Every step runs on the connection's strand, so one thread at a
// time touches it; closeSoon may be called from any thread. The dispatcher, options
// and slots are borrowed and outlive every connection (the server joins its workers
// before it lets go of them).
class zubJexTcpConnection : public zubJexSlotMember,
                            public std::enable_shared_from_this<zubJexTcpConnection> {
 public:
  using Strand = boost::asio::strand<boost::asio::io_context::executor_type>;
  using Socket = boost::asio::basic_stream_socket<boost::asio::ip::tcp, Strand>;

  // Takes over `socket`, a freshly accepted connection.
  zubJexTcpConnection(Socket socket, zubJexDispatcher& dispatcher,
                      const zubJexTcpServerOptions& options, zubJexConnectionSlots& slots);
  ~zubJexTcpConnection() override;
  zubJexTcpConnection(const zubJexTcpConnection&) = delete;
  zubJexTcpConnection& operator=(const zubJexTcpConnection&) = delete;

  // Begins serving, once the slots have admitted the connection (as waiting for its
  // first request).
  void start();
  void closeSoon() override;

 private:
  using Timer = boost::asio::basic_waitable_timer<
      std::chrono::steady_clock, boost::asio::wait_traits<std::chrono::steady_clock>, Strand>;

  // Waits, with no buffer but the frame header's, for the first byte of a request.
  void awaitRequest(int timeoutMs);
  void onRequestBegun(const boost::system::error_code& error, size_t received);
  void readHeader();
  void onHeaderBytes(const boost::system::error_code& error, size_t received);
  void readMessage();
  void onMessageBytes(const boost::system::error_code& error, size_t received);
  // Room for more message bytes: never more than the bytes already received plus one
  // chunk, nor more than the frame.
  void growBuffer();
  void serveRequest();
  void onResponseSent(const boost::system::error_code& error);
  // Gives back large buffers and waits for the next request, unless the connection has
  // lost its slot.
  void finishExchange();

  // Closes the connection when `timeoutMs` (zero or less: never) passes before the
  // next arm or disarm.
  void armTimer(int timeoutMs);
  void disarmTimer();
  void close();

  Socket socket_;
  Timer timer_;
  zubJexDispatcher& dispatcher_;
  const zubJexTcpServerOptions& options_;
  zubJexConnectionSlots& slots_;
  const xstring peer_;  // the client's "host:port", for the dispatcher
  bool closed_ = false;
  uint64_t timerArmed_ = 0;  // counts arms, so that a stale expiry is ignored

  uint8_t header_[kZubJexFrameHeaderSize];
  size_t headerReceived_ = 0;
  uint32_t messageSize_ = 0;
  size_t messageReceived_ = 0;
  std::unique_ptr<uint8_t[]> buffer_;  // the message, null while no frame needs it
  size_t capacity_ = 0;
  zubJexMessageIStream request_;
  std::unique_ptr<btkMemOStream> response_;  // null until the first response
  uint8_t responseHeader_[kZubJexFrameHeaderSize];
};

#endif  // ZUBJEX_SERVER_DETAIL_TCP_CONNECTION_H_
