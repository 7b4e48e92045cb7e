// A blocking client of the server tests on Boost.Asio and Beast: plain
// TCP or TLS (with or without a client certificate), speaking frames or HTTP.
#ifndef ZUBJEX_TESTS_SERVER_ASIO_TEST_CLIENT_H_
#define ZUBJEX_TESTS_SERVER_ASIO_TEST_CLIENT_H_

#include <openssl/ssl.h>
#include <poll.h>

#include <boost/asio/connect.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/read.hpp>
#include <boost/asio/ssl.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http.hpp>
#include <string>

#include "server/caller.h"
#include "server_test_support.h"
#include "test_support/test_certificates.h"

namespace jex_test {

namespace http = boost::beast::http;

// How a test client connects.
struct ClientSetup {
  bool tls = false;
  // A certificate (and its key) to present; empty: none.
  std::string certFile;
  std::string keyFile;
  // The socket's receive buffer, set before connecting so that the window it offers
  // stays that small; 0: the system's.
  int receiveBuffer = 0;
};

// One connection to 127.0.0.1:port. Reads wait at most 10 s for bytes.
class AsioClient {
 public:
  AsioClient(int port, const ClientSetup& setup)
      : context_(boost::asio::ssl::context::tls_client), stream_(io_, prepared(setup)) {
    tls_ = setup.tls;
    boost::asio::ip::tcp::endpoint server(boost::asio::ip::make_address("127.0.0.1"),
                                          static_cast<unsigned short>(port));
    if (setup.receiveBuffer != 0) {
      stream_.next_layer().open(server.protocol());
      stream_.next_layer().set_option(
          boost::asio::socket_base::receive_buffer_size(setup.receiveBuffer));
    }
    stream_.next_layer().connect(server, error_);
    if (!error_ && tls_) {
      SSL_set_tlsext_host_name(stream_.native_handle(), "localhost");
      stream_.handshake(boost::asio::ssl::stream_base::client, error_);
    }
  }

  // The error of the connection or the handshake; none when it is ready.
  const boost::system::error_code& setupError() const { return error_; }

  // Sends a framed `message` and reads the answer; false when the server closes (or
  // resets) the connection instead.
  bool exchange(const std::string& message, zubJexResponse& answer) {
    return send(framed(message)) && readAnswer(answer);
  }

  // Reads the next framed response; false when the server closes (or resets) the
  // connection instead.
  bool readAnswer(zubJexResponse& answer) {
    boost::system::error_code error;
    uint8_t header[kZubJexFrameHeaderSize];
    read(boost::asio::buffer(header), error);
    if (error) return false;
    std::string body(zubJexDecodeFrameLength(header), '\0');
    read(boost::asio::buffer(&body[0], body.size()), error);
    if (error) return false;
    decodeResponse(body.data(), body.size(), answer);
    return true;
  }

  // Sends `request` and reads the reply; false when the server closes the connection
  // instead.
  bool request(http::request<http::string_body> request, http::response<http::string_body>& reply) {
    request.prepare_payload();
    boost::system::error_code error;
    if (tls_) {
      http::write(stream_, request, error);
    } else {
      http::write(stream_.next_layer(), request, error);
    }
    return !error && readReply(reply);
  }

  // Reads the next reply (an interim one included); false when the server closes the
  // connection instead.
  bool readReply(http::response<http::string_body>& reply) {
    reply = http::response<http::string_body>();
    boost::system::error_code error;
    if (!waitReadable()) return false;
    if (tls_) {
      http::read(stream_, input_, reply, error);
    } else {
      http::read(stream_.next_layer(), input_, reply, error);
    }
    return !error && reply.result_int() != 0;
  }

  // Sends raw bytes; false when the connection is broken.
  bool send(const std::string& bytes) {
    boost::system::error_code error;
    write(boost::asio::buffer(bytes), error);
    return !error;
  }

  // Reads whatever the server sends until it closes (or resets) the connection or 10 s
  // pass without a byte; returns how many bytes came.
  size_t drain() { return readUntilClosed().first; }

  // Drops whatever the server sends until it closes the connection; false when it has
  // not closed it within 10 s.
  bool closedByServer() { return readUntilClosed().second; }

 private:
  boost::asio::ssl::context& prepared(const ClientSetup& setup) {
    const TestCertificates& certs = testCertificates();
    context_.load_verify_file(certs.caCert);
    context_.set_verify_mode(boost::asio::ssl::verify_peer);
    if (!setup.certFile.empty()) {
      context_.use_certificate_chain_file(setup.certFile);
      context_.use_private_key_file(setup.keyFile, boost::asio::ssl::context::pem);
    }
    return context_;
  }
  // The bytes read and whether the server closed the connection, rather than falling
  // silent for 10 s.
  std::pair<size_t, bool> readUntilClosed() {
    char bytes[64 * 1024];
    size_t received = 0;
    for (;;) {
      if (!waitReadable()) return {received, false};
      boost::system::error_code error;
      if (tls_) {
        received += stream_.read_some(boost::asio::buffer(bytes), error);
      } else {
        received += stream_.next_layer().read_some(boost::asio::buffer(bytes), error);
      }
      if (error) return {received, true};
    }
  }
  // True when bytes (or the end) can be read within 10 s.
  bool waitReadable() {
    if (tls_ && SSL_pending(stream_.native_handle()) > 0) return true;
    if (input_.size() != 0) return true;
    pollfd wanted{stream_.next_layer().native_handle(), POLLIN, 0};
    return ::poll(&wanted, 1, 10000) > 0;
  }
  template <class Buffers>
  void write(const Buffers& buffers, boost::system::error_code& error) {
    if (tls_) {
      boost::asio::write(stream_, buffers, error);
    } else {
      boost::asio::write(stream_.next_layer(), buffers, error);
    }
  }
  template <class Buffers>
  void read(const Buffers& buffers, boost::system::error_code& error) {
    if (!waitReadable()) {
      error = boost::asio::error::timed_out;
    } else if (tls_) {
      boost::asio::read(stream_, buffers, error);
    } else {
      boost::asio::read(stream_.next_layer(), buffers, error);
    }
  }

  boost::asio::io_context io_;
  boost::asio::ssl::context context_;
  boost::asio::ssl::stream<boost::asio::ip::tcp::socket> stream_;
  bool tls_ = false;
  boost::system::error_code error_;
  boost::beast::flat_buffer input_;
};

// The bytes of a call of "ICalc:add" with a and 5.
inline std::string addCall(int a = 4) {
  return callBytes("ICalc:add", false, {{"a", xint(a)}, {"b", xint(5)}});
}

// Server options with TLS on, with the test server certificate; client certificates
// are required when `requireClientCert`.
inline zubJexTcpServerOptions tlsOptions(bool requireClientCert) {
  const TestCertificates& certs = testCertificates();
  zubJexTcpServerOptions options;
  options.tls.enabled = true;
  options.tls.certificateChainFile = certs.serverCert;
  options.tls.privateKeyFile = certs.serverKey;
  if (requireClientCert) options.tls.clientCaFile = certs.caCert;
  return options;
}

// A POST of `body` to `target`.
inline http::request<http::string_body> post(const std::string& target, const std::string& body) {
  http::request<http::string_body> request(http::verb::post, target, 11);
  request.set(http::field::host, "127.0.0.1");
  request.set(http::field::content_type, "application/x-jex");
  request.body() = body;
  return request;
}

}  // namespace jex_test

#endif  // ZUBJEX_TESTS_SERVER_ASIO_TEST_CLIENT_H_
