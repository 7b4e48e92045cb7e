#include "transport/detail/tls_context.h"

#include <openssl/err.h>

#include <memory>
#include <string>

#include "transport/socket.h"

namespace {

// OpenSSL is set up when this library is loaded, ahead of the libraries that load after
// it, and without its own clean-up at exit: that clean-up would run before the client
// library's unload deletes the pooled clients, whose transports then free their TLS
// sessions. The end of the process reclaims what OpenSSL holds.
[[maybe_unused]] const bool kOpenSslReady = OPENSSL_init_ssl(OPENSSL_INIT_NO_ATEXIT, nullptr) == 1;

struct CtxFree {
  void operator()(SSL_CTX* ctx) const { SSL_CTX_free(ctx); }
};
typedef std::unique_ptr<SSL_CTX, CtxFree> CtxPtr;

[[noreturn]] void RaiseLoad(const char* what, const std::string& file) {
  zubTcpRaise(std::string("cannot load the TLS ") + what + " " + file + ": " +
              zubTlsErrorReason("unknown error"));
}

void LoadTrust(SSL_CTX* ctx, const zubJexTlsOptions& options) {
  if (!options.caFile.empty()) {
    if (SSL_CTX_load_verify_locations(ctx, options.caFile.c_str(), nullptr) != 1) {
      RaiseLoad("CA file", options.caFile);
    }
  } else if (SSL_CTX_set_default_verify_paths(ctx) != 1) {
    zubTcpRaise("cannot load the system's TLS trust store: " + zubTlsErrorReason("unknown error"));
  }
}

void LoadClientCertificate(SSL_CTX* ctx, const zubJexTlsOptions& options) {
  if (options.certificateChainFile.empty() && options.privateKeyFile.empty()) return;
  const char* chain = options.certificateChainFile.c_str();
  if (SSL_CTX_use_certificate_chain_file(ctx, chain) != 1) {
    RaiseLoad("certificate file", options.certificateChainFile);
  }
  const char* key = options.privateKeyFile.c_str();
  if (SSL_CTX_use_PrivateKey_file(ctx, key, SSL_FILETYPE_PEM) != 1 ||
      SSL_CTX_check_private_key(ctx) != 1) {
    RaiseLoad("private key file", options.privateKeyFile);
  }
}

}  // namespace

std::string zubTlsErrorReason(const char* fallback) {
  unsigned long code = ERR_get_error();
  ERR_clear_error();
  const char* reason = code != 0 ? ERR_reason_error_string(code) : nullptr;
  return reason != nullptr ? reason : fallback;
}

zubTlsContext::zubTlsContext(const zubJexTlsOptions& options) : options_(options) {}

zubTlsContext::~zubTlsContext() { SSL_CTX_free(ctx_); }

SSL_CTX* zubTlsContext::get() {
  std::lock_guard<std::mutex> lock(mutex_);
  if (ctx_ == nullptr) ctx_ = make();
  return ctx_;
}

SSL_CTX* zubTlsContext::make() const {
  ERR_clear_error();
  CtxPtr ctx(SSL_CTX_new(TLS_client_method()));
  if (!ctx) zubTcpRaise("cannot make a TLS context: " + zubTlsErrorReason("out of memory"));
  SSL_CTX_set_min_proto_version(ctx.get(), TLS1_2_VERSION);
  // A peer that closes without a close_notify ends the connection like a plain close:
  // frames carry their own length, so a cut response is noticed all the same.
  SSL_CTX_set_options(ctx.get(), SSL_OP_IGNORE_UNEXPECTED_EOF);
  // A record's header and body (and the next records) in one receive, not two.
  SSL_CTX_set_read_ahead(ctx.get(), 1);
  SSL_CTX_set_verify(ctx.get(), options_.verifyServer ? SSL_VERIFY_PEER : SSL_VERIFY_NONE, nullptr);
  if (options_.verifyServer) LoadTrust(ctx.get(), options_);
  LoadClientCertificate(ctx.get(), options_);
  return ctx.release();
}
