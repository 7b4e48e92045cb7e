// jexcall's command line: what to call, where, how, and how to print the answer.
#ifndef ZUBJEX_TOOLS_JEXCALL_OPTIONS_H_
#define ZUBJEX_TOOLS_JEXCALL_OPTIONS_H_

#include <string>
#include <utility>
#include <vector>

#include "http/http_options.h"
#include "transport/tcp_options.h"

namespace jexcall {

struct Options {
  std::string server;  // "host:port", several separated by ",", or an http(s):// URL
  std::string interfaceName;
  std::string method;
  // name=value as given, split at the first "=".
  std::vector<std::pair<std::string, std::string>> params;
  std::string rootId;  // empty: the server's root object of the interface
  bool hasRootId = false;
  bool oneWay = false;
  bool noResult = false;
  bool json = false;
  std::vector<std::string> idlFiles;
  std::string dumpRequest;  // a file for the call message as sent; empty: none
  int deadlineMs = 0;       // 0: no deadline of the call's own
  zubJexTcpOptions tcp;
  zubJexHttpOptions http;
};

// The text of --help.
extern const char kUsage[];

// True when SERVER names an HTTP or HTTPS URL.
bool IsHttpServer(const std::string& server);

enum class Parsed { kCall, kHelp, kError };

// Fills `options` from the command line; on kError `error` says what is wrong.
Parsed ParseCommandLine(int argc, char** argv, Options& options, std::string& error);

}  // namespace jexcall

#endif  // ZUBJEX_TOOLS_JEXCALL_OPTIONS_H_
