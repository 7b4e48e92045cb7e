#include "http_test_server.h"

#include <sys/socket.h>

#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http.hpp>
#include <cctype>
#include <chrono>
#include <list>

namespace jex_test {

namespace asio = boost::asio;
namespace http = boost::beast::http;
using asio::ip::tcp;

namespace {

// The machine's proxy settings must not reach the tests' clients; the proxy test sets
// its own.
const bool kProxiesCleared = [] {
  for (const char* name : {"http_proxy", "HTTP_PROXY", "https_proxy", "HTTPS_PROXY", "all_proxy",
                           "ALL_PROXY", "no_proxy", "NO_PROXY"}) {
    ::unsetenv(name);
  }
  return true;
}();

constexpr int kMaxConnections = 64;
constexpr size_t kEndlessLimit = size_t{1} << 30;

HttpRequest ToRequest(const http::request<http::string_body>& in) {
  HttpRequest out;
  out.method = std::string(in.method_string());
  out.target = std::string(in.target());
  for (const auto& field : in) {
    std::string name(field.name_string());
    for (char& c : name) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    out.headers[name] = std::string(field.value());
  }
  out.body = in.body();
  return out;
}

// Sends `head`, then 64 KiB pieces (chunks when `chunked`) until the client goes away or
// kEndlessLimit bytes went out.
void SendForever(tcp::socket& socket, const std::string& head, bool chunked) {
  boost::system::error_code error;
  asio::write(socket, asio::buffer(head), error);
  const std::string piece(64 * 1024, 'x');
  const std::string chunk = "10000\r\n" + piece + "\r\n";
  const std::string& each = chunked ? chunk : piece;
  for (size_t sent = 0; !error && sent < kEndlessLimit; sent += piece.size()) {
    asio::write(socket, asio::buffer(each), error);
  }
}

}  // namespace

class TestHttpServer::Impl {
 public:
  Impl(HttpHandler handler, std::atomic<int>& accepts, std::atomic<int>& requests)
      : handler_(std::move(handler)),
        acceptor_(io_, tcp::endpoint(asio::ip::make_address("127.0.0.1"), 0)),
        accepts_(accepts),
        requests_(requests) {
    acceptThread_ = std::thread([this] { acceptLoop(); });
  }

  ~Impl() {
    {
      std::lock_guard<std::mutex> lock(mutex_);
      stopping_ = true;
      // Wakes the blocked accept and every blocked read or write.
      ::shutdown(acceptor_.native_handle(), SHUT_RDWR);
      for (tcp::socket& socket : sockets_) ::shutdown(socket.native_handle(), SHUT_RDWR);
    }
    stopped_.notify_all();
    acceptThread_.join();
    for (std::thread& t : threads_) t.join();
  }

  int port() const { return acceptor_.local_endpoint().port(); }

 private:
  void acceptLoop() {
    for (;;) {
      tcp::socket socket(io_);
      boost::system::error_code error;
      acceptor_.accept(socket, error);
      std::lock_guard<std::mutex> lock(mutex_);
      if (error || stopping_) return;
      if (threads_.size() >= kMaxConnections) continue;  // closes it
      ++accepts_;
      sockets_.push_back(std::move(socket));
      tcp::socket& kept = sockets_.back();
      threads_.emplace_back([this, &kept] { serve(kept); });
    }
  }

  void serve(tcp::socket& socket) {
    boost::beast::flat_buffer buffer;
    for (;;) {
      http::request<http::string_body> request;
      boost::system::error_code error;
      http::read(socket, buffer, request, error);
      if (error) break;
      ++requests_;
      HttpReply reply = handler_(ToRequest(request));
      if (!answer(socket, request, reply)) break;
    }
    boost::system::error_code ignored;
    socket.shutdown(tcp::socket::shutdown_both, ignored);
  }

  // Sends `reply`; false when the connection is to end.
  bool answer(tcp::socket& socket, const http::request<http::string_body>& request,
              const HttpReply& reply) {
    switch (reply.kind) {
      case HttpReply::kStall: {
        std::unique_lock<std::mutex> lock(mutex_);
        stopped_.wait_for(lock, std::chrono::seconds(10), [this] { return stopping_; });
        return false;
      }
      case HttpReply::kEndless:
        SendForever(socket, "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n", true);
        return false;
      case HttpReply::kHugeLength:
        SendForever(
            socket,
            "HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(kEndlessLimit) + "\r\n\r\n",
            false);
        return false;
      case HttpReply::kNormal:
        break;
    }
    http::response<http::string_body> response{static_cast<http::status>(reply.status),
                                               request.version()};
    for (const auto& header : reply.headers) response.set(header.first, header.second);
    response.body() = reply.body;
    response.keep_alive(request.keep_alive() && !reply.close);
    response.prepare_payload();
    boost::system::error_code error;
    http::write(socket, response, error);
    return !error && response.keep_alive();
  }

  HttpHandler handler_;
  asio::io_context io_;
  tcp::acceptor acceptor_;
  std::atomic<int>& accepts_;
  std::atomic<int>& requests_;
  std::thread acceptThread_;
  std::mutex mutex_;  // guards what follows
  std::condition_variable stopped_;
  bool stopping_ = false;
  std::list<tcp::socket> sockets_;  // closed only when the server ends
  std::vector<std::thread> threads_;
};

TestHttpServer::TestHttpServer(HttpHandler handler)
    : impl_(new Impl(std::move(handler), accepts_, requests_)) {
  port_ = impl_->port();
}

TestHttpServer::~TestHttpServer() = default;

}  // namespace jex_test
