#include "options.h"

#include <cerrno>
#include <cstdlib>
#include <limits>

namespace jexcall {

const char kUsage[] =
    "usage: jexcall [options] SERVER Interface.method [name=value ...]\n"
    "Calls a method of a JEX server and prints the result.\n"
    "\n"
    "SERVER is HOST:PORT (several, separated by commas, are tried in turn) or an\n"
    "http:// or https:// URL. The call goes to the server's root object of the\n"
    "interface, or with --root to the object of that id.\n"
    "\n"
    "Values (quote them for the shell where needed):\n"
    "  12  -7  int      12L long     12b byte     12s short     true false  bool\n"
    "  2.5  -1e3  real  nil          \"text\" or a bare word (hello, a/b.c)  string\n"
    "  [1, \"a\", [2]]  list (xanysequence)       strings[\"a\", \"b\"]  xstringsequence\n"
    "  Point{x=1, y=2}  an object of a type described with --idl\n"
    "  @ICalc:7         a proxy of ICalc with the id 7 on SERVER\n"
    "With --idl the parameters are checked against the method's description and\n"
    "converted where nothing is lost (1 for a long, [\"a\"] for list<string>).\n"
    "\n"
    "Options:\n"
    "  --root ID                 call the object of this id\n"
    "  --oneway                  a one-way call: send it and read no response\n"
    "  --void                    the method returns nothing (known with --idl)\n"
    "  --idl FILE                the types and methods of a .jex description; the\n"
    "                            server's answers may use its types (repeatable)\n"
    "  --json                    print the result as JSON\n"
    "  --deadline MS             the call must end within MS milliseconds\n"
    "  --connect-timeout-ms MS   time to connect (5000)\n"
    "  --tls                     TLS on TCP (https:// URLs use it anyway)\n"
    "  --ca FILE                 the authorities that the server's certificate is\n"
    "                            checked against (PEM; default: the system's)\n"
    "  --cert FILE --key FILE    a client certificate and its key (PEM)\n"
    "  --insecure                do not check the server's certificate (tests only)\n"
    "  --user NAME:PASSWORD      HTTP authentication\n"
    "  --bearer TOKEN            HTTP bearer token\n"
    "  --dump-request FILE       also write the call message to FILE (for jexdump)\n"
    "  --help                    this text\n"
    "\n"
    "Exit status: 0 the result (printed; nothing for a method without one), 1 a\n"
    "server fault (its description and causes on standard error), 2 a wrong command\n"
    "line or value, 3 a transport or client error (the call did not complete).\n";

namespace {

bool ParseMs(const std::string& text, int& out) {
  char* end = nullptr;
  errno = 0;
  const long v = std::strtol(text.c_str(), &end, 10);
  if (text.empty() || errno != 0 || *end != '\0' || v < 0 || v > std::numeric_limits<int>::max()) {
    return false;
  }
  out = static_cast<int>(v);
  return true;
}

// An option followed by a value, and what it sets.
bool TakeValueOption(const std::string& name, const std::string& value, Options& o,
                     std::string& error) {
  if (name == "--root") {
    o.rootId = value;
    o.hasRootId = true;
  } else if (name == "--idl") {
    o.idlFiles.push_back(value);
  } else if (name == "--dump-request") {
    o.dumpRequest = value;
  } else if (name == "--deadline" || name == "--connect-timeout-ms") {
    int ms = 0;
    if (!ParseMs(value, ms)) {
      error = name + " needs a number of milliseconds";
      return false;
    }
    if (name == "--deadline") {
      o.deadlineMs = ms;
    } else {
      o.tcp.connectTimeoutMs = o.http.connectTimeoutMs = ms;
    }
  } else if (name == "--ca") {
    o.tcp.tls.caFile = o.http.caFile = value;
  } else if (name == "--cert") {
    o.tcp.tls.certificateChainFile = o.http.clientCertificateFile = value;
  } else if (name == "--key") {
    o.tcp.tls.privateKeyFile = o.http.clientKeyFile = value;
  } else if (name == "--user") {
    const size_t colon = value.find(':');
    o.http.userName = value.substr(0, colon);
    o.http.password = colon == std::string::npos ? "" : value.substr(colon + 1);
  } else if (name == "--bearer") {
    o.http.bearerToken = value;
  } else {
    error = "unknown option " + name;
    return false;
  }
  return true;
}

bool TakeFlag(const std::string& name, Options& o) {
  if (name == "--oneway") {
    o.oneWay = true;
  } else if (name == "--void") {
    o.noResult = true;
  } else if (name == "--json") {
    o.json = true;
  } else if (name == "--tls") {
    o.tcp.tls.enabled = true;
  } else if (name == "--insecure") {
    o.tcp.tls.verifyServer = o.http.verifyPeer = o.http.verifyHost = false;
  } else {
    return false;
  }
  return true;
}

bool TakeTarget(const std::string& target, Options& o, std::string& error) {
  const size_t dot = target.find('.');
  if (dot == std::string::npos || dot == 0 || dot + 1 == target.size()) {
    error = "expected Interface.method, found '" + target + "'";
    return false;
  }
  o.interfaceName = target.substr(0, dot);
  o.method = target.substr(dot + 1);
  return true;
}

bool TakeParam(const std::string& arg, Options& o, std::string& error) {
  const size_t eq = arg.find('=');
  if (eq == std::string::npos || eq == 0) {
    error = "expected name=value, found '" + arg + "'";
    return false;
  }
  o.params.emplace_back(arg.substr(0, eq), arg.substr(eq + 1));
  return true;
}

}  // namespace

bool IsHttpServer(const std::string& server) {
  return server.rfind("http://", 0) == 0 || server.rfind("https://", 0) == 0;
}

Parsed ParseCommandLine(int argc, char** argv, Options& o, std::string& error) {
  std::vector<std::string> positional;
  for (int i = 1; i < argc; ++i) {
    const std::string arg = argv[i];
    if (arg == "--help" || arg == "-h") return Parsed::kHelp;
    if (arg.size() > 2 && arg.compare(0, 2, "--") == 0) {
      if (TakeFlag(arg, o)) continue;
      if (i + 1 == argc) {
        error = arg + " needs a value";
        return Parsed::kError;
      }
      if (!TakeValueOption(arg, argv[++i], o, error)) return Parsed::kError;
      continue;
    }
    positional.push_back(arg);
  }
  if (positional.size() < 2) {
    error = "expected SERVER and Interface.method";
    return Parsed::kError;
  }
  o.server = positional[0];
  if (!TakeTarget(positional[1], o, error)) return Parsed::kError;
  for (size_t i = 2; i < positional.size(); ++i) {
    if (!TakeParam(positional[i], o, error)) return Parsed::kError;
  }
  return Parsed::kCall;
}

}  // namespace jexcall
