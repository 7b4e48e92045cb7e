// Server addresses as the transport and the server name them: "host:port", where host
// is a name, an IPv4 address or an IPv6 address in brackets ("[::1]:8080").
#ifndef ZUBJEX_TRANSPORT_ADDRESS_H_
#define ZUBJEX_TRANSPORT_ADDRESS_H_

#include <string>

#include "transport/export.h"

struct zubTcpAddress {
  std::string host;  // without brackets
  std::string port;  // decimal digits, 0 to 65535
};

// Splits `address` into host and port. False (and `out` untouched) when the port is
// missing or not a number from 0 to 65535, the host is empty, or brackets do not match.
ZUBJEX_TCP_EXPORT bool zubTcpParseAddress(const std::string& address, zubTcpAddress& out);

// "host:port", with brackets around a host that holds a colon.
ZUBJEX_TCP_EXPORT std::string zubTcpFormatAddress(const std::string& host, int port);

#endif  // ZUBJEX_TRANSPORT_ADDRESS_H_
