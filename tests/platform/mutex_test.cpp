#include "platform/mutex.h"

#include <gtest/gtest.h>

#include <thread>

namespace {

TEST(ThrMutexTest, RecursiveMutexNestsForItsOwner) {
  thrMutex m(thrMutexRecursive);
  m.Lock();
  m.Lock();
  m.Unlock();
  m.Unlock();
  // Free again: another thread can take it.
  std::thread other([&] {
    m.Lock();
    m.Unlock();
  });
  other.join();
}

TEST(ThrMutexTest, ExcludesOtherThreads) {
  thrMutex m(thrMutexPlain);
  int counter = 0;
  auto work = [&] {
    for (int i = 0; i < 10000; ++i) {
      m.Lock();
      ++counter;
      m.Unlock();
    }
  };
  std::thread a(work), b(work);
  a.join();
  b.join();
  EXPECT_EQ(counter, 20000);
}

using ThrMutexDeathTest = ::testing::Test;

TEST_F(ThrMutexDeathTest, IllegalOperationsEndTheProcess) {
  EXPECT_DEATH(
      {
        thrMutex m(thrMutexPlain);
        m.Lock();
        m.Lock();
      },
      "Illegal mutex operation");
  EXPECT_DEATH(
      {
        thrMutex m(thrMutexPlain);
        m.Unlock();
      },
      "Illegal mutex operation");
}

TEST(ThrMutexTest, LocksNothingWhileThreadingIsOff) {
  btkSetThreadingEnabled(0);
  thrMutex m(thrMutexPlain);
  m.Lock();
  m.Lock();  // would abort if it locked
  m.Unlock();
  btkSetThreadingEnabled(1);
  // Threading is asked again and now known: the mutex locks for real.
  m.Lock();
  m.Unlock();
}

}  // namespace
