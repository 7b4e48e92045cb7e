#include "client/deadline.h"

#include <algorithm>
#include <climits>

namespace {

using Clock = std::chrono::steady_clock;

// The deadline in force on this thread, if any.
thread_local bool tActive = false;
thread_local Clock::time_point tAt;

// now + timeout, saturated at the clock's limits instead of overflowing.
Clock::time_point fromNow(std::chrono::milliseconds timeout) {
  const Clock::time_point now = Clock::now();
  if (timeout <= std::chrono::milliseconds::zero()) return now;
  const auto room =
      std::chrono::duration_cast<std::chrono::milliseconds>(Clock::time_point::max() - now);
  return timeout >= room ? Clock::time_point::max() : now + timeout;
}

}  // namespace

zubJexDeadline::zubJexDeadline(std::chrono::milliseconds timeout)
    : zubJexDeadline(fromNow(timeout)) {}

zubJexDeadline::zubJexDeadline(std::chrono::steady_clock::time_point at)
    : outerActive_(tActive), outerAt_(tAt) {
  tAt = tActive ? std::min(tAt, at) : at;
  tActive = true;
}

zubJexDeadline::~zubJexDeadline() {
  tActive = outerActive_;
  tAt = outerAt_;
}

bool zubJexDeadline::active() { return tActive; }

int zubJexDeadline::remainingMs() {
  if (!tActive) return -1;
  if (tAt == Clock::time_point::max()) return INT_MAX;
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(tAt - Clock::now()).count();
  if (left <= 0) return 0;
  return left >= INT_MAX ? INT_MAX : static_cast<int>(left);
}

bool zubJexDeadline::expired() { return tActive && Clock::now() >= tAt; }

std::chrono::steady_clock::time_point zubJexDeadline::at() {
  return tActive ? tAt : Clock::time_point::max();
}

void zubJexRaiseDeadlineExceeded(const char* server) {
  throw zubJexDeadlineExceeded(server != nullptr ? server : "");
}
