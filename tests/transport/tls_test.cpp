// The TCP transport over TLS against the reference server: the server's certificate
// checked (authority, host, validity), client certificates (mutual TLS), frames inside
// TLS, and a kept connection that makes one handshake for many calls.
#include <openssl/ssl.h>

#include <chrono>
#include <future>

#include "client/deadline.h"
#include "examples/calc/calc_service.h"
#include "platform/rtti_registry.h"
#include "serialization/descriptors.h"
#include "server/tcp_server.h"
#include "tcp_test_support.h"
#include "test_support/test_certificates.h"

using namespace jex_test;

namespace {

// The calculator behind a TLS server on 127.0.0.1 and a free port.
struct TlsCalc {
  explicit TlsCalc(const zubJexServerTlsOptions& tls) : server(dispatcher, optionsWith(tls)) {
    calcRegisterTypes();
    calcServe(dispatcher, new CalcService("root"));
    server.start();
  }
  static zubJexTcpServerOptions optionsWith(const zubJexServerTlsOptions& tls) {
    zubJexTcpServerOptions options;
    options.tls = tls;
    return options;
  }
  zubJexDispatcher dispatcher;
  zubJexTcpServer server;
};

zubJexServerTlsOptions serverTls(const std::string& cert, const std::string& key,
                                 const std::string& clientCa = "") {
  zubJexServerTlsOptions tls;
  tls.enabled = true;
  tls.certificateChainFile = cert;
  tls.privateKeyFile = key;
  tls.clientCaFile = clientCa;
  return tls;
}

zubJexTcpOptions clientTls(const std::string& cert = "", const std::string& key = "") {
  const TestCertificates& certs = testCertificates();
  zubJexTcpOptions options;
  options.connectTimeoutMs = 5000;
  options.ioTimeoutMs = 5000;
  options.tls.enabled = true;
  options.tls.caFile = certs.caCert;
  options.tls.certificateChainFile = cert;
  options.tls.privateKeyFile = key;
  return options;
}

// a + b computed by the server over the transport.
xany add(zubJexTransport& transport, int a, int b) {
  calcRegisterTypes();  // for a test that makes no server
  zubBinS11nRttiProxy* proxy = nullptr;
  zubBinS11nRttiGetDescriptor("ICalc")->isProxy(&proxy);
  zubJexCall call;
  proxy->createCall(call, "add", values({xint(a), xint(b)}));
  NoHostObjects map;
  zubJEXSerializer::getInstance()->writeCall(transport.startOutput(), call, &map);
  transport.finishOutput();
  zubJexResponse response;
  zubJEXSerializer::getInstance()->readResponse(transport.startInput(), response, &map, "calc");
  transport.close();
  return response.getObject();
}

TEST(TcpTls, RefusedHandshakesNameTheServerAndOpenSslsReason) {
  const TestCertificates& certs = testCertificates();
  struct Case {
    const char* what;
    zubJexServerTlsOptions server;
    zubJexTcpOptions client;
    const char* reason;  // a part of the reason
  } cases[] = {
      {"certificate from an unknown authority",
       serverTls(certs.unknownCaServerCert, certs.unknownCaServerKey), clientTls(),
       "certificate verify failed: unable to get local issuer certificate"},
      {"certificate for another host",
       serverTls(certs.otherHostServerCert, certs.otherHostServerKey), clientTls(),
       "certificate verify failed: IP address mismatch"},
      {"expired certificate", serverTls(certs.expiredServerCert, certs.expiredServerKey),
       clientTls(), "certificate verify failed: certificate has expired"},
      {"no client certificate where the server asks for one",
       serverTls(certs.serverCert, certs.serverKey, certs.caCert), clientTls(), "certificate"},
      {"client certificate from an authority the server does not trust",
       serverTls(certs.serverCert, certs.serverKey, certs.caCert),
       clientTls(certs.unknownCaServerCert, certs.unknownCaServerKey), "unknown ca"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    TlsCalc calc(c.server);
    const std::string address = calc.server.address();
    zubJexTcpTransport transport(c.client);
    transport.open(address.c_str());

    std::string text = raisedText([&] { add(transport, 1, 2); });

    const std::string prefix = "TLS handshake with " + address + " failed: ";
    EXPECT_EQ(text.substr(0, prefix.size()), prefix) << text;
    EXPECT_NE(text.find(c.reason), std::string::npos) << text;
    EXPECT_FALSE(transport.isConnected());
  }
}

TEST(TcpTls, MutualTlsCallsShareOneHandshakeOnAKeptConnection) {
  const TestCertificates& certs = testCertificates();
  TlsCalc calc(serverTls(certs.serverCert, certs.serverKey, certs.caCert));
  zubJexTcpTransportFactory factory(clientTls(certs.clientCert, certs.clientKey));
  std::unique_ptr<zubJexTransport> transport(factory.createTransport());
  transport->open(calc.server.address().c_str());
  for (int i = 0; i < 20; ++i) EXPECT_EQ(add(*transport, i, 2).toInt(), i + 2);
  EXPECT_EQ(static_cast<zubJexTcpTransport&>(*transport).tlsHandshakes(), 1);
  EXPECT_EQ(factory.tlsHandshakes(), 1u);
}

TEST(TcpTls, LargeRequestTravelsInsideTlsAsOnTcp) {
  const TestCertificates& certs = testCertificates();
  TlsCalc calc(serverTls(certs.serverCert, certs.serverKey));
  zubJexTcpTransport transport(clientTls());
  transport.open(calc.server.address().c_str());
  const std::string big(3u << 20, 'x');  // many TLS records
  zubBinS11nRttiProxy* proxy = nullptr;
  zubBinS11nRttiGetDescriptor("ICalc")->isProxy(&proxy);
  zubJexCall call;  // one-way: no response
  proxy->createCall(call, "log", values({xstring(big.c_str())}));
  NoHostObjects map;
  zubJEXSerializer::getInstance()->writeCall(transport.startOutput(), call, &map);
  transport.finishOutput();
  transport.close();
  EXPECT_EQ(add(transport, 40, 2).toInt(), 42);
  EXPECT_EQ(transport.tlsHandshakes(), 1);
}

// A server that accepts and never answers the handshake: the handshake's own time-out
// (connectTimeoutMs) or the call's deadline, whichever comes first, ends it.
TEST(TcpTls, HandshakeThatNeverEndsIsBoundedByTheConnectTimeOutOrTheDeadline) {
  struct Case {
    int connectTimeoutMs;
    int deadlineMs;     // 0: none
    const char* error;  // "%s": the server's address
  } cases[] = {
      {100, 0, "timed out in the TLS handshake with %s"},
      {5000, 200, "deadline exceeded at %s"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.error);
    std::promise<void> doneSignal;
    std::shared_future<void> done = doneSignal.get_future().share();
    FakeServer server;
    server.serveOnce(
        [done](zubTcpSocket&, zubJexFrameReader&) { done.wait_for(std::chrono::seconds(5)); });
    zubJexTcpOptions options = clientTls();
    options.connectTimeoutMs = c.connectTimeoutMs;
    zubJexTcpTransport transport(options);
    transport.open(server.address().c_str());
    std::string text;
    const auto start = std::chrono::steady_clock::now();
    try {
      if (c.deadlineMs > 0) {
        zubJexDeadline deadline{std::chrono::milliseconds(c.deadlineMs)};
        text = raisedText([&] { add(transport, 1, 2); });
      } else {
        text = raisedText([&] { add(transport, 1, 2); });
      }
    } catch (const zubJexDeadlineExceeded& exceeded) {
      text = "deadline exceeded at " + exceeded.server();
    }
    doneSignal.set_value();
    EXPECT_EQ(text, withName(c.error, server.address()));
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(2000));
    EXPECT_FALSE(transport.isConnected());
  }
}

// A server that completes the handshake and never answers the call: a deadline that ends
// long before ioTimeoutMs ends the wait for the response, which blocks in the kernel only
// up to the receive timeout.
TEST(TcpTls, SilentServerAfterTheHandshakeIsBoundedByTheDeadline) {
  const TestCertificates& certs = testCertificates();
  std::promise<void> doneSignal;
  std::shared_future<void> done = doneSignal.get_future().share();
  FakeServer server;
  server.serveOnce([done, &certs](zubTcpSocket& socket, zubJexFrameReader&) {
    SSL_CTX* ctx = SSL_CTX_new(TLS_server_method());
    SSL_CTX_use_certificate_chain_file(ctx, certs.serverCert.c_str());
    SSL_CTX_use_PrivateKey_file(ctx, certs.serverKey.c_str(), SSL_FILETYPE_PEM);
    SSL* ssl = SSL_new(ctx);
    SSL_set_fd(ssl, socket.fd());
    if (SSL_accept(ssl) == 1) done.wait_for(std::chrono::seconds(5));
    SSL_free(ssl);
    SSL_CTX_free(ctx);
  });
  zubJexTcpTransport transport(clientTls());
  transport.open(server.address().c_str());
  std::string text;
  const auto start = std::chrono::steady_clock::now();
  try {
    zubJexDeadline deadline{std::chrono::milliseconds(300)};
    text = raisedText([&] { add(transport, 1, 2); });
  } catch (const zubJexDeadlineExceeded& exceeded) {
    text = "deadline exceeded at " + exceeded.server();
  }
  doneSignal.set_value();
  EXPECT_EQ(text, "deadline exceeded at " + server.address());
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(2500));
  EXPECT_FALSE(transport.isConnected());
}

