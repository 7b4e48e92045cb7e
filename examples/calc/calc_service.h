// The server side of the remote interface "ICalc": a calculator object and the method
// table through which a dispatcher calls it.
//
//   zubJexDispatcher dispatcher;
//   calcServe(dispatcher, new CalcService("root"));   // root object under kCalcRootId
#ifndef ZUBJEX_EXAMPLES_CALC_CALC_SERVICE_H_
#define ZUBJEX_EXAMPLES_CALC_CALC_SERVICE_H_

#include <condition_variable>
#include <mutex>
#include <string>
#include <vector>

#include "examples/calc/calc_export.h"
#include "platform/xobject.h"
#include "server/dispatcher.h"

// The identifier under which calcServe publishes the root calculator; clients obtain
// it with getRootObject("ICalc", kCalcRootId).
inline constexpr const char* kCalcRootId = "calc";

// A calculator living on a server. Its type name is "ICalc", the remote interface's, so
// that a CalcService returned by a call travels to the client as an ICalc proxy.
// Thread-safe: the dispatcher may call one object from several connections at once.
class CALC_EXPORT CalcService : public xobject {
  XOBJECT_DECLARE_RTTI(CALC_EXPORT)
 public:
  explicit CalcService(std::string name) : name_(std::move(name)) {}

  const std::string& getName() const { return name_; }
  // Raises a CalcError "integer overflow" when the sum does not fit an int (INT_MIN
  // included, the runtime's nil int).
  int add(int a, int b) const;
  // Raises a CalcError "division by zero" when b is 0. (The one quotient beyond an int,
  // INT_MIN / -1, cannot arise: INT_MIN is the runtime's nil int and never arrives as one.)
  int divide(int a, int b) const;
  // Records the message.
  void log(const std::string& message);
  // A new calculator named `name`, with no reference yet.
  CalcService* createChild(const std::string& name) const { return new CalcService(name); }

  // The messages logged so far, oldest first.
  std::vector<std::string> loggedMessages() const;
  // Waits until at least `count` messages have been logged or `timeoutMs` passed;
  // true when they have. One-way calls return before the server has run them.
  bool waitForLogged(size_t count, int timeoutMs) const;

  // The object as a CalcService, or null when it is none (or null).
  static CalcService* softcast(xobject* o);

 private:
  const std::string name_;
  mutable std::mutex mutex_;  // guards logged_
  mutable std::condition_variable loggedChanged_;
  std::vector<std::string> logged_;
};

// The methods of "ICalc" for CalcService targets. Parameters of the wrong kind are
// answered with a CalcError, never taken on trust.
CALC_EXPORT zubJexMethodTable calcServiceMethods();

// Adds "ICalc" with calcServiceMethods() to `dispatcher` and publishes `root` (taken
// over by the dispatcher's object map) under kCalcRootId.
CALC_EXPORT void calcServe(zubJexDispatcher& dispatcher, CalcService* root);

#endif  // ZUBJEX_EXAMPLES_CALC_CALC_SERVICE_H_
