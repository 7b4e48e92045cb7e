// Per-call deadlines: a scope on the calling thread that bounds every remote call made
// inside it, without a parameter on any call.
//
//   {
//     zubJexDeadline deadline(std::chrono::milliseconds(200));
//     xany sum = client->makeCall("ICalc", "add", params);  // at most about 200 ms
//   }
//
// A transport reads the deadline of the thread it runs on (remainingMs) and ends every
// wait no later than it; when the deadline is what ended a wait it calls
// zubJexRaiseDeadlineExceeded, and the host receives the zubXSerialization
// "JEX Client Error: JEX call to <server> exceeded its deadline." (message key
// "zubJEX_DEADLINE_EXCEEDED", argument: the server name).
#ifndef ZUBJEX_CLIENT_DEADLINE_H_
#define ZUBJEX_CLIENT_DEADLINE_H_

#include <chrono>
#include <cstddef>
#include <string>

#include "serialization/export.h"

// A scope that bounds every call the current thread makes inside it. Thread-local;
// nesting keeps the earlier deadline. Made on the stack and destroyed on the thread that
// made it, in the reverse order of making (which a scope guarantees).
class ZUBJEX_EXPORT zubJexDeadline {
 public:
  // From now; a timeout of zero or less has passed already.
  explicit zubJexDeadline(std::chrono::milliseconds timeout);
  explicit zubJexDeadline(std::chrono::steady_clock::time_point at);
  // Restores the deadline that was in force before this one.
  ~zubJexDeadline();
  zubJexDeadline(const zubJexDeadline&) = delete;
  zubJexDeadline& operator=(const zubJexDeadline&) = delete;
  static void* operator new(std::size_t) = delete;

  // A deadline is in force on this thread.
  static bool active();
  // -1: none; 0: passed; else the milliseconds left, rounded up (at most INT_MAX).
  static int remainingMs();
  static bool expired();
  // The deadline in force on this thread; time_point::max() when there is none.
  static std::chrono::steady_clock::time_point at();

 private:
  bool outerActive_;
  std::chrono::steady_clock::time_point outerAt_;
};

// What zubJexRaiseDeadlineExceeded raises (by value). The client's failure path catches
// it and words it with its message service; it never reaches the host as such, only
// code that drives a transport without a client sees it.
class ZUBJEX_EXPORT zubJexDeadlineExceeded {
 public:
  explicit zubJexDeadlineExceeded(std::string server) : server_(std::move(server)) {}
  // The server of the call, as the transport names it.
  const std::string& server() const { return server_; }

 private:
  std::string server_;
};

// Raised by a transport that stopped because the call's deadline passed; `server`
// names the server (null: ""). The client turns it into its own message key.
[[noreturn]] ZUBJEX_EXPORT void zubJexRaiseDeadlineExceeded(const char* server);

#endif  // ZUBJEX_CLIENT_DEADLINE_H_
