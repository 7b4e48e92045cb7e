// What every client connection of the server does alike, whatever it speaks (frames or
// HTTP, with or without TLS): the TLS handshake, the time limit of each step, the
// connection's slot, running a request through the dispatcher, and closing.
#ifndef ZUBJEX_SERVER_DETAIL_CONNECTION_H_
#define ZUBJEX_SERVER_DETAIL_CONNECTION_H_

#include <boost/asio/basic_waitable_timer.hpp>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>

#include "platform/memory_streams.h"
#include "server/caller.h"
#include "server/detail/connection_slots.h"
#include "server/detail/server_stream.h"
#include "server/dispatcher.h"
#include "server/tcp_server.h"
#include "transport/frame_reader.h"

// Owned by shared pointers: the operations in progress hold it, and the slots while it
// waits for a request. Every step runs on the connection's strand, so one thread at a
// time touches it; closeSoon may be called from any thread. The dispatcher, options,
// slots and TLS context are borrowed and outlive every connection (the server joins its
// workers before it lets go of them).
//
// A protocol (a subclass) waits for a request with awaitRequest, calls beginRequest at
// its first byte, serve once it is whole, and finishExchange once the answer is sent.
class zubJexConnection : public zubJexSlotMember,
                         public std::enable_shared_from_this<zubJexConnection> {
 public:
  using Strand = zubJexServerStream::Strand;
  using Socket = zubJexServerStream::Socket;

  // Takes over `socket`, a freshly accepted connection; TLS with `tls` unless it is null.
  zubJexConnection(Socket socket, boost::asio::ssl::context* tls, zubJexDispatcher& dispatcher,
                   const zubJexTcpServerOptions& options, zubJexConnectionSlots& slots);
  ~zubJexConnection() override;
  zubJexConnection(const zubJexConnection&) = delete;
  zubJexConnection& operator=(const zubJexConnection&) = delete;

  // Begins serving, once the slots have admitted the connection (as waiting for its
  // first request): the TLS handshake if any, then the first request.
  void start();
  void closeSoon() override;

 protected:
  // What serve did with a request.
  enum Served { kAnswered, kOneWay, kFailed };

  // Waits for the first byte of the next request, within `timeoutMs`.
  virtual void awaitRequest(int timeoutMs) = 0;
  // Gives back the protocol's request buffers that hold more than `keep` bytes.
  virtual void trimBuffers(size_t keep) = 0;

  // The first byte of a request has arrived: the connection is busy and the request
  // must be whole within the frame time-out. False (the connection closed) when it has
  // lost its slot or the read failed.
  bool beginRequest(const boost::system::error_code& error);
  // Runs the request message through the dispatcher with the caller set; the response
  // message is then in response(). kFailed when the server cannot answer (never for a
  // bad request).
  Served serve(const uint8_t* message, size_t size);
  btkMemOStream& response() { return *response_; }
  // The answer is sent (or there is none): gives back large buffers and waits for the
  // next request, unless the connection has lost its slot.
  void finishExchange();
  // Closes the connection when `timeoutMs` (zero or less: never) passes before the
  // next arm or disarm. Cheap when the timer's wait already ends no later than the new
  // deadline: a wait that ends before its deadline waits again for the rest, so a
  // steady exchange restarts the timer about once per frame time-out, not per step.
  void armTimer(int timeoutMs);
  void disarmTimer();
  void close();

  template <class Derived>
  std::shared_ptr<Derived> self() {
    return std::static_pointer_cast<Derived>(shared_from_this());
  }

  zubJexServerStream stream_;
  const zubJexTcpServerOptions& options_;
  bool closed_ = false;

 private:
  using Timer = boost::asio::basic_waitable_timer<
      std::chrono::steady_clock, boost::asio::wait_traits<std::chrono::steady_clock>, Strand>;

  using Clock = std::chrono::steady_clock;

  void onHandshake(const boost::system::error_code& error);
  // Starts the timer's wait, ending at deadline_; replaces a wait in progress.
  void startTimerWait();
  void onTimerWait(const boost::system::error_code& error, uint64_t wait);

  Timer timer_;
  zubJexDispatcher& dispatcher_;
  zubJexConnectionSlots& slots_;
  zubJexCaller caller_;
  const xstring peer_;                                     // caller_.address, for the dispatcher
  Clock::time_point deadline_ = Clock::time_point::max();  // max: disarmed
  bool timerWaiting_ = false;  // a wait of timer_ is in progress, ending at waitEnds_
  Clock::time_point waitEnds_;
  uint64_t timerWaits_ = 0;  // counts waits, so that a replaced one is ignored
  zubJexMessageIStream request_;
  std::unique_ptr<btkMemOStream> response_;  // null until the first response
};

#endif  // ZUBJEX_SERVER_DETAIL_CONNECTION_H_
