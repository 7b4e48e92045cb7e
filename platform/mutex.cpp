#include "platform/mutex.h"

#include <sys/syscall.h>
#include <unistd.h>

#include "platform/abort.h"

namespace {
std::atomic<int> threadingEnabled{1};
}  // namespace

int IsThreadingEnabled() { return threadingEnabled.load(std::memory_order_relaxed); }

void btkSetThreadingEnabled(int enabled) {
  threadingEnabled.store(enabled, std::memory_order_relaxed);
}

uint64_t btkCurrentThreadId() {
  thread_local uint64_t id = static_cast<uint64_t>(::syscall(SYS_gettid));
  return id;
}

void thrMutex::AbortMsgIllegalMutexOp() { btkAbort("Illegal mutex operation.", 0, nullptr, 0); }

bool thrMutex::ThreadingInUse() {
  if (threadingKnown_.load(std::memory_order_acquire)) return true;
  if (IsThreadingEnabled() == 0) return false;
  threadingKnown_.store(true, std::memory_order_release);
  return true;
}

void thrMutex::Lock() {
  if (!inUse_ || !ThreadingInUse()) return;
  uint64_t self = btkCurrentThreadId();
  if (owner_.load(std::memory_order_relaxed) == self) {
    if (type_ != thrMutexRecursive) AbortMsgIllegalMutexOp();
    ++count_;
    return;
  }
  mutex_.Lock();
  owner_.store(self, std::memory_order_relaxed);
}

void thrMutex::Unlock() {
  if (!inUse_ || !ThreadingInUse()) return;
  if (owner_.load(std::memory_order_relaxed) != btkCurrentThreadId()) AbortMsgIllegalMutexOp();
  if (type_ == thrMutexRecursive && count_ > 0) {
    --count_;
    return;
  }
  owner_.store(0, std::memory_order_relaxed);
  mutex_.Unlock();
}
