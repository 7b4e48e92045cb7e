// Round trips of ICalc.add on a kept connection over TLS and over plain TCP, in the same
// run, against the reference server in this process; reports the median and the 99th
// percentile of each and the ratio of the medians (target: TLS at most 1.3 times TCP),
// and the TLS handshakes made (target: one for the connection).
//
//   bench_tls_roundtrip            5000 calls each
//   bench_tls_roundtrip CALLS
//
// Exits 1 when a call failed or TLS made more than one handshake.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "client/jex_client.h"
#include "examples/calc/calc_service.h"
#include "examples/calc/calc_types.h"
#include "messages/proxy_map.h"
#include "platform/exceptions.h"
#include "platform/sequences.h"
#include "server/dispatcher.h"
#include "server/tcp_server.h"
#include "test_support/test_certificates.h"
#include "transport/tcp_transport.h"

namespace {

using Clock = std::chrono::steady_clock;

class NoHostObjects : public zubJexProxyMap {
 public:
  xstring getObjectId(xrcunihandle<xobject>) override { return xstring(); }
  xrcunihandle<xobject> findObject(const xstring&) override { return xrcunihandle<xobject>(); }
};

struct Percentiles {
  double p50us;
  double p99us;
};

// `calls` sequential adds through the pool's client of `server`, after a warm-up; false
// (and a line on standard error) when one failed.
bool Measure(const std::string& server, int calls, Percentiles& out) {
  std::vector<double> us;
  us.reserve(static_cast<size_t>(calls));
  for (int i = -200; i < calls; ++i) {
    xrchandle<xanysequence> params(xanysequence::create());
    params->append(xint{i});
    params->append(xint{1});
    Clock::time_point start = Clock::now();
    try {
      xany sum = zubJexClient::getInstance(server.c_str())->makeCall("ICalc", "add", params);
      if (sum.getKind() != xany_int || sum.toInt() != i + 1) return false;
    } catch (xthrowable* t) {
      xadoptThrown(t);
      return false;
    }
    if (i >= 0)
      us.push_back(std::chrono::duration<double, std::micro>(Clock::now() - start).count());
  }
  std::sort(us.begin(), us.end());
  out.p50us = us[us.size() / 2];
  out.p99us = us[us.size() * 99 / 100];
  return true;
}

// Points the pool's clients of `server` at `factory`.
void Configure(const std::string& server, zubJexTcpTransportFactory& factory, NoHostObjects& map) {
  zubJexConfig config;
  config.setJexTransportFactory(&factory);
  zubJexClient::setServerConfig(server.c_str(), config);
  zubJexClient::setServerProxyMap(server.c_str(), &map);
}

}  // namespace

int main(int argc, char** argv) {
  const int calls = argc > 1 ? std::max(1, std::atoi(argv[1])) : 5000;
  const jex_test::TestCertificates& certs = jex_test::testCertificates();
  calcRegisterTypes();
  zubJexDispatcher dispatcher;
  calcServe(dispatcher, new CalcService("root"));

  zubJexTcpServer plainServer(dispatcher);
  zubJexTcpServerOptions tlsOptions;
  tlsOptions.tls.enabled = true;
  tlsOptions.tls.certificateChainFile = certs.serverCert;
  tlsOptions.tls.privateKeyFile = certs.serverKey;
  zubJexTcpServer tlsServer(dispatcher, tlsOptions);
  plainServer.start();
  tlsServer.start();

  zubJexTcpTransportFactory plainFactory;
  zubJexTcpOptions clientTls;
  clientTls.tls.enabled = true;
  clientTls.tls.caFile = certs.caCert;
  zubJexTcpTransportFactory tlsFactory(clientTls);
  NoHostObjects map;
  Configure(plainServer.address(), plainFactory, map);
  Configure(tlsServer.address(), tlsFactory, map);

  Percentiles tcp{}, tls{};
  bool ok = Measure(plainServer.address(), calls, tcp) && Measure(tlsServer.address(), calls, tls);
  if (!ok) {
    std::fprintf(stderr, "a call failed\n");
    return 1;
  }
  const double ratio = tls.p50us / tcp.p50us;
  std::printf("ICalc.add round trips on a kept connection, %d calls each\n", calls);
  std::printf("  TCP  p50 %7.1f us   p99 %7.1f us\n", tcp.p50us, tcp.p99us);
  std::printf("  TLS  p50 %7.1f us   p99 %7.1f us   handshakes %llu\n", tls.p50us, tls.p99us,
              static_cast<unsigned long long>(tlsFactory.tlsHandshakes()));
  std::printf("  TLS/TCP p50 %.2fx (target at most 1.30x)\n", ratio);
  tlsServer.stop();
  plainServer.stop();
  return tlsFactory.tlsHandshakes() == 1 ? 0 : 1;
}
