#include "examples/calc/calc_service.h"

#include <chrono>

int32_t CalcService::add(int32_t a, int32_t b) {
  int32_t sum = 0;
  // INT_MIN is the runtime's nil int: as a result it would arrive as nil, not as a sum.
  if (__builtin_add_overflow(a, b, &sum) || sum == XINT_NIL) CalcError::Throw("integer overflow");
  return sum;
}

int32_t CalcService::divide(int32_t a, int32_t b) {
  if (b == 0) CalcError::Throw("division by zero");
  if (a == XINT_NIL && b == -1) CalcError::Throw("integer overflow");
  return a / b;
}

void CalcService::log(const std::string& message) {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    logged_.push_back(message);
  }
  loggedChanged_.notify_all();
}

xrchandle<ICalcSkeleton> CalcService::createChild(const std::string& name) {
  return xrchandle<ICalcSkeleton>(new CalcService(name));
}

std::vector<std::string> CalcService::loggedMessages() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return logged_;
}

bool CalcService::waitForLogged(size_t count, int timeoutMs) const {
  std::unique_lock<std::mutex> lock(mutex_);
  return loggedChanged_.wait_for(lock, std::chrono::milliseconds(timeoutMs),
                                 [&] { return logged_.size() >= count; });
}

void calcServe(zubJexDispatcher& dispatcher, CalcService* root) {
  ICalcSkeleton::serve(dispatcher, root, kCalcRootId);
}
