// The harness's round trip through zubjex: a reference server over TCP that serves
// "Calc.add(a, b, s, v)" and a client that calls it through zubJexClient and the TCP
// transport, with the same payload as the codec "zubjex" (team_codec.h).
//
// TeamServer::start listens on 127.0.0.1 (a free port) and registers the client
// configuration of that address (the TCP transport factory and a proxy map), so it runs
// before any TeamClient calls. Each call takes a client from the pool of that address
// and gives it back; a pooled client keeps its own connection, so every client thread
// in a call holds its own connection.
#pragma once
#include <cstdint>
#include <memory>
#include <string>

#include "payload.h"
#include "platform/handles.h"
#include "platform/sequences.h"

class TeamServer {
 public:
  TeamServer();
  ~TeamServer();
  // Listens on 127.0.0.1, port 0, and returns once connections are accepted. Raises a
  // std::runtime_error when the server cannot listen.
  void start();
  // The bound port (0 before start).
  int port() const;
  // Stops the server and joins every thread of it; idle pooled connections are closed.
  void stop();

 private:
  struct State;
  std::unique_ptr<State> state_;
};

// One per client thread. Not thread-safe.
class TeamClient {
 public:
  // The connection is made at the first call and kept.
  explicit TeamClient(int port);
  // Calls c.iface:c.method(a, b, s, v) and returns the server's sum
  // a + b + s.size() + v.size(). Raises a std::runtime_error with the client's text
  // when the call fails.
  int64_t add(const anchors::Call& c);

 private:
  std::string server_;
  xrchandle<xanysequence> v_;       // the list parameter, refilled for every call
  xrchandle<xanysequence> params_;  // the call's parameters, refilled for every call
};
