#include "http/http_transport.h"

#include "http/detail/curl_session.h"
#include "platform/exceptions.h"

namespace {

[[noreturn]] void Raise(const std::string& text) {
  xthrowException(xstring(text.c_str(), text.size()));
}

// The time limits of one exchange, in milliseconds (zero: none).
struct Limits {
  long connectMs;
  long wholeMs;
};

Limits LimitsOf(const zubJexHttpOptions& options) {
  return Limits{options.connectTimeoutMs > 0 ? options.connectTimeoutMs : 0L,
                options.exchangeTimeoutMs > 0 ? options.exchangeTimeoutMs : 0L};
}

// Raises the error of an exchange that did not bring a whole HTTP response.
[[noreturn]] void RaiseFailure(const zubHttpOutcome& outcome, const std::string& url,
                               const zubJexHttpOptions& options) {
  if (outcome.tooLarge) {
    Raise("response from " + url + " exceeds the limit of " +
          std::to_string(options.maxResponseBytes) + " bytes");
  }
  if (outcome.code == CURLE_OPERATION_TIMEDOUT) Raise("timed out waiting for " + url);
  Raise("HTTP exchange with " + url + " failed: " + outcome.error);
}

}  // namespace

zubJexHttpTransport::zubJexHttpTransport(const zubJexHttpOptions& options) : options_(options) {}

zubJexHttpTransport::~zubJexHttpTransport() = default;

void zubJexHttpTransport::open(xstring serverName) {
  url_.assign(serverName.CastToCString(), serverName.GetMBSize());
}

btkOStream* zubJexHttpTransport::startOutput() {
  request_.Clear();
  status_ = 0;
  return &request_;
}

int zubJexHttpTransport::finishOutput() {
  Limits limits = LimitsOf(options_);
  if (session_ == nullptr) session_.reset(new zubHttpSession(options_));
  clean_ = false;
  zubHttpOutcome outcome = session_->post(url_, request_.data(), request_.size(), limits.connectMs,
                                          limits.wholeMs, response_);
  if (outcome.code != CURLE_OK) RaiseFailure(outcome, url_, options_);
  clean_ = true;
  status_ = outcome.status;
  if (status_ >= 200 && status_ < 300) return zubJexFinishDone;
  if (status_ == 401 && outcome.authOffered && !resending_) {
    resendAsked_ = true;
    return zubJexFinishResend;
  }
  Raise("HTTP " + std::to_string(status_) + " from " + url_);
}

btkIStream* zubJexHttpTransport::startInput() {
  if (status_ == 0) return nullptr;
  if (response_.empty()) {  // a 204, or a body left out
    Raise("no response in the HTTP " + std::to_string(status_) + " from " + url_);
  }
  responseStream_.Reset(response_.data(), response_.size());
  return &responseStream_;
}

void zubJexHttpTransport::close() {
  if (!clean_) session_.reset();
  clean_ = true;
  status_ = 0;
  resending_ = resendAsked_;
  resendAsked_ = false;
  responseStream_.Reset(nullptr, 0);
  if (response_.capacity() > options_.keptResponseBuffer) std::string().swap(response_);
}

void zubJexHttpTransport::disconnect() { session_.reset(); }

void zubJexHttpTransport::reportException(xrchandle<zubXSerialization> error) {}

zubJexHttpTransportFactory::zubJexHttpTransportFactory(const zubJexHttpOptions& options)
    : options_(options) {}

zubJexTransport* zubJexHttpTransportFactory::createTransport() {
  return new zubJexHttpTransport(options_);
}
