// A client connection of the server that speaks HTTP/1.1 (zubJexServerHttpOptions), over
// TCP or TLS: each call message is the body of a POST, each response message the body
// of the answer; the connection is kept for the next request unless the client says
// otherwise.
#ifndef ZUBJEX_SERVER_DETAIL_HTTP_CONNECTION_H_
#define ZUBJEX_SERVER_DETAIL_HTTP_CONNECTION_H_

#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http/buffer_body.hpp>
#include <boost/beast/http/message.hpp>
#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/status.hpp>
#include <cstddef>
#include <cstdint>
#include <memory>

#include "server/detail/connection.h"
#include "server/detail/http_body.h"

// See zubJexConnection for ownership and threads.
class zubJexHttpConnection : public zubJexConnection {
 public:
  zubJexHttpConnection(Socket socket, boost::asio::ssl::context* tls, zubJexDispatcher& dispatcher,
                       const zubJexTcpServerOptions& options, zubJexConnectionSlots& slots);

 private:
  using Parser = boost::beast::http::request_parser<zubJexHttpBody>;
  using Reply = boost::beast::http::response<boost::beast::http::buffer_body>;

  // Waits, with no buffer but a small array, for the first byte of a request (or takes
  // the bytes of the next request that came with the last one).
  void awaitRequest(int timeoutMs) override;
  void trimBuffers(size_t keep) override;
  void onRequestBegun(const boost::system::error_code& error, size_t received);
  void readRequest();
  // The header is in: answers "Expect: 100-continue" (so that such clients send their
  // body without waiting for their own time-out), then reads the body.
  void onHeader(const boost::system::error_code& error);
  void readBody();
  void onRequest(const boost::system::error_code& error);
  // A read of the request failed: answers a request that breaks HTTP or the body limit
  // and closes; true when it did either.
  bool failedRead(const boost::system::error_code& error);
  // Routes a whole request: the path, the method, the authorization check, the call.
  void answerRequest();
  // Sends a reply with `status`; with the response message as its body for 200. The
  // connection closes after it unless `keepAlive`.
  void reply(boost::beast::http::status status, bool keepAlive, const std::string& challenge);
  void onReplySent(const boost::system::error_code& error, bool keepAlive);
  // Ends the connection after a last reply: stops sending, then drops what the client
  // still sends (a body that was refused, say) until it closes or the frame time-out
  // passes, so that the reply is not lost to a reset.
  void drainAndClose();

  uint8_t first_[256];  // the first bytes of a request
  // Bytes read and not yet parsed: a request's header, its body bytes on their way into
  // the body, and what follows it. Released while empty between requests.
  boost::beast::flat_buffer input_;
  std::unique_ptr<Parser> parser_;   // the request being read or answered
  zubJexHttpBody::value_type body_;  // the body's buffer between requests
  std::unique_ptr<Reply> reply_;     // the reply being sent
};

#endif  // ZUBJEX_SERVER_DETAIL_HTTP_CONNECTION_H_