TEST(TcpTls, TrustStoreAndKeyFilesThatCannotBeLoadedAreNamed) {
  zubJexTcpOptions options = clientTls();
  options.tls.caFile = "/nonexistent/ca.pem";
  zubJexTcpTransport transport(options);
  transport.open("127.0.0.1:1");
  std::string text = raisedText([&] { add(transport, 1, 2); });
  EXPECT_EQ(text.rfind("cannot load the TLS CA file /nonexistent/ca.pem: ", 0), 0u) << text;
}

// The transports of one factory share its TLS context from several threads at once.
TEST(TcpTlsConcurrency, TransportsOfOneFactoryShakeHandsOnThreadsAtOnce) {
  const TestCertificates& certs = testCertificates();
  TlsCalc calc(serverTls(certs.serverCert, certs.serverKey, certs.caCert));
  zubJexTcpTransportFactory factory(clientTls(certs.clientCert, certs.clientKey));
  constexpr int kThreads = 4;
  std::atomic<int> wrong{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      std::unique_ptr<zubJexTransport> transport(factory.createTransport());
      transport->open(calc.server.address().c_str());
      for (int i = 0; i < 10; ++i) {
        xany sum;
        if (raisedBy([&] { sum = add(*transport, t, i); }) || sum.toInt() != t + i) ++wrong;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(wrong.load(), 0);
  EXPECT_EQ(factory.tlsHandshakes(), static_cast<uint64_t>(kThreads));
}

}  // namespace
