// The TCP server with TLS: framed calls inside TLS, client certificates required and
// verified, the caller's subject seen by handlers, and the handshake's own time limit.
#include "asio_test_client.h"

using namespace jex_test;

namespace {

// The calculator with one more method, "whoami": the caller's certificate subject.
struct WhoAmICalc : CalcDispatcher {
  explicit WhoAmICalc(const zubJexTcpServerOptions& options) : server(dispatcher, options) {
    zubJexMethodTable methods = ICalcSkeleton::methodTable();
    methods.add("whoami", [](xobject*, zubJexCall&) -> xany {
      return xstring(zubJexCurrentCaller().certificateSubject.c_str());
    });
    dispatcher.addInterface("ICalc", methods);
    server.start();
  }
  ~WhoAmICalc() override { server.stop(); }

  zubJexTcpServer server;
};

TEST(TcpServer, TlsServesFramedCallsAndTellsHandlersTheClientsSubject) {
  const TestCertificates& certs = testCertificates();
  struct Case {
    const char* name;
    bool requireClientCert;
    ClientSetup client;
    std::string subject;
  };
  const Case cases[] = {
      {"no client certificate asked for", false, {true, "", ""}, ""},
      {"a client certificate asked for and sent",
       true,
       {true, certs.clientCert, certs.clientKey},
       TestCertificates::kClientSubject},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    WhoAmICalc calc(tlsOptions(c.requireClientCert));
    AsioClient tls(calc.server.port(), c.client);
    ASSERT_FALSE(tls.setupError()) << tls.setupError().message();
    zubJexResponse answer;
    ASSERT_TRUE(tls.exchange(addCall(), answer));
    EXPECT_EQ(answer.getObject().toInt(), 9);
    ASSERT_TRUE(tls.exchange(callBytes("ICalc:whoami", false, {}), answer));
    EXPECT_EQ(std::string(answer.getObject().toString().CastToCString()), c.subject);
  }
}

// The client library's TLS transport against the server: the server checks the client's
// certificate and the handler sees its subject.
TEST(TcpServer, TlsServesTheClientLibrarysTlsTransport) {
  if (!localhostResolves()) GTEST_SKIP() << "\"localhost\" does not resolve on this machine";
  const TestCertificates& certs = testCertificates();
  WhoAmICalc calc(tlsOptions(true));
  static NoHostObjects map;
  static zubJexTcpTransportFactory* factory = [&certs] {
    zubJexTcpOptions options;
    options.tls.enabled = true;
    options.tls.caFile = certs.caCert;
    options.tls.certificateChainFile = certs.clientCert;
    options.tls.privateKeyFile = certs.clientKey;
    return new zubJexTcpTransportFactory(options);  // the pool may keep its clients
  }();
  // A name that no plain-TCP test uses, so that a port handed out again never meets a
  // pooled client of this factory.
  const std::string name = "localhost:" + std::to_string(calc.server.port());
  zubJexConfig config;
  config.setJexTransportFactory(factory);
  zubJexClient::setServerConfig(name.c_str(), config);
  zubJexClient::setServerProxyMap(name.c_str(), &map);
  for (int i = 0; i < 3; ++i) {
    zubJexCall call;
    call.setName("ICalc:whoami");
    call.setReturnType(zubGetRtti_string());
    EXPECT_EQ(std::string(client(name)->makeCall(&call).toString().CastToCString()),
              TestCertificates::kClientSubject);
  }
}

TEST(TcpServer, TlsClientsThatDoNotSpeakTlsGetNoAnswer) {
  WhoAmICalc calc(tlsOptions(false));
  AsioClient plain(calc.server.port(), ClientSetup());
  zubJexResponse answer;
  EXPECT_FALSE(plain.exchange(addCall(), answer));
}

// A client that connects and never begins its handshake is closed by the handshake time
// limit, the first-request one being far away.
TEST(TcpServer, TlsHandshakeTimeLimitClosesAStalledClient) {
  zubJexTcpServerOptions options = tlsOptions(false);
  options.firstRequestTimeoutMs = 60000;
  options.tls.handshakeTimeoutMs = 50;
  WhoAmICalc calc(options);
  AsioClient stalled(calc.server.port(), ClientSetup());
  EXPECT_TRUE(stalled.closedByServer());
}

TEST(TcpServer, TlsStartFailsOnFilesItCannotUse) {
  const TestCertificates& certs = testCertificates();
  struct Case {
    const char* name;
    std::string cert;
    std::string key;
    std::string failing;  // the file that the error names
  };
  const Case cases[] = {
      {"missing certificate", certs.folder + "/none.pem", certs.serverKey,
       certs.folder + "/none.pem"},
      {"key of another certificate", certs.serverCert, certs.clientKey, certs.clientKey},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    CalcDispatcher calc;
    zubJexTcpServerOptions options = tlsOptions(false);
    options.tls.certificateChainFile = c.cert;
    options.tls.privateKeyFile = c.key;
    zubJexTcpServer server(calc.dispatcher, options);
    const std::string text = raisedText([&] { server.start(); });
    EXPECT_EQ(text.rfind("cannot set up TLS: " + c.failing + ": ", 0), 0u) << text;
  }
}

}  // namespace
