// The client's TLS settings made into an OpenSSL context, shared by every transport of a
// factory. Not installed: OpenSSL's types stay out of the library's headers.
#ifndef ZUBJEX_TRANSPORT_DETAIL_TLS_CONTEXT_H_
#define ZUBJEX_TRANSPORT_DETAIL_TLS_CONTEXT_H_

#include <openssl/ssl.h>

#include <atomic>
#include <cstdint>
#include <mutex>

#include "transport/tcp_options.h"

// Owns the SSL_CTX. Thread-safe: transports of several threads make their sessions from
// it at once.
class zubTlsContext {
 public:
  explicit zubTlsContext(const zubJexTlsOptions& options);
  ~zubTlsContext();
  zubTlsContext(const zubTlsContext&) = delete;
  zubTlsContext& operator=(const zubTlsContext&) = delete;

  // The context, made on the first call. Raises "cannot load the TLS CA file <file>:
  // <reason>" and alike (and again on the next call) when the files cannot be used.
  SSL_CTX* get();
  const zubJexTlsOptions& options() const { return options_; }

  // Handshakes completed with the context, for tests and diagnostics.
  void countHandshake() { handshakes_.fetch_add(1, std::memory_order_relaxed); }
  uint64_t handshakes() const { return handshakes_.load(std::memory_order_relaxed); }

 private:
  SSL_CTX* make() const;

  const zubJexTlsOptions options_;
  std::mutex mutex_;  // guards ctx_, which is made once and then only read
  SSL_CTX* ctx_ = nullptr;
  std::atomic<uint64_t> handshakes_{0};
};

// The text of the oldest error on OpenSSL's queue of this thread (its reason only), or
// `fallback` when the queue is empty; empties the queue.
std::string zubTlsErrorReason(const char* fallback);

#endif  // ZUBJEX_TRANSPORT_DETAIL_TLS_CONTEXT_H_
