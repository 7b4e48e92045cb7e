// The limits and the security of a TCP connection between a client and a JEX server, in
// one place.
#ifndef ZUBJEX_TRANSPORT_TCP_OPTIONS_H_
#define ZUBJEX_TRANSPORT_TCP_OPTIONS_H_

#include <cstddef>
#include <cstdint>
#include <string>

// The default of zubJexTcpOptions::keptReceiveBuffer.
constexpr size_t kZubJexKeptReceiveBuffer = 64 * 1024;

// TLS on the client's connections. Only TLS 1.2 and newer are spoken: older versions
// have known attacks and every supported peer has 1.2. A connection kept between calls
// keeps its session: calls on it make no new handshake.
struct zubJexTlsOptions {
  // Speak TLS on every connection of the transport; frames travel inside it exactly as
  // on plain TCP. Off: plain TCP, and the fields below are ignored.
  bool enabled = false;

  // PEM file of the certificate authorities trusted to sign the server's certificate.
  // Empty: the system's trust store.
  std::string caFile;

  // Check the server's certificate against the trusted authorities and the host name or
  // IP address of the server name against the certificate. Without it anyone on the
  // path can pose as the server, read and change every call: turn it off only for a
  // test against a throw-away certificate.
  bool verifyServer = true;

  // PEM files of the client's own certificate chain and its private key, presented when
  // the server asks for one (mutual TLS). Both empty: none. The key must not be
  // protected by a pass phrase.
  std::string certificateChainFile;
  std::string privateKeyFile;
};

struct zubJexTcpOptions {
  // The longest time that making a connection may take. Without it a host that drops
  // connection attempts silently would hold the calling thread for the system's own
  // retry period (minutes). Zero or less waits as long as the system does.
  int connectTimeoutMs = 5000;

  // The longest time that the transport waits for the server to take a whole request,
  // for its response to begin, and then for the rest of that response. It also bounds
  // the time that a server may take for one call. Without it a server that hangs, or a
  // connection that dies without a reset, would block the caller forever. Zero or less
  // waits forever.
  int ioTimeoutMs = 30000;

  // The largest frame body, in bytes, that is sent or accepted. The length of a frame
  // comes from the peer and is not trusted: without a cap a corrupt or hostile peer
  // could make the receiver hold up to 4 GiB per connection. A request above the limit
  // is refused before anything is sent.
  uint32_t maxFrameSize = 16u * 1024 * 1024;

  // The largest receive buffer that a connection keeps once a response has been read.
  // A buffer grown beyond it for one large response is given back when the exchange
  // ends, so that a connection that once received a 16 MiB response does not hold
  // 16 MiB while it is idle (and a server cannot make every idle connection of a
  // client pool hold that much).
  size_t keptReceiveBuffer = kZubJexKeptReceiveBuffer;

  // TLS on the connections; off by default. The TLS handshake counts as part of
  // connecting and is bounded by connectTimeoutMs.
  zubJexTlsOptions tls;
};

#endif  // ZUBJEX_TRANSPORT_TCP_OPTIONS_H_
