#include "http/http_transport.h"

#include "client/deadline.h"
#include "http/detail/curl_session.h"
#include "platform/exceptions.h"

namespace {

[[noreturn]] void Raise(const std::string& text) {
  xthrowException(xstring(text.c_str(), text.size()));
}

// The time limits of one exchange, in milliseconds (zero: none): the options', or the
// time left to the call's deadline where that is sooner.
struct Limits {
  long connectMs;
  long wholeMs;
  bool deadlineFirst;   // the deadline ends the exchange before either option could
  bool deadlinePassed;  // the call's deadline has passed already
};

long Sooner(long limitMs, int deadlineMs) {
  return limitMs == 0 || deadlineMs < limitMs ? deadlineMs : limitMs;
}

Limits LimitsNow(const zubJexHttpOptions& options) {
  Limits limits{options.connectTimeoutMs > 0 ? options.connectTimeoutMs : 0L,
                options.exchangeTimeoutMs > 0 ? options.exchangeTimeoutMs : 0L, false, false};
  const int left = zubJexDeadline::remainingMs();
  if (left < 0) return limits;
  limits.deadlinePassed = left == 0;
  limits.deadlineFirst = (limits.connectMs == 0 || left <= limits.connectMs) &&
                         (limits.wholeMs == 0 || left <= limits.wholeMs);
  limits.connectMs = Sooner(limits.connectMs, left);
  limits.wholeMs = Sooner(limits.wholeMs, left);
  return limits;
}

// Raises the error of an exchange that did not bring a whole HTTP response.
[[noreturn]] void RaiseFailure(const zubHttpOutcome& outcome, const Limits& limits,
                               const std::string& url, const zubJexHttpOptions& options) {
  if (outcome.tooLarge) {
    Raise("response from " + url + " exceeds the limit of " +
          std::to_string(options.maxResponseBytes) + " bytes");
  }
  if (outcome.code == CURLE_OPERATION_TIMEDOUT) {
    if (limits.deadlineFirst || zubJexDeadline::expired()) zubJexRaiseDeadlineExceeded(url.c_str());
    Raise("timed out waiting for " + url);
  }
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
  const Limits limits = LimitsNow(options_);
  if (limits.deadlinePassed) zubJexRaiseDeadlineExceeded(url_.c_str());
  if (session_ == nullptr) session_.reset(new zubHttpSession(options_));
  clean_ = false;
  zubHttpOutcome outcome = session_->post(url_, request_.data(), request_.size(), limits.connectMs,
                                          limits.wholeMs, response_);
  if (outcome.code != CURLE_OK) RaiseFailure(outcome, limits, url_, options_);
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
