#include "server/detail/http_connection.h"

#include <boost/asio/buffer.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/core/string.hpp>
#include <boost/beast/http/error.hpp>
#include <boost/beast/http/field.hpp>
#include <boost/beast/http/read.hpp>
#include <boost/beast/http/verb.hpp>
#include <boost/beast/http/write.hpp>
#include <exception>
#include <string>
#include <utility>

namespace http = boost::beast::http;

namespace {

// Room for the body bytes that one read brings along with a header.
constexpr size_t kInputSlack = 4 * 1024;

// A request that breaks HTTP (as opposed to a connection lost in the middle of one).
bool isMalformed(const boost::system::error_code& error) {
  return error.category() == http::make_error_code(http::error::bad_target).category() &&
         error != http::error::end_of_stream && error != http::error::partial_message;
}

}  // namespace

zubJexHttpConnection::zubJexHttpConnection(Socket socket, boost::asio::ssl::context* tls,
                                           zubJexDispatcher& dispatcher,
                                           const zubJexTcpServerOptions& options,
                                           zubJexConnectionSlots& slots)
    : zubJexConnection(std::move(socket), tls, dispatcher, options, slots),
      input_(options.http.maxHeaderSize + kInputSlack) {}

void zubJexHttpConnection::awaitRequest(int timeoutMs) {
  if (closed_) return;
  armTimer(timeoutMs);
  if (input_.size() != 0) {
    boost::asio::post(stream_.get_executor(), [self = self<zubJexHttpConnection>()] {
      self->onRequestBegun(boost::system::error_code(), 0);
    });
    return;
  }
  stream_.async_read_some(boost::asio::buffer(first_),
                          [self = self<zubJexHttpConnection>()](
                              const boost::system::error_code& error, size_t received) {
                            self->onRequestBegun(error, received);
                          });
}

void zubJexHttpConnection::trimBuffers(size_t keep) {
  body_.buffer.trim(keep);
  if (input_.size() == 0) input_.shrink_to_fit();
}

void zubJexHttpConnection::onRequestBegun(const boost::system::error_code& error, size_t received) {
  if (!beginRequest(error)) return;
  input_.commit(
      boost::asio::buffer_copy(input_.prepare(received), boost::asio::buffer(first_, received)));
  readRequest();
}

void zubJexHttpConnection::readRequest() {
  parser_.reset(new Parser());
  parser_->header_limit(options_.http.maxHeaderSize);
  parser_->body_limit(options_.maxFrameSize);
  parser_->get().body() = std::move(body_);
  http::async_read_header(
      stream_, input_, *parser_,
      [self = self<zubJexHttpConnection>()](const boost::system::error_code& error, size_t) {
        self->onHeader(error);
      });
}

void zubJexHttpConnection::onHeader(const boost::system::error_code& error) {
  if (closed_ || failedRead(error)) return;
  if (!boost::beast::iequals(parser_->get()[http::field::expect], "100-continue")) {
    return readBody();
  }
  static const char kContinue[] = "HTTP/1.1 100 Continue\r\n\r\n";
  boost::asio::async_write(
      stream_, boost::asio::buffer(kContinue, sizeof(kContinue) - 1),
      [self = self<zubJexHttpConnection>()](const boost::system::error_code& error, size_t) {
        if (self->closed_) return;
        if (error) return self->close();
        self->readBody();
      });
}

void zubJexHttpConnection::readBody() {
  http::async_read(stream_, input_, *parser_,
                   [self = self<zubJexHttpConnection>()](const boost::system::error_code& error,
                                                         size_t) { self->onRequest(error); });
}

void zubJexHttpConnection::onRequest(const boost::system::error_code& error) {
  if (closed_ || failedRead(error)) return;
  answerRequest();
}

bool zubJexHttpConnection::failedRead(const boost::system::error_code& error) {
  if (!error) return false;
  if (error == http::error::body_limit) {
    reply(http::status::payload_too_large, false, "");
  } else if (isMalformed(error)) {
    reply(http::status::bad_request, false, "");
  } else {
    close();
  }
  return true;
}

void zubJexHttpConnection::answerRequest() {
  const http::request<zubJexHttpBody>& request = parser_->get();
  const bool keepAlive = request.keep_alive();
  if (request.target() != options_.http.path) return reply(http::status::not_found, keepAlive, "");
  if (request.method() != http::verb::post) {
    return reply(http::status::method_not_allowed, keepAlive, "");
  }
  if (options_.http.authorize) {
    zubJexHttpAuthDecision decision;
    try {
      decision = options_.http.authorize(std::string(request[http::field::authorization]));
    } catch (const std::exception&) {
      return reply(http::status::internal_server_error, false, "");
    }
    if (decision.status != 0) {
      return reply(static_cast<http::status>(decision.status), keepAlive, decision.challenge);
    }
  }
  zubJexHttpBody::value_type& body = parser_->get().body();
  switch (serve(body.buffer.data(), body.size)) {
    case kAnswered:
      return reply(http::status::ok, keepAlive, "");
    case kOneWay:
      return reply(http::status::no_content, keepAlive, "");
    case kFailed:
      return reply(http::status::internal_server_error, false, "");
  }
}

void zubJexHttpConnection::reply(http::status status, bool keepAlive,
                                 const std::string& challenge) {
  const unsigned version = parser_->is_header_done() ? parser_->get().version() : 11;
  reply_.reset(new Reply(status, version));
  reply_->keep_alive(keepAlive);
  reply_->body().more = false;
  if (status == http::status::ok) {
    reply_->set(http::field::content_type, "application/x-jex");
    reply_->body().data = const_cast<uint8_t*>(response().data());
    reply_->body().size = response().size();
    reply_->content_length(response().size());
  } else if (status != http::status::no_content) {
    reply_->content_length(0);
  }
  if (status == http::status::method_not_allowed) reply_->set(http::field::allow, "POST");
  if (!challenge.empty()) reply_->set(http::field::www_authenticate, challenge);
  armTimer(options_.writeTimeoutMs);
  http::async_write(
      stream_, *reply_,
      [self = self<zubJexHttpConnection>(), keepAlive](
          const boost::system::error_code& error, size_t) { self->onReplySent(error, keepAlive); });
}

void zubJexHttpConnection::onReplySent(const boost::system::error_code& error, bool keepAlive) {
  if (closed_) return;
  if (error) return close();
  if (!keepAlive) {
    boost::system::error_code ignored;
    stream_.socket().shutdown(boost::asio::socket_base::shutdown_send, ignored);
    armTimer(options_.frameTimeoutMs);
    return drainAndClose();
  }
  body_ = std::move(parser_->get().body());
  parser_.reset();
  reply_.reset();
  finishExchange();
}

void zubJexHttpConnection::drainAndClose() {
  stream_.socket().async_read_some(
      boost::asio::buffer(first_),
      [self = self<zubJexHttpConnection>()](const boost::system::error_code& error, size_t) {
        if (self->closed_) return;
        if (error) return self->close();
        self->drainAndClose();
      });
}
