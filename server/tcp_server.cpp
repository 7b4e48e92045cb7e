#include "server/tcp_server.h"

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <boost/asio/basic_socket_acceptor.hpp>
#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/strand.hpp>
#include <cerrno>
#include <chrono>
#include <exception>
#include <thread>
#include <utility>
#include <vector>

#include "platform/exceptions.h"
#include "server/detail/connection_slots.h"
#include "server/detail/http_connection.h"
#include "server/detail/tcp_connection.h"
#include "server/detail/tls_context.h"
#include "transport/address.h"
#include "transport/listener.h"
#include "transport/socket.h"

namespace {

using Strand = zubJexConnection::Strand;
using Acceptor = boost::asio::basic_socket_acceptor<boost::asio::ip::tcp, Strand>;
using Timer =
    boost::asio::basic_waitable_timer<std::chrono::steady_clock,
                                      boost::asio::wait_traits<std::chrono::steady_clock>, Strand>;

// The pause after a failed accept, so that a lack of descriptors does not spin.
constexpr std::chrono::milliseconds kAcceptRetryPause(5);

int workerCount(int threads) {
  if (threads > 0) return threads;
  return std::max(1, static_cast<int>(std::thread::hardware_concurrency()));
}

}  // namespace

// The server's state. The slots live as long as the server; everything of one run
// (from start to stop) lives in Run.
class zubJexTcpServer::Impl {
 public:
  Impl(zubJexDispatcher& dispatcher, const zubJexTcpServerOptions& options)
      : dispatcher_(dispatcher), options_(options), slots_(options.maxConnections) {}

  bool running() const { return run_ != nullptr; }
  // Listens, starts the workers and the first accept; returns the bound address.
  std::string start(int* port);
  void stop();
  int connectionCount() const { return slots_.count(); }

 private:
  struct Run {
    explicit Run(int threads)
        : io(threads),
          strand(boost::asio::make_strand(io)),
          acceptor(strand),
          retry(strand),
          work(boost::asio::make_work_guard(io)) {}

    boost::asio::io_context io;
    Strand strand;  // the acceptor's and its retry timer's
    Acceptor acceptor;
    Timer retry;
    boost::asio::executor_work_guard<boost::asio::io_context::executor_type> work;
    std::vector<std::thread> workers;
  };

  void accept();
  void onAccept(const boost::system::error_code& error, zubJexConnection::Socket socket);
  // A connection of the server's protocol for `socket`.
  std::shared_ptr<zubJexConnection> connectionFor(zubJexConnection::Socket socket);
  static void work(boost::asio::io_context& io);

  zubJexDispatcher& dispatcher_;
  const zubJexTcpServerOptions options_;
  zubJexConnectionSlots slots_;
  // The connections' TLS settings, null without TLS; made by start, kept until the next
  // start (connections of a stopped run have ended by then).
  std::unique_ptr<boost::asio::ssl::context> tls_;
  std::unique_ptr<Run> run_;  // null while stopped; start and stop only
  std::atomic<bool> stopping_{false};
};

std::string zubJexTcpServer::Impl::start(int* port) {
  if (options_.tls.enabled) tls_ = zubJexMakeServerTlsContext(options_.tls);
  zubTcpListener listener = zubTcpListener::listen(options_.host, options_.port);
  const int family = listener.family();
  const int fd = listener.release();
  std::unique_ptr<Run> run(new Run(workerCount(options_.threads)));
  boost::system::error_code error;
  run->acceptor.assign(family == AF_INET6 ? boost::asio::ip::tcp::v6() : boost::asio::ip::tcp::v4(),
                       fd, error);
  if (error) {
    ::close(fd);
    zubTcpRaise("cannot listen on " + zubTcpFormatAddress(options_.host, options_.port) + ": " +
                error.message());
  }
  boost::asio::ip::tcp::endpoint bound = run->acceptor.local_endpoint(error);
  *port = bound.port();
  stopping_.store(false);
  slots_.open();
  run_ = std::move(run);
  accept();
  const int threads = workerCount(options_.threads);
  for (int i = 0; i < threads; ++i) {
    run_->workers.emplace_back(&Impl::work, std::ref(run_->io));
  }
  return zubTcpFormatAddress(bound.address().to_string(), *port);
}

void zubJexTcpServer::Impl::stop() {
  stopping_.store(true);
  // New clients are refused from here on, even while every worker is busy with a call:
  // a listening socket shut down stops listening at once (and ends the accept waiting
  // on it). The socket itself is closed on its strand.
  ::shutdown(run_->acceptor.native_handle(), SHUT_RDWR);
  boost::asio::post(run_->strand, [run = run_.get()] {
    boost::system::error_code ignored;
    run->retry.cancel();
    run->acceptor.close(ignored);
  });
  for (const std::shared_ptr<zubJexSlotMember>& waiting : slots_.close()) waiting->closeSoon();
  // The busy connections finish their exchange and close; then the workers run out of
  // work and end.
  run_->work.reset();
  for (std::thread& worker : run_->workers) worker.join();
  run_.reset();
}

void zubJexTcpServer::Impl::work(boost::asio::io_context& io) {
  for (;;) {
    try {
      io.run();
      return;
    } catch (const std::exception&) {
      // A handler raised something that its connection did not catch; that connection
      // has ended, the others go on.
    }
  }
}

void zubJexTcpServer::Impl::accept() {
  run_->acceptor.async_accept(
      boost::asio::make_strand(run_->io),
      [this](const boost::system::error_code& error, zubJexConnection::Socket socket) {
        onAccept(error, std::move(socket));
      });
}

void zubJexTcpServer::Impl::onAccept(const boost::system::error_code& error,
                                     zubJexConnection::Socket socket) {
  if (stopping_.load()) return;
  if (error) {  // a connection abandoned by its client, or no descriptor left for now
    run_->retry.expires_after(kAcceptRetryPause);
    run_->retry.async_wait([this](const boost::system::error_code& cancelled) {
      if (!cancelled && !stopping_.load()) accept();
    });
    return;
  }
  std::shared_ptr<zubJexConnection> connection = connectionFor(std::move(socket));
  std::shared_ptr<zubJexSlotMember> evicted;
  if (slots_.admit(connection, evicted)) connection->start();  // else closed when dropped
  if (evicted) evicted->closeSoon();
  accept();
}

std::shared_ptr<zubJexConnection> zubJexTcpServer::Impl::connectionFor(
    zubJexConnection::Socket socket) {
  if (options_.http.enabled) {
    return std::make_shared<zubJexHttpConnection>(std::move(socket), tls_.get(), dispatcher_,
                                                  options_, slots_);
  }
  return std::make_shared<zubJexTcpConnection>(std::move(socket), tls_.get(), dispatcher_, options_,
                                               slots_);
}

zubJexTcpServer::zubJexTcpServer(zubJexDispatcher& dispatcher,
                                 const zubJexTcpServerOptions& options)
    : impl_(new Impl(dispatcher, options)) {}

zubJexTcpServer::~zubJexTcpServer() { stop(); }

void zubJexTcpServer::start() {
  if (impl_->running()) return;
  address_ = impl_->start(&port_);
}

void zubJexTcpServer::stop() {
  if (impl_->running()) impl_->stop();
}

int zubJexTcpServer::connectionCount() const { return impl_->connectionCount(); }
