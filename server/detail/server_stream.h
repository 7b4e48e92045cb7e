// The byte stream of one server connection: the accepted TCP socket, or TLS over it.
// The connections read and write through it alike, as an Asio (and Beast) stream.
#ifndef ZUBJEX_SERVER_DETAIL_SERVER_STREAM_H_
#define ZUBJEX_SERVER_DETAIL_SERVER_STREAM_H_

#include <boost/asio/basic_stream_socket.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/ssl/context.hpp>
#include <boost/asio/ssl/stream.hpp>
#include <boost/asio/strand.hpp>
#include <memory>
#include <string>
#include <utility>

// Not thread-safe: used on its connection's strand only.
class zubJexServerStream {
 public:
  using Strand = boost::asio::strand<boost::asio::io_context::executor_type>;
  using Socket = boost::asio::basic_stream_socket<boost::asio::ip::tcp, Strand>;
  using executor_type = Strand;

  // Takes over `socket`, a freshly accepted connection; TLS with `tls` (borrowed, outlives
  // the stream) unless it is null.
  zubJexServerStream(Socket socket, boost::asio::ssl::context* tls);

  executor_type get_executor() { return socket().get_executor(); }
  bool isTls() const { return tls_ != nullptr; }
  Socket& socket() { return tls_ ? tls_->next_layer() : plain_; }

  // The server side of the TLS handshake; only when isTls().
  template <class Handler>
  void async_handshake(Handler&& handler) {
    tls_->async_handshake(boost::asio::ssl::stream_base::server, std::forward<Handler>(handler));
  }
  template <class Buffers, class Handler>
  void async_read_some(const Buffers& buffers, Handler&& handler) {
    if (tls_) return tls_->async_read_some(buffers, std::forward<Handler>(handler));
    plain_.async_read_some(buffers, std::forward<Handler>(handler));
  }
  template <class Buffers, class Handler>
  void async_write_some(const Buffers& buffers, Handler&& handler) {
    if (tls_) return tls_->async_write_some(buffers, std::forward<Handler>(handler));
    plain_.async_write_some(buffers, std::forward<Handler>(handler));
  }

  // What has arrived, read into `buffers` without waiting, on a connection without TLS
  // (which reads only through async_read_some): the bytes read, or 0 when none are
  // there yet or with TLS. `error` tells a failure, or eof when the client has closed.
  // Saves the round through the event loop when the bytes are already there.
  template <class Buffers>
  size_t readAvailable(const Buffers& buffers, boost::system::error_code& error) {
    error = {};
    if (tls_) return 0;
    const size_t n = plain_.read_some(buffers, error);
    if (error == boost::asio::error::would_block) error = {};
    return n;
  }
  // Sends what the socket takes of `buffers` at once, on a connection without TLS: the
  // bytes sent (0 with TLS, which writes only through async_write_some). `error` tells
  // a failure.
  template <class Buffers>
  size_t writeAvailable(const Buffers& buffers, boost::system::error_code& error) {
    error = {};
    if (tls_) return 0;
    const size_t n = plain_.write_some(buffers, error);
    if (error == boost::asio::error::would_block) error = {};
    return n;
  }

  // The client's "host:port", or "?" when the socket no longer knows it.
  std::string peerAddress();
  // The subject (RFC 2253) of the certificate that the client presented in a completed
  // handshake, verified by then; empty without one.
  std::string peerSubject();
  // Closes the socket (without a TLS close alert): the operation in progress ends with
  // an error.
  void close();

 private:
  Socket plain_;  // the connection without TLS; closed and unused with it
  std::unique_ptr<boost::asio::ssl::stream<Socket>> tls_;
};

#endif  // ZUBJEX_SERVER_DETAIL_SERVER_STREAM_H_
