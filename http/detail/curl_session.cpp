#include "http/detail/curl_session.h"

#include "platform/exceptions.h"

namespace {

// libcurl's process-wide state, made once by the first session of the process. Never
// cleaned up: pooled clients may hold handles until the process ends.
bool InitLibcurl() {
  static const bool ready = curl_global_init(CURL_GLOBAL_DEFAULT) == CURLE_OK;
  return ready;
}

// The schemes that the configured credentials may answer; 0 with no credentials.
unsigned long AnswerableSchemes(const zubJexHttpOptions& options) {
  if (!options.bearerToken.empty()) return CURLAUTH_BEARER;
  if (options.userName.empty()) return 0;
  return options.authScheme == zubJexHttpAuthBasic ? CURLAUTH_BASIC : CURLAUTH_ANY;
}

}  // namespace

zubHttpSession::zubHttpSession(const zubJexHttpOptions& options) : options_(options) {
  if (InitLibcurl()) curl_ = curl_easy_init();
  if (curl_ == nullptr) xthrowException("cannot create an HTTP session");
  applyOptions();
}

zubHttpSession::~zubHttpSession() {
  curl_easy_cleanup(curl_);
  curl_slist_free_all(headers_);
}

void zubHttpSession::applyOptions() {
  // The body travels as it is; no "Expect: 100-continue" wait before larger bodies.
  for (const char* header :
       {"Content-Type: application/x-jex", "Accept: application/x-jex", "Expect:"}) {
    curl_slist* more = curl_slist_append(headers_, header);
    if (more == nullptr) xthrowException("cannot create an HTTP session");
    headers_ = more;
  }
  curl_easy_setopt(curl_, CURLOPT_HTTPHEADER, headers_);
  curl_easy_setopt(curl_, CURLOPT_NOSIGNAL, 1L);  // time-outs without SIGALRM: threads
  curl_easy_setopt(curl_, CURLOPT_ERRORBUFFER, error_);
  curl_easy_setopt(curl_, CURLOPT_WRITEFUNCTION, &zubHttpSession::OnBody);
  curl_easy_setopt(curl_, CURLOPT_WRITEDATA, this);
  curl_easy_setopt(curl_, CURLOPT_PROTOCOLS_STR, "http,https");
  curl_easy_setopt(curl_, CURLOPT_REDIR_PROTOCOLS_STR, "http,https");
  curl_easy_setopt(curl_, CURLOPT_FOLLOWLOCATION, options_.maxRedirects > 0 ? 1L : 0L);
  curl_easy_setopt(curl_, CURLOPT_MAXREDIRS, static_cast<long>(options_.maxRedirects));
  curl_easy_setopt(curl_, CURLOPT_POSTREDIR,
                   static_cast<long>(CURL_REDIR_POST_301 | CURL_REDIR_POST_302));
  curl_easy_setopt(curl_, CURLOPT_MAXFILESIZE_LARGE,
                   static_cast<curl_off_t>(options_.maxResponseBytes));
  unsigned long schemes = AnswerableSchemes(options_);
  if (schemes == CURLAUTH_BEARER) {
    curl_easy_setopt(curl_, CURLOPT_XOAUTH2_BEARER, options_.bearerToken.c_str());
  } else if (schemes != 0) {
    curl_easy_setopt(curl_, CURLOPT_USERNAME, options_.userName.c_str());
    curl_easy_setopt(curl_, CURLOPT_PASSWORD, options_.password.c_str());
  }
  if (schemes != 0) curl_easy_setopt(curl_, CURLOPT_HTTPAUTH, schemes);
  if (!options_.proxy.empty()) curl_easy_setopt(curl_, CURLOPT_PROXY, options_.proxy.c_str());
  if (!options_.caFile.empty()) curl_easy_setopt(curl_, CURLOPT_CAINFO, options_.caFile.c_str());
  curl_easy_setopt(curl_, CURLOPT_SSL_VERIFYPEER, options_.verifyPeer ? 1L : 0L);
  curl_easy_setopt(curl_, CURLOPT_SSL_VERIFYHOST, options_.verifyHost ? 2L : 0L);
  if (!options_.clientCertificateFile.empty()) {
    curl_easy_setopt(curl_, CURLOPT_SSLCERT, options_.clientCertificateFile.c_str());
    if (!options_.clientKeyFile.empty()) {
      curl_easy_setopt(curl_, CURLOPT_SSLKEY, options_.clientKeyFile.c_str());
    }
    if (!options_.clientKeyPassword.empty()) {
      curl_easy_setopt(curl_, CURLOPT_KEYPASSWD, options_.clientKeyPassword.c_str());
    }
  }
}

zubHttpOutcome zubHttpSession::post(const std::string& url, const uint8_t* body, size_t size,
                                    long connectTimeoutMs, long timeoutMs, std::string& response) {
  static const uint8_t kNothing = 0;
  response.clear();
  response_ = &response;
  tooLarge_ = false;
  error_[0] = '\0';
  curl_easy_setopt(curl_, CURLOPT_URL, url.c_str());
  curl_easy_setopt(curl_, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(size));
  curl_easy_setopt(curl_, CURLOPT_POSTFIELDS, size == 0 ? &kNothing : body);
  curl_easy_setopt(curl_, CURLOPT_CONNECTTIMEOUT_MS, connectTimeoutMs > 0 ? connectTimeoutMs : 0L);
  curl_easy_setopt(curl_, CURLOPT_TIMEOUT_MS, timeoutMs > 0 ? timeoutMs : 0L);

  zubHttpOutcome outcome;
  outcome.code = curl_easy_perform(curl_);
  response_ = nullptr;
  curl_easy_setopt(curl_, CURLOPT_POSTFIELDS, &kNothing);  // `body` is the caller's
  outcome.tooLarge = tooLarge_ || outcome.code == CURLE_FILESIZE_EXCEEDED;
  if (outcome.code != CURLE_OK) {
    outcome.error = error_[0] != '\0' ? error_ : curl_easy_strerror(outcome.code);
    return outcome;
  }
  curl_easy_getinfo(curl_, CURLINFO_RESPONSE_CODE, &outcome.status);
  if (outcome.status == 401) {
    long offered = 0;
    curl_easy_getinfo(curl_, CURLINFO_HTTPAUTH_AVAIL, &offered);
    outcome.authOffered = (static_cast<unsigned long>(offered) & AnswerableSchemes(options_)) != 0;
  }
  return outcome;
}

size_t zubHttpSession::OnBody(char* data, size_t size, size_t count, void* self) {
  zubHttpSession* session = static_cast<zubHttpSession*>(self);
  size_t bytes = size * count;
  std::string& response = *session->response_;
  if (bytes > session->options_.maxResponseBytes - response.size()) {
    session->tooLarge_ = true;
    return CURL_WRITEFUNC_ERROR;  // ends the exchange; libcurl closes the connection
  }
  response.append(data, bytes);
  return bytes;
}
