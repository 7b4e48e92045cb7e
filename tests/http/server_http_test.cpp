// The HTTP transport against the reference server speaking HTTP and HTTPS: calls and
// one-way calls, the server's authorization answered, and every check of the server's
// certificate (and of the client's) that the TLS options control.
#include <gmock/gmock.h>

#include "examples/calc/calc_service.h"
#include "http_test_support.h"
#include "server/caller.h"
#include "server/dispatcher.h"
#include "server/tcp_server.h"
#include "test_support/test_certificates.h"

using namespace jex_test;
using testing::HasSubstr;

namespace {

const char* const kBasic = "Basic Y2FsYzpzM2NyZXQ=";  // calc:s3cret

// The calculator behind an HTTP(S) server, with one more method, "caller", that answers
// the subject of the client's certificate.
struct HttpCalc {
  explicit HttpCalc(zubJexTcpServerOptions options) : root(new CalcService("root")) {
    calcRegisterTypes();
    calcServe(dispatcher, root);
    zubJexMethodTable methods = ICalcSkeleton::methodTable();
    methods.add("caller", [](xobject*, zubJexCall&) -> xany {
      return xstring(zubJexCurrentCaller().certificateSubject.c_str());
    });
    dispatcher.addInterface("ICalc", methods);
    options.http.enabled = true;
    server.reset(new zubJexTcpServer(dispatcher, options));
    server->start();
  }
  std::string url() const { return (tls ? "https://" : "http://") + server->address() + "/jex"; }

  zubJexDispatcher dispatcher;
  CalcService* root;  // kept alive by the dispatcher's object map
  bool tls = false;
  std::unique_ptr<zubJexTcpServer> server;
};

xany call(const std::string& name, const char* method, std::initializer_list<xany> params) {
  return zubJexClient::getInstance(name.c_str())->makeCall("ICalc", method, values(params));
}

TEST(ServerOverHttp, CallsAndOneWayCallsWithTheServersAuthorization) {
  zubJexTcpServerOptions serverOptions;
  serverOptions.http.authorize = [](const std::string& authorization) {
    zubJexHttpAuthDecision decision;
    if (authorization == kBasic) return decision;
    decision.status = 401;
    decision.challenge = "Basic realm=\"jex\"";
    return decision;
  };
  HttpCalc calc(serverOptions);
  struct Case {
    const char* name;
    const char* userName;
    zubJexHttpAuthScheme scheme;
    bool answered;
  } cases[] = {
      {"no credentials", "", zubJexHttpAuthAny, false},
      {"Basic", "calc", zubJexHttpAuthBasic, true},
      {"negotiated", "calc", zubJexHttpAuthAny, true},
  };
  size_t logged = 0;
  for (const Case& c : cases) {
    zubJexHttpOptions options;
    options.userName = c.userName;
    options.password = "s3cret";
    options.authScheme = c.scheme;
    std::string name = useHttp(calc.url(), options);
    if (!c.answered) {
      CallOutcome outcome = outcomeOfCall(name, [&] { call(name, "add", {xint(2), xint(3)}); });
      EXPECT_EQ(outcome.error, "JEX Client Error: HTTP 401 from " + name + ".") << c.name;
      EXPECT_TRUE(outcome.clientFree) << c.name;
      continue;
    }
    EXPECT_EQ(call(name, "add", {xint(2), xint(3)}).toInt(), 5) << c.name;
    zubJexClient::getInstance(name.c_str())->makeVoidCall("ICalc", "log", values({c.name}));
    EXPECT_EQ(call(name, "add", {xint(1), xint(1)}).toInt(), 2) << c.name;
    EXPECT_TRUE(calc.root->waitForLogged(++logged, 5000)) << c.name;
  }
  EXPECT_EQ(calc.root->loggedMessages(), (std::vector<std::string>{"Basic", "negotiated"}));
  EXPECT_EQ(calc.server->connectionCount(), 3);  // one kept connection per client
}

TEST(ServerOverHttps, TheTlsOptionsDecideWhichServersAreTrusted) {
  const TestCertificates& certs = testCertificates();
  struct Case {
    const char* name;
    const std::string& serverCert;
    const std::string& serverKey;
    bool askClientCertificate;
    bool presentClientCertificate;
    bool verify;
    const char* error;  // a part of the error; "" when the call succeeds
  } cases[] = {
      {"trusted server", certs.serverCert, certs.serverKey, false, false, true, ""},
      {"unknown authority", certs.unknownCaServerCert, certs.unknownCaServerKey, false, false, true,
       "SSL certificate problem: unable to get local issuer certificate"},
      {"expired certificate", certs.expiredServerCert, certs.expiredServerKey, false, false, true,
       "SSL certificate problem: certificate has expired"},
      {"certificate of another host", certs.otherHostServerCert, certs.otherHostServerKey, false,
       false, true, "SSL: no alternative certificate subject name matches"},
      {"unchecked server", certs.unknownCaServerCert, certs.unknownCaServerKey, false, false, false,
       ""},
      {"client certificate asked and given", certs.serverCert, certs.serverKey, true, true, true,
       ""},
      {"client certificate asked and missing", certs.serverCert, certs.serverKey, true, false, true,
       "certificate required"},
  };
  for (const Case& c : cases) {
    zubJexTcpServerOptions serverOptions;
    serverOptions.tls.enabled = true;
    serverOptions.tls.certificateChainFile = c.serverCert;
    serverOptions.tls.privateKeyFile = c.serverKey;
    if (c.askClientCertificate) serverOptions.tls.clientCaFile = certs.caCert;
    HttpCalc calc(serverOptions);
    calc.tls = true;
    zubJexHttpOptions options;
    options.caFile = certs.caCert;
    options.verifyPeer = c.verify;
    options.verifyHost = c.verify;
    if (c.presentClientCertificate) {
      options.clientCertificateFile = certs.clientCert;
      options.clientKeyFile = certs.clientKey;
    }
    std::string name = useHttp(calc.url(), options);
    xany subject;
    CallOutcome outcome = outcomeOfCall(name, [&] {
      zubJexCall call;
      call.setName("ICalc:caller");
      call.setReturnType(zubGetRtti_string());
      subject = zubJexClient::getInstance(name.c_str())->makeCall(&call);
    });
    if (*c.error == '\0') {
      EXPECT_EQ(outcome.error, "") << c.name;
      EXPECT_EQ(std::string(subject.toString().CastToCString()),
                c.presentClientCertificate ? TestCertificates::kClientSubject : "")
          << c.name;
    } else {
      EXPECT_THAT(outcome.error, HasSubstr("HTTP exchange with " + name + " failed: ")) << c.name;
      EXPECT_THAT(outcome.error, HasSubstr(c.error)) << c.name;
    }
    EXPECT_TRUE(outcome.clientFree) << c.name;
  }
}

}  // namespace
