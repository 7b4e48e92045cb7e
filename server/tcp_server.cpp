#include "server/tcp_server.h"

#include <chrono>
#include <exception>
#include <utility>

#include "platform/exceptions.h"
#include "platform/memory_streams.h"
#include "transport/frame.h"
#include "transport/frame_reader.h"

namespace {
// The pause after a failed accept, so that a lack of descriptors does not spin.
constexpr std::chrono::milliseconds kAcceptRetryPause(5);
}  // namespace

zubJexTcpServer::zubJexTcpServer(zubJexDispatcher& dispatcher,
                                 const zubJexTcpServerOptions& options)
    : dispatcher_(dispatcher), options_(options) {}

zubJexTcpServer::~zubJexTcpServer() { stop(); }

void zubJexTcpServer::start() {
  if (running_) return;
  stopping_.store(false);
  stopSignal_.reset();
  listener_ = zubTcpListener::listen(options_.host, options_.port);
  port_ = listener_.port();
  address_ = listener_.address();
  acceptThread_ = std::thread(&zubJexTcpServer::acceptLoop, this);
  running_ = true;
}

void zubJexTcpServer::stop() {
  if (!running_) return;
  stopping_.store(true);
  stopSignal_.signal();
  acceptThread_.join();
  listener_.close();
  std::list<Connection> connections;
  {
    std::lock_guard<std::mutex> lock(connectionsMutex_);
    interruptWaitingConnections();
    connections.swap(connections_);
  }
  for (Connection& connection : connections) connection.thread.join();
  running_ = false;
}

void zubJexTcpServer::acceptLoop() {
  for (;;) {
    zubTcpSocket socket;
    bool failed = false;
    try {
      socket = listener_.accept(zubTcpDeadline::never(), stopSignal_.fd());
    } catch (xthrowable* t) {
      xadoptThrown(t);
      failed = true;
    }
    if (stopping_.load()) return;
    reapFinished();
    if (!socket.isOpen()) {
      if (failed) std::this_thread::sleep_for(kAcceptRetryPause);
      continue;
    }
    if (connectionCount_.load() >= options_.maxConnections) continue;  // closes it
    std::lock_guard<std::mutex> lock(connectionsMutex_);
    connections_.emplace_back();
    Connection* connection = &connections_.back();
    ++connectionCount_;
    try {
      connection->thread =
          std::thread(&zubJexTcpServer::serve, this, std::move(socket), connection);
    } catch (const std::exception&) {
      --connectionCount_;
      connections_.pop_back();
    }
  }
}

void zubJexTcpServer::reapFinished() {
  std::lock_guard<std::mutex> lock(connectionsMutex_);
  for (auto it = connections_.begin(); it != connections_.end();) {
    if (!it->finished.load()) {
      ++it;
      continue;
    }
    it->thread.join();
    it = connections_.erase(it);
  }
}

// A connection's thread marks itself kWaiting and then reads stopping_; stop sets
// stopping_ and then interrupts the connections it finds kWaiting (all sequentially
// consistent). So either the thread sees stopping_ and ends, or stop finds it waiting
// and shuts its receiving side down, which ends the wait at once or makes the thread's
// exchange to kBusy find kInterrupted. A thread already busy finishes its call, sends
// the response and sees stopping_ before it waits again.
void zubJexTcpServer::interruptWaitingConnections() {
  for (Connection& connection : connections_) {
    int waiting = kWaiting;
    if (connection.state.compare_exchange_strong(waiting, kInterrupted)) {
      connection.socket->shutdownReceiving();
    }
  }
}

void zubJexTcpServer::serve(zubTcpSocket socket, Connection* connection) {
  connection->socket = &socket;
  try {
    serveRequests(socket, *connection);
  } catch (xthrowable* t) {
    xadoptThrown(t);  // a broken, stalled or misbehaving connection: closed below
  } catch (const std::exception&) {
  }
  {
    // Never while stop may still shut the descriptor down: it could be another's by then.
    std::lock_guard<std::mutex> lock(connectionsMutex_);
    connection->state.store(kDone);
    socket.close();
  }
  --connectionCount_;
  connection->finished.store(true);
}

void zubJexTcpServer::serveRequests(zubTcpSocket& socket, Connection& connection) {
  // The wait for the next request blocks in the receive itself (see zubTcpSocket).
  socket.setReceiveTimeout(options_.idleTimeoutMs);
  zubJexFrameReader reader(options_.maxFrameSize);
  zubJexMessageIStream request;
  btkMemOStream response;
  const xstring peer(socket.peer().c_str());
  uint8_t header[kZubJexFrameHeaderSize];
  for (;;) {
    if (!reader.hasPendingBytes()) {  // a request already buffered is served regardless
      connection.state.store(kWaiting);
      if (stopping_.load()) return;
    }
    zubJexFrameReader::Result begun =
        reader.awaitFrame(socket, zubTcpDeadline::after(options_.idleTimeoutMs));
    if (connection.state.exchange(kBusy) == kInterrupted) return;
    if (begun != zubJexFrameReader::kFrame) return;
    reader.finishFrame(socket, options_.ioTimeoutMs);
    request.reset(reader.message(), reader.messageSize());
    if (!dispatcher_.dispatch(&request, response, peer)) continue;
    zubJexEncodeFrameLength(static_cast<uint32_t>(response.size()), header);
    socket.sendAll(header, sizeof(header), response.data(), response.size(),
                   zubTcpDeadline::after(options_.ioTimeoutMs));
  }
}
