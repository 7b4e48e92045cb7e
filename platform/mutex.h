// Mutexes of the base library.
//
// btkThrMutex is a plain mutex that always locks. thrMutex wraps one and follows the
// runtime's rules: it locks nothing while the process reports that threads are not in
// use, it may be recursive, and illegal operations (a plain mutex locked twice by its
// owner, an unlock by a thread that does not own it) end the process.
#ifndef ZUBJEX_PLATFORM_MUTEX_H_
#define ZUBJEX_PLATFORM_MUTEX_H_

#include <atomic>
#include <cstdint>
#include <mutex>

#include "platform/export.h"

class ZUBPLATFORM_EXPORT btkThrMutex {
 public:
  explicit btkThrMutex(int flags = 0) { (void)flags; }
  btkThrMutex(const btkThrMutex&) = delete;
  btkThrMutex& operator=(const btkThrMutex&) = delete;
  void Lock() { m_.lock(); }
  void Unlock() { m_.unlock(); }

 private:
  std::mutex m_;
};

// Locks a mutex for a scope: locked when made, unlocked by Unlock or at the end.
template <class M>
class btkScopeGuard {
 public:
  explicit btkScopeGuard(M& m) : m_(m), locked_(true) { m_.Lock(); }
  btkScopeGuard(const btkScopeGuard&) = delete;
  btkScopeGuard& operator=(const btkScopeGuard&) = delete;
  ~btkScopeGuard() { Unlock(); }
  void Unlock() {
    if (locked_) m_.Unlock();
    locked_ = false;
  }

 private:
  M& m_;
  bool locked_;
};

// Nonzero when the process uses threads (the default). Hosts that run single-threaded
// may switch it off before any mutex is used.
ZUBPLATFORM_EXPORT int IsThreadingEnabled();
ZUBPLATFORM_EXPORT void btkSetThreadingEnabled(int enabled);
// The operating system's identifier of the calling thread; never 0.
ZUBPLATFORM_EXPORT uint64_t btkCurrentThreadId();

enum thrMutexType { thrMutexPlain = 0, thrMutexRecursive = 1 };

class ZUBPLATFORM_EXPORT thrMutex {
 public:
  explicit thrMutex(thrMutexType type = thrMutexPlain) : type_(type) {}
  thrMutex(const thrMutex&) = delete;
  thrMutex& operator=(const thrMutex&) = delete;
  ~thrMutex() { inUse_ = false; }

  void Lock();
  void Unlock();
  // Reports an illegal mutex operation and ends the process.
  [[noreturn]] static void AbortMsgIllegalMutexOp();

 private:
  bool ThreadingInUse();

  thrMutexType type_;
  int count_ = 0;  // extra recursive locks by the owner
  bool inUse_ = true;
  std::atomic<bool> threadingKnown_{false};
  std::atomic<uint64_t> owner_{0};  // 0: none
  btkThrMutex mutex_;
};

#endif  // ZUBJEX_PLATFORM_MUTEX_H_
