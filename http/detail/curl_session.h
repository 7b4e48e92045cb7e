// One libcurl easy handle with the settings of zubJexHttpOptions, and the POST exchanges
// made on it. Internal to zubjex_http: this header is not installed, so that hosts never
// see libcurl's types.
#ifndef ZUBJEX_HTTP_DETAIL_CURL_SESSION_H_
#define ZUBJEX_HTTP_DETAIL_CURL_SESSION_H_

#include <curl/curl.h>

#include <cstddef>
#include <cstdint>
#include <string>

#include "http/http_options.h"

// What one exchange came to.
struct zubHttpOutcome {
  CURLcode code = CURLE_OK;  // CURLE_OK: a whole response arrived (any status)
  long status = 0;           // the final response's status
  bool tooLarge = false;     // the body went beyond options.maxResponseBytes
  bool authOffered = false;  // a 401 offered a scheme that the credentials can answer
  std::string error;         // libcurl's description of a failure
};

// The handle keeps its connections (and what they negotiated) from exchange to
// exchange. Not thread-safe: used by the one thread that holds its transport.
class zubHttpSession {
 public:
  // Raises a zubXException "cannot create an HTTP session" when libcurl cannot make a
  // handle. Initialises libcurl once per process, thread-safely.
  explicit zubHttpSession(const zubJexHttpOptions& options);
  ~zubHttpSession();
  zubHttpSession(const zubHttpSession&) = delete;
  zubHttpSession& operator=(const zubHttpSession&) = delete;

  // POSTs `size` bytes at `body` (kept alive until the call returns) to `url`, within
  // `connectTimeoutMs` to connect and `timeoutMs` for the whole (zero or less: none).
  // The final response's body is put into `response`, which is emptied first (libcurl
  // passes on no body of a redirect or of a challenge that it answers). Raises nothing
  // of its own.
  zubHttpOutcome post(const std::string& url, const uint8_t* body, size_t size,
                      long connectTimeoutMs, long timeoutMs, std::string& response);

 private:
  static size_t OnBody(char* data, size_t size, size_t count, void* self);
  void applyOptions();

  const zubJexHttpOptions& options_;
  CURL* curl_ = nullptr;
  curl_slist* headers_ = nullptr;
  std::string* response_ = nullptr;  // the exchange's body, during post only
  bool tooLarge_ = false;
  char error_[CURL_ERROR_SIZE] = {};
};

#endif  // ZUBJEX_HTTP_DETAIL_CURL_SESSION_H_
