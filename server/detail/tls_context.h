// The TLS settings that every connection of a server shares, made from its options.
#ifndef ZUBJEX_SERVER_DETAIL_TLS_CONTEXT_H_
#define ZUBJEX_SERVER_DETAIL_TLS_CONTEXT_H_

#include <boost/asio/ssl/context.hpp>
#include <memory>

#include "server/tcp_server.h"

// A server context for `options` (enabled): TLS 1.2 or newer, the certificate chain and
// key loaded, client certificates required and verified when options.clientCaFile is
// set. Raises a zubXException "cannot set up TLS: <file>: <reason>".
std::unique_ptr<boost::asio::ssl::context> zubJexMakeServerTlsContext(
    const zubJexServerTlsOptions& options);

#endif  // ZUBJEX_SERVER_DETAIL_TLS_CONTEXT_H_
