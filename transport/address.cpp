#include "transport/address.h"

#include <cstdlib>

namespace {

bool IsPort(const std::string& text) {
  if (text.empty() || text.size() > 5) return false;
  for (char c : text) {
    if (c < '0' || c > '9') return false;
  }
  return std::atoi(text.c_str()) <= 65535;
}

}  // namespace

bool zubTcpParseAddress(const std::string& address, zubTcpAddress& out) {
  std::string host;
  std::string port;
  if (!address.empty() && address[0] == '[') {
    size_t close = address.find(']');
    if (close == std::string::npos || close + 1 >= address.size() || address[close + 1] != ':') {
      return false;
    }
    host = address.substr(1, close - 1);
    port = address.substr(close + 2);
  } else {
    size_t colon = address.rfind(':');
    if (colon == std::string::npos) return false;
    host = address.substr(0, colon);
    port = address.substr(colon + 1);
    if (host.find(':') != std::string::npos) return false;  // IPv6 needs brackets
  }
  if (host.empty() || !IsPort(port)) return false;
  out.host = host;
  out.port = port;
  return true;
}

std::string zubTcpFormatAddress(const std::string& host, int port) {
  std::string h = host.find(':') != std::string::npos ? "[" + host + "]" : host;
  return h + ":" + std::to_string(port);
}
