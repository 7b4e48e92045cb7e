// The calculator that the tests, the reference server and the demo serve: the server side
// of "ICalc" (calc.jex), which the generated ICalcSkeleton dispatches to.
//
//   zubJexDispatcher dispatcher;
//   calcServe(dispatcher, new CalcService("root"));   // root object under kCalcRootId
#ifndef ZUBJEX_EXAMPLES_CALC_CALC_SERVICE_H_
#define ZUBJEX_EXAMPLES_CALC_CALC_SERVICE_H_

#include <condition_variable>
#include <mutex>
#include <string>
#include <vector>

#include "calc.jex.h"

// The identifier under which calcServe publishes the root calculator; clients obtain
// it with getRootObject("ICalc", kCalcRootId).
inline constexpr const char* kCalcRootId = "calc";

// A calculator living on a server; its type name is "ICalc" (the skeleton's), so that one
// returned by a call travels to the client as an ICalc proxy. Thread-safe: the dispatcher
// may call one object from several connections at once.
class CALC_JEX_EXPORT CalcService : public ICalcSkeleton {
 public:
  explicit CalcService(std::string name) : name_(std::move(name)) {}

  // Raises a CalcError "integer overflow" when the sum does not fit an int (INT_MIN
  // included, the runtime's nil int).
  int32_t add(int32_t a, int32_t b) override;
  // Raises a CalcError "division by zero" when b is 0, and "integer overflow" for
  // INT_MIN / -1 (INT_MIN arrives when a client sends a nil int).
  int32_t divide(int32_t a, int32_t b) override;
  // Records the message.
  void log(const std::string& message) override;
  // A new calculator named `name`.
  xrchandle<ICalcSkeleton> createChild(const std::string& name) override;
  std::string getName() override { return name_; }

  // The messages logged so far, oldest first.
  std::vector<std::string> loggedMessages() const;
  // Waits until at least `count` messages have been logged or `timeoutMs` passed;
  // true when they have. One-way calls return before the server has run them.
  bool waitForLogged(size_t count, int timeoutMs) const;

 private:
  const std::string name_;
  mutable std::mutex mutex_;  // guards logged_
  mutable std::condition_variable loggedChanged_;
  std::vector<std::string> logged_;
};

// Adds "ICalc" to `dispatcher` and publishes `root` (taken over by the dispatcher's
// object map) under kCalcRootId.
CALC_JEX_EXPORT void calcServe(zubJexDispatcher& dispatcher, CalcService* root);

#endif  // ZUBJEX_EXAMPLES_CALC_CALC_SERVICE_H_
