#include "server/detail/tls_context.h"

#include <openssl/ssl.h>

#include <string>

#include "transport/socket.h"

namespace {

using Context = boost::asio::ssl::context;

void fail(const std::string& file, const boost::system::error_code& error) {
  zubTcpRaise("cannot set up TLS: " + file + ": " + error.message());
}

}  // namespace

std::unique_ptr<Context> zubJexMakeServerTlsContext(const zubJexServerTlsOptions& options) {
  std::unique_ptr<Context> context(new Context(Context::tls_server));
  context->set_options(Context::default_workarounds | Context::no_sslv2 | Context::no_sslv3 |
                       Context::no_tlsv1 | Context::no_tlsv1_1 | Context::single_dh_use);
  SSL_CTX_set_min_proto_version(context->native_handle(), TLS1_2_VERSION);
  // Clients keep their connection rather than resume sessions: no TLS 1.3 tickets after
  // the handshake, which would cost the first call a read.
  SSL_CTX_set_num_tickets(context->native_handle(), 0);
  boost::system::error_code error;
  context->use_certificate_chain_file(options.certificateChainFile, error);
  if (error) fail(options.certificateChainFile, error);
  context->use_private_key_file(options.privateKeyFile, Context::pem, error);
  if (error) fail(options.privateKeyFile, error);
  if (options.clientCaFile.empty()) return context;
  context->load_verify_file(options.clientCaFile, error);
  if (error) fail(options.clientCaFile, error);
  // Tells clients which CA to pick their certificate for.
  SSL_CTX_set_client_CA_list(context->native_handle(),
                             SSL_load_client_CA_file(options.clientCaFile.c_str()));
  context->set_verify_mode(boost::asio::ssl::verify_peer |
                           boost::asio::ssl::verify_fail_if_no_peer_cert);
  return context;
}
