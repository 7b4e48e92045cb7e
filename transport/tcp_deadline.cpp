#include "transport/tcp_deadline.h"

#include <climits>

zubTcpDeadline zubTcpDeadline::after(int timeoutMs) {
  if (timeoutMs <= 0) return never();
  return at(std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs));
}

zubTcpDeadline zubTcpDeadline::at(std::chrono::steady_clock::time_point when) {
  zubTcpDeadline d;
  if (when == std::chrono::steady_clock::time_point::max()) return d;
  d.finite_ = true;
  d.at_ = when;
  return d;
}

int zubTcpDeadline::remainingMs() const {
  if (!finite_) return -1;
  auto left = std::chrono::ceil<std::chrono::milliseconds>(at_ - std::chrono::steady_clock::now());
  if (left.count() <= 0) return 0;
  return left.count() >= INT_MAX ? INT_MAX : static_cast<int>(left.count());
}

std::chrono::steady_clock::time_point zubTcpDeadline::when() const {
  return finite_ ? at_ : std::chrono::steady_clock::time_point::max();
}
