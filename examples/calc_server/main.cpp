// zubjex_calc_server: serves the calculator example ("ICalc", root object "calc") over TCP
// until interrupted (Ctrl-C or SIGTERM), then stops cleanly.
//
//   zubjex_calc_server                  127.0.0.1 and a free port, printed at start
//   zubjex_calc_server 127.0.0.1:7070   the address given
//   zubjex_calc_server --help           the options (the server's limits)
//   zubjex_calc_server --tls-cert server.pem --tls-key server-key.pem   frames inside TLS
//   zubjex_calc_server --http           calls posted to http://HOST:PORT/jex
//
// Clients: zubjex_demo 127.0.0.1:7070
#include <signal.h>
#include <sys/resource.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <limits>
#include <string>

#include "examples/calc/calc_service.h"
#include "platform/exceptions.h"
#include "server/dispatcher.h"
#include "server/tcp_server.h"
#include "transport/address.h"

namespace {

const char kUsage[] =
    "usage: zubjex_calc_server [options] [HOST:PORT]\n"
    "Serves the calculator example over TCP (default 127.0.0.1 and a free port).\n"
    "Options (a time of 0 means no limit):\n"
    "  --max-connections N            connections served at once; when all are taken the\n"
    "                                 one idle longest makes room (default 10000)\n"
    "  --threads N                    worker threads, also the calls run at once\n"
    "                                 (default 0: one per processor)\n"
    "  --first-request-timeout-ms MS  time for a new connection to begin a request (10000)\n"
    "  --frame-timeout-ms MS          time for a begun request to arrive whole (30000)\n"
    "  --idle-timeout-ms MS           time a connection may wait between calls (300000)\n"
    "  --write-timeout-ms MS          time for a client to take a response (30000)\n"
    "  --max-frame-size BYTES         the largest request (16777216)\n"
    "  --kept-buffer-size BYTES       the largest buffer kept between calls (65536)\n"
    "  --tls-cert FILE                speak TLS (1.2 or newer) with this certificate chain\n"
    "                                 (PEM); needs --tls-key\n"
    "  --tls-key FILE                 the private key of the certificate (PEM)\n"
    "  --tls-client-ca FILE           require client certificates that this CA (PEM)\n"
    "                                 verifies\n"
    "  --tls-handshake-timeout-ms MS  time for a new connection's handshake (10000)\n"
    "  --http                         take calls as HTTP POSTs (HTTPS with --tls-cert)\n"
    "                                 instead of bare frames\n"
    "  --http-path PATH               the path that calls are posted to (/jex)\n"
    "  --help                         this text\n";

std::string text(const xstring& s) { return std::string(s.CastToCString(), s.GetMBSize()); }

// Blocks SIGINT and SIGTERM in every thread (the server's threads inherit the mask) and
// returns the set to wait for.
sigset_t blockStopSignals() {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGINT);
  sigaddset(&signals, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  return signals;
}

// Raises the soft limit of descriptors towards the hard one, so that the server can hold
// `connections` connections (and a few descriptors of its own).
void allowDescriptorsFor(int connections) {
  rlimit limit{};
  if (::getrlimit(RLIMIT_NOFILE, &limit) != 0) return;
  const rlim_t wanted = static_cast<rlim_t>(connections) + 64;
  if (limit.rlim_cur != RLIM_INFINITY && limit.rlim_cur < wanted) {
    limit.rlim_cur = limit.rlim_max == RLIM_INFINITY ? wanted : std::min(wanted, limit.rlim_max);
    ::setrlimit(RLIMIT_NOFILE, &limit);
  }
}

// `text` as a whole decimal number from `min` to `max`; false otherwise.
bool parseNumber(const char* text, long long min, long long max, long long& out) {
  if (*text == '\0') return false;
  char* end = nullptr;
  errno = 0;
  const long long value = std::strtoll(text, &end, 10);
  if (errno != 0 || *end != '\0' || value < min || value > max) return false;
  out = value;
  return true;
}

// An option that takes a number, and where it goes.
struct NumberOption {
  const char* name;
  long long min;
  long long max;
  int* intTarget;
  uint32_t* sizeTarget;
};

// An option that takes a text.
struct TextOption {
  const char* name;
  std::string* target;
};

enum class Parsed { kRun, kHelp, kError };

// What the options that turn TLS on need: a certificate and its key, both or neither.
Parsed finishTls(zubJexServerTlsOptions& tls) {
  tls.enabled =
      !tls.certificateChainFile.empty() || !tls.privateKeyFile.empty() || !tls.clientCaFile.empty();
  if (tls.enabled && (tls.certificateChainFile.empty() || tls.privateKeyFile.empty())) {
    std::cerr << "zubjex_calc_server: TLS needs both --tls-cert and --tls-key\n";
    return Parsed::kError;
  }
  return Parsed::kRun;
}

Parsed parseCommandLine(int argc, char** argv, zubJexTcpServerOptions& options) {
  constexpr long long kIntMax = std::numeric_limits<int>::max();
  constexpr long long kSizeMax = std::numeric_limits<uint32_t>::max();
  const NumberOption numbers[] = {
      {"--max-connections", 1, kIntMax, &options.maxConnections, nullptr},
      {"--threads", 0, 1024, &options.threads, nullptr},
      {"--first-request-timeout-ms", 0, kIntMax, &options.firstRequestTimeoutMs, nullptr},
      {"--frame-timeout-ms", 0, kIntMax, &options.frameTimeoutMs, nullptr},
      {"--idle-timeout-ms", 0, kIntMax, &options.idleTimeoutMs, nullptr},
      {"--write-timeout-ms", 0, kIntMax, &options.writeTimeoutMs, nullptr},
      {"--max-frame-size", 1, kSizeMax, nullptr, &options.maxFrameSize},
      {"--kept-buffer-size", 0, kSizeMax, nullptr, &options.keptBufferSize},
      {"--tls-handshake-timeout-ms", 0, kIntMax, &options.tls.handshakeTimeoutMs, nullptr},
  };
  const TextOption texts[] = {
      {"--tls-cert", &options.tls.certificateChainFile},
      {"--tls-key", &options.tls.privateKeyFile},
      {"--tls-client-ca", &options.tls.clientCaFile},
      {"--http-path", &options.http.path},
  };
  bool haveAddress = false;
  for (int i = 1; i < argc; ++i) {
    const std::string arg = argv[i];
    if (arg == "--help" || arg == "-h") return Parsed::kHelp;
    if (arg == "--http") {
      options.http.enabled = true;
      continue;
    }
    const TextOption* textOption = nullptr;
    for (const TextOption& candidate : texts) {
      if (arg == candidate.name) textOption = &candidate;
    }
    if (textOption != nullptr) {
      if (i + 1 == argc || *argv[i + 1] == '\0') {
        std::cerr << "zubjex_calc_server: " << arg << " needs a value\n";
        return Parsed::kError;
      }
      *textOption->target = argv[++i];
      continue;
    }
    const NumberOption* option = nullptr;
    for (const NumberOption& candidate : numbers) {
      if (arg == candidate.name) option = &candidate;
    }
    if (option != nullptr) {
      long long value = 0;
      if (i + 1 == argc || !parseNumber(argv[++i], option->min, option->max, value)) {
        std::cerr << "zubjex_calc_server: " << arg << " needs a number from " << option->min
                  << " to " << option->max << "\n";
        return Parsed::kError;
      }
      if (option->intTarget != nullptr) *option->intTarget = static_cast<int>(value);
      if (option->sizeTarget != nullptr) *option->sizeTarget = static_cast<uint32_t>(value);
      continue;
    }
    zubTcpAddress address;
    if (haveAddress || arg.empty() || arg[0] == '-' || !zubTcpParseAddress(arg, address)) {
      std::cerr << "zubjex_calc_server: unexpected argument " << arg << "\n";
      return Parsed::kError;
    }
    haveAddress = true;
    options.host = address.host;
    options.port = std::stoi(address.port);
  }
  return finishTls(options.tls);
}

// How clients reach the server, for instance "https://127.0.0.1:7070/jex".
std::string where(const zubJexTcpServerOptions& options, const std::string& address) {
  if (options.http.enabled) {
    return (options.tls.enabled ? "https://" : "http://") + address + options.http.path;
  }
  return address + (options.tls.enabled ? " (TLS)" : "");
}

}  // namespace

int main(int argc, char** argv) {
  zubJexTcpServerOptions options;
  switch (parseCommandLine(argc, argv, options)) {
    case Parsed::kHelp:
      std::cout << kUsage;
      return 0;
    case Parsed::kError:
      std::cerr << kUsage;
      return 2;
    case Parsed::kRun:
      break;
  }
  allowDescriptorsFor(options.maxConnections);
  sigset_t stopSignals = blockStopSignals();

  calcRegisterTypes();
  zubJexDispatcher dispatcher;
  calcServe(dispatcher, new CalcService("root"));
  zubJexTcpServer server(dispatcher, options);
  try {
    server.start();
  } catch (xthrowable* t) {
    xrcunihandle<xthrowable> caught = xadoptThrown(t);
    zubXException* error = zubXException::softcast(caught.get());
    std::cerr << (error ? text(error->getDescription()) : std::string("cannot start")) << "\n";
    return 1;
  }
  std::cout << "serving ICalc (root object \"" << kCalcRootId << "\") on "
            << where(options, server.address()) << std::endl;

  int signal = 0;
  sigwait(&stopSignals, &signal);
  std::cout << "stopping" << std::endl;
  server.stop();
  return 0;
}
