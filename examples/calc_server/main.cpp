// zubjex_calc_server: serves the calculator example ("ICalc", root object "calc") over TCP
// until interrupted (Ctrl-C or SIGTERM), then stops cleanly.
//
//   zubjex_calc_server                  127.0.0.1 and a free port, printed at start
//   zubjex_calc_server 127.0.0.1:7070   the address given
//
// Clients: zubjex_demo 127.0.0.1:7070
#include <signal.h>

#include <iostream>
#include <string>

#include "examples/calc/calc_service.h"
#include "examples/calc/calc_types.h"
#include "platform/exceptions.h"
#include "server/dispatcher.h"
#include "server/tcp_server.h"
#include "transport/address.h"

namespace {

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

}  // namespace

int main(int argc, char** argv) {
  zubJexTcpServerOptions options;
  if (argc > 1) {
    zubTcpAddress address;
    if (argc > 2 || !zubTcpParseAddress(argv[1], address)) {
      std::cerr << "usage: zubjex_calc_server [HOST:PORT]\n";
      return 2;
    }
    options.host = address.host;
    options.port = std::stoi(address.port);
  }
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
  std::cout << "serving ICalc (root object \"" << kCalcRootId << "\") on " << server.address()
            << std::endl;

  int signal = 0;
  sigwait(&stopSignals, &signal);
  std::cout << "stopping" << std::endl;
  server.stop();
  return 0;
}
