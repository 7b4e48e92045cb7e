#include <string>

#include "http/http_transport.h"      // zubJexHttpOptions, zubJexHttpTransportFactory
#include "transport/tcp_transport.h"  // zubJexTcpOptions, zubJexTcpTransportFactory

void MakeFactories(const std::string& token) {
  zubJexTcpOptions tcp;  // TLS with a client certificate (mutual TLS)
  tcp.tls.enabled = true;
  tcp.tls.caFile = "ca.pem";  // empty: the system's trust store
  tcp.tls.certificateChainFile = "client.pem";
  tcp.tls.privateKeyFile = "client.key";
  zubJexTcpTransportFactory tlsFactory(tcp);  // servers "host:port" or "host1:port,host2:port"

  zubJexHttpOptions http;  // HTTPS with a bearer token
  http.bearerToken = token;
  http.caFile = "ca.pem";
  zubJexHttpTransportFactory httpFactory(http);  // servers "https://host:port/jex"
}
