// The body of an HTTP request for Boost.Beast's parser: the call message, in a buffer
// that grows with the bytes that arrive, never on the word of Content-Length alone.
#ifndef ZUBJEX_SERVER_DETAIL_HTTP_BODY_H_
#define ZUBJEX_SERVER_DETAIL_HTTP_BODY_H_

#include <boost/asio/buffer.hpp>
#include <boost/beast/http/message.hpp>
#include <boost/optional.hpp>
#include <cstddef>
#include <cstdint>
#include <limits>

#include "server/detail/growing_buffer.h"

// A Beast Body with a reader only (requests are parsed, never sent). The parser's body
// limit bounds the size.
struct zubJexHttpBody {
  struct value_type {
    zubJexGrowingBuffer buffer;  // kept from one request to the next
    size_t size = 0;
  };

  class reader {
   public:
    template <bool isRequest, class Fields>
    reader(boost::beast::http::header<isRequest, Fields>&, value_type& body) : body_(body) {}

    void init(const boost::optional<uint64_t>& length, boost::system::error_code& error) {
      body_.size = 0;
      expected_ = length ? static_cast<size_t>(*length) : std::numeric_limits<size_t>::max();
      error = {};
    }
    template <class Buffers>
    size_t put(const Buffers& buffers, boost::system::error_code& error) {
      const size_t n = boost::asio::buffer_size(buffers);
      body_.buffer.grow(body_.size, n, expected_);
      boost::asio::buffer_copy(boost::asio::buffer(body_.buffer.data() + body_.size, n), buffers);
      body_.size += n;
      error = {};
      return n;
    }
    void finish(boost::system::error_code& error) { error = {}; }

   private:
    value_type& body_;
    size_t expected_ = 0;  // Content-Length, or the most a size_t holds
  };
};

#endif  // ZUBJEX_SERVER_DETAIL_HTTP_BODY_H_
