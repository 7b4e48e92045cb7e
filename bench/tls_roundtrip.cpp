// Round trips of ICalc.add on a kept connection over TLS and over plain TCP, taking turns
// in the same run, against the reference server in this process; reports the median and the 99th
// percentile of each, the ratio of the medians and the median ratio of calls made back to
// back (target: TLS at most 1.3 times TCP),
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

// The median of the ratios of calls made back to back: robust against a load that changes
// while the bench runs.
double PairedRatio(const std::vector<double>& tcp, const std::vector<double>& tls) {
  std::vector<double> ratios;
  for (size_t i = 0; i < tcp.size(); ++i) ratios.push_back(tls[i] / tcp[i]);
  std::sort(ratios.begin(), ratios.end());
  return ratios[ratios.size() / 2];
}

// Microseconds of one add through the pool's client of `server`; -1 when it failed.
double TimedAdd(const std::string& server, int a) {
  xrchandle<xanysequence> params(xanysequence::create());
  params->append(xint{a});
  params->append(xint{1});
  Clock::time_point start = Clock::now();
  try {
    xany sum = zubJexClient::getInstance(server.c_str())->makeCall("ICalc", "add", params);
    if (sum.getKind() != xany_int || sum.toInt() != a + 1) return -1;
  } catch (xthrowable* t) {
    xadoptThrown(t);
    return -1;
  }
  return std::chrono::duration<double, std::micro>(Clock::now() - start).count();
}

Percentiles Of(std::vector<double> us) {
  std::sort(us.begin(), us.end());
  return Percentiles{us[us.size() / 2], us[us.size() * 99 / 100]};
}

// `calls` adds on each server after a warm-up, the two taking turns call by call so that
// a change of the machine's load meets both alike; false when one failed.
bool Measure(const std::string& tcpServer, const std::string& tlsServer, int calls,
             Percentiles& tcp, Percentiles& tls, double& pairedRatio) {
  std::vector<double> tcpUs, tlsUs;
  for (int i = -200; i < calls; ++i) {
    double a = TimedAdd(tcpServer, i);
    double b = TimedAdd(tlsServer, i);
    if (a < 0 || b < 0) return false;
    if (i < 0) continue;
    tcpUs.push_back(a);
    tlsUs.push_back(b);
  }
  pairedRatio = PairedRatio(tcpUs, tlsUs);
  tcp = Of(tcpUs);
  tls = Of(tlsUs);
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
  double paired = 0;
  if (!Measure(plainServer.address(), tlsServer.address(), calls, tcp, tls, paired)) {
    std::fprintf(stderr, "a call failed\n");
    return 1;
  }
  const double ratio = tls.p50us / tcp.p50us;
  std::printf("ICalc.add round trips on a kept connection, %d calls each\n", calls);
  std::printf("  TCP  p50 %7.1f us   p99 %7.1f us\n", tcp.p50us, tcp.p99us);
  std::printf("  TLS  p50 %7.1f us   p99 %7.1f us   handshakes %llu\n", tls.p50us, tls.p99us,
              static_cast<unsigned long long>(tlsFactory.tlsHandshakes()));
  std::printf("  TLS/TCP p50 %.2fx, median of back-to-back pairs %.2fx (target at most 1.30x)\n",
              ratio, paired);
  tlsServer.stop();
  plainServer.stop();
  return tlsFactory.tlsHandshakes() == 1 ? 0 : 1;
}
