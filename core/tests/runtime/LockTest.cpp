// SpinLock, Mutex and Semaphore.
#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>
#include <thread>
#include <vector>

#include <orvo/core/Mutex.h>
#include <orvo/core/Semaphore.h>
#include <orvo/core/SpinLock.h>

#include "text/StringTestSupport.h"

namespace orvo {
namespace {

SpinLock staticLock;  // Zero-initialised storage is a free lock.

// Runs `work` on `count` threads besides this one and on this one, then joins.
template <class Work>
void onThreads(int count, Work work) {
  std::vector<std::thread> threads;
  for (int t = 0; t < count; ++t) threads.emplace_back(work);
  work();
  for (auto& thread : threads) thread.join();
}

// True if another thread can take `lock` now.
template <class Lock>
bool freeForOthers(Lock& lock) {
  bool taken = false;
  std::thread([&] {
    if ((taken = lock.tryLock())) lock.unlock();
  }).join();
  return taken;
}

TEST(SpinLockTest, StartsFreeAndExcludesConcurrentWriters) {
  static_assert(sizeof(SpinLock) == 4);
  EXPECT_TRUE(staticLock.tryLock());
  EXPECT_FALSE(staticLock.tryLock());
  EXPECT_FALSE(freeForOthers(staticLock));
  staticLock.unlock();
  long counter = 0;  // Guarded by the lock alone: TSan checks it.
  onThreads(3, [&] {
    for (int i = 0; i < 20000; ++i) {
      SpinGuard guard(staticLock);
      ++counter;
    }
  });
  EXPECT_EQ(counter, 80000);
}

TEST(MutexTest, IsRecursiveAndGuardsReleaseOnExceptions) {
  Mutex mutex;
  mutex.lock();
  mutex.lock();  // Must not block its owner.
  mutex.unlock();
  EXPECT_FALSE(freeForOthers(mutex)) << "one unlock of two released the mutex";
  mutex.unlock();
  const auto leave = [&] {
    SpinGuard spin(staticLock);
    MutexGuard held(mutex);
    throw std::runtime_error("leave");
  };
  EXPECT_THROW(leave(), std::runtime_error);
  EXPECT_FALSE(staticLock.isLocked());
  EXPECT_TRUE(freeForOthers(mutex));
}

TEST(SemaphoreTest, WaitTakesOnlyRealCountsAndEverySignalWakesOneWait) {
  THandle<Semaphore> s = Semaphore::createInstance();
  EXPECT_EACH({{s->wait(0), false}, {s->wait(5), false}});  // The second runs out.
  s->sync(0);  // Returns at once.
  s->signal();
  s->signal();
  s->sync(5);
  s->sync(2);
  // A third take would take a signal twice.
  EXPECT_EACH({{s->wait(0), true}, {s->wait(Semaphore::kInfinite), true}, {s->wait(0), false}});
  std::atomic<int> taken{0};
  const auto takeSome = [&] {
    for (int i = 0; i < 100; ++i) taken += s->wait(Semaphore::kInfinite);
  };
  std::thread waiters[] = {std::thread(takeSome), std::thread(takeSome)};
  std::thread signaller([&] {
    for (int i = 0; i < 300; ++i) {
      s->signal();
      s->sync(0);  // Returns once the signal is taken: the waiters sleep in between.
      EXPECT_EQ(s->getCount(), 0);
    }
  });
  takeSome();
  for (auto& waiter : waiters) waiter.join();
  signaller.join();
  EXPECT_EQ(taken, 300);
  EXPECT_EQ(s->getCount(), 0);
}

}  // namespace
}  // namespace orvo
