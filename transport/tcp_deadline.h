// The moment at which one wait of a connection gives up.
#ifndef ZUBJEX_TRANSPORT_TCP_DEADLINE_H_
#define ZUBJEX_TRANSPORT_TCP_DEADLINE_H_

#include <chrono>

#include "transport/export.h"

// Copyable value; never (no limit) or a point of the steady clock.
class ZUBJEX_TCP_EXPORT zubTcpDeadline {
 public:
  // `timeoutMs` from now; zero or less means never.
  static zubTcpDeadline after(int timeoutMs);
  static zubTcpDeadline at(std::chrono::steady_clock::time_point when);
  static zubTcpDeadline never() { return zubTcpDeadline(); }

  // The time left as a poll timeout: -1 for never, 0 once passed.
  int remainingMs() const;
  bool isFinite() const { return finite_; }
  // The moment itself; time_point::max() for never.
  std::chrono::steady_clock::time_point when() const;

 private:
  zubTcpDeadline() = default;
  bool finite_ = false;
  std::chrono::steady_clock::time_point at_;
};

#endif  // ZUBJEX_TRANSPORT_TCP_DEADLINE_H_
