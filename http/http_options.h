// The settings of an HTTP or HTTPS connection between a client and a JEX server, in one
// place. A time limit of zero or less means no limit.
#ifndef ZUBJEX_HTTP_HTTP_OPTIONS_H_
#define ZUBJEX_HTTP_HTTP_OPTIONS_H_

#include <cstddef>
#include <string>

// How user name and password are offered to the server.
enum zubJexHttpAuthScheme {
  // Basic, sent with the first request: no round trip is lost, but the password travels
  // in the clear unless the URL is https.
  zubJexHttpAuthBasic,
  // Whatever the server's challenge asks for among the schemes libcurl knows (Basic,
  // Digest, NTLM, Negotiate): the first request of a connection goes without credentials
  // and the answer to the server's 401 follows.
  zubJexHttpAuthAny,
};

struct zubJexHttpOptions {
  // The longest time that making a connection (TLS handshake included) may take.
  // Without it a host that drops connection attempts silently would hold the calling
  // thread for libcurl's own default of five minutes.
  int connectTimeoutMs = 5000;

  // The longest time that one exchange may take as a whole: connecting, sending the
  // request, the server's work, and receiving the whole response, redirects and
  // authentication rounds included. Without it a server that hangs, or sends its
  // response one byte at a time, would block the caller forever. A per-call deadline
  // (client/deadline.h) that ends sooner takes its place.
  int exchangeTimeoutMs = 30000;

  // The largest response body accepted, in bytes; a larger one fails the call. A body
  // announced larger is refused before any of it is read, and one that grows beyond the
  // limit (chunked, or longer than announced) is cut off there: without it a server
  // that sends an endless body would make the client hold memory until it runs out.
  size_t maxResponseBytes = 16u * 1024 * 1024;

  // The largest response buffer that a transport keeps once an exchange is over. A
  // buffer grown beyond it for one large response is given back, so that the idle
  // clients of a pool do not each hold the largest response they ever received.
  size_t keptResponseBuffer = 64u * 1024;

  // Redirects followed for one request (301, 302, 307 and 308 repeat the POST with its
  // body at the new address; 303 turns it into a GET, as HTTP wants). Bounds a server
  // that redirects in a circle. Zero follows none; a redirect is then an error.
  int maxRedirects = 5;

  // Credentials for HTTP authentication; none when userName is empty. libcurl never
  // sends them to another host that a redirect leads to.
  std::string userName;
  std::string password;
  zubJexHttpAuthScheme authScheme = zubJexHttpAuthAny;

  // A token sent as "Authorization: Bearer <token>" with every request; none when
  // empty. Takes the place of userName and password.
  std::string bearerToken;

  // The proxy, as libcurl takes it ("http://127.0.0.1:3128", "socks5h://..."). Empty:
  // libcurl's own choice from the environment (http_proxy, https_proxy, no_proxy).
  std::string proxy;

  // A file of PEM certificates of the authorities that https servers are checked
  // against. Empty: the system's store.
  std::string caFile;
  // Whether an https server's certificate must be signed by a trusted authority, and
  // whether it must name the host of the URL. Turning either off leaves the connection
  // open to anybody in the middle; for tests against self-signed servers only.
  bool verifyPeer = true;
  bool verifyHost = true;

  // A client certificate and its private key (PEM files) for servers that ask for one;
  // none when clientCertificateFile is empty. The key file may be omitted when the
  // certificate file holds the key too.
  std::string clientCertificateFile;
  std::string clientKeyFile;
  // The pass phrase of an encrypted key; empty when the key is not encrypted.
  std::string clientKeyPassword;
};

#endif  // ZUBJEX_HTTP_HTTP_OPTIONS_H_
