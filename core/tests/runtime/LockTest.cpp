// SpinLock, Mutex and Semaphore.
#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <stdexcept>
#include <thread>
#include <vector>

#include <orvo/core/Mutex.h>
#include <orvo/core/Semaphore.h>
#include <orvo/core/SpinLock.h>

namespace orvo {
namespace {

// A static lock works before any constructor: zero-initialised storage is a
// free lock.
SpinLock staticLock;

TEST(SpinLockTest, IsOneWordAndStartsFree) {
  static_assert(sizeof(SpinLock) == 4);
  EXPECT_FALSE(staticLock.isLocked());
  alignas(SpinLock) unsigned char zeroed[sizeof(SpinLock)] = {};
  auto* lock = new (zeroed) SpinLock;
  EXPECT_TRUE(lock->tryLock());
  EXPECT_FALSE(lock->tryLock());
  lock->unlock();
}

TEST(SpinLockTest, GuardReleasesOnException) {
  try {
    SpinGuard guard(staticLock);
    throw std::runtime_error("leave");
  } catch (const std::runtime_error&) {
  }
  EXPECT_FALSE(staticLock.isLocked());
}

TEST(SpinLockTest, ExcludesConcurrentWriters) {
  SpinLock lock;
  long counter = 0;  // Unsynchronised but for the lock: TSan checks it.
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&] {
      for (int i = 0; i < 20000; ++i) {
        SpinGuard guard(lock);
        ++counter;
      }
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(counter, 80000);
}

TEST(MutexTest, IsRecursiveAndNeedsEveryUnlock) {
  Mutex mutex;
  mutex.lock();
  mutex.lock();  // Must not block its owner.
  mutex.unlock();
  std::atomic<bool> acquired{false};
  std::thread other([&] { acquired = mutex.tryLock(); if (acquired) mutex.unlock(); });
  other.join();
  EXPECT_FALSE(acquired) << "one unlock of two released the mutex";
  mutex.unlock();
  std::thread again([&] { acquired = mutex.tryLock(); if (acquired) mutex.unlock(); });
  again.join();
  EXPECT_TRUE(acquired);
}

TEST(MutexTest, GuardReleasesOnException) {
  Mutex mutex;
  try {
    MutexGuard guard(mutex);
    throw std::runtime_error("leave");
  } catch (const std::runtime_error&) {
  }
  std::atomic<bool> acquired{false};
  std::thread other([&] { acquired = mutex.tryLock(); if (acquired) mutex.unlock(); });
  other.join();
  EXPECT_TRUE(acquired);
}

TEST(SemaphoreTest, WaitZeroOnEmptyFailsAtOnce) {
  THandle<Semaphore> s = Semaphore::createInstance();
  EXPECT_FALSE(s->wait(0));
  EXPECT_EQ(s->getCount(), 0);
}

TEST(SemaphoreTest, SignalWithoutWaiterStaysCountedOnce) {
  THandle<Semaphore> s = Semaphore::createInstance();
  s->signal();
  EXPECT_EQ(s->getCount(), 1);
  EXPECT_TRUE(s->wait(0));
  EXPECT_EQ(s->getCount(), 0);
  // A wait succeeds only against a real count: the signal is used up.
  EXPECT_FALSE(s->wait(0));
  EXPECT_EQ(s->getCount(), 0);
}

TEST(SemaphoreTest, TimedWaitRunsOutWithoutSignal) {
  THandle<Semaphore> s = Semaphore::createInstance();
  EXPECT_FALSE(s->wait(5));
  EXPECT_EQ(s->getCount(), 0);
}

TEST(SemaphoreTest, InfiniteWaitWakesOnSignalFromAnotherThread) {
  THandle<Semaphore> s = Semaphore::createInstance();
  std::thread signaller([&] { s->signal(); });
  EXPECT_TRUE(s->wait(Semaphore::kInfinite));
  signaller.join();
  EXPECT_EQ(s->getCount(), 0);
}

TEST(SemaphoreTest, EverySignalWakesExactlyOneWait) {
  THandle<Semaphore> s = Semaphore::createInstance();
  constexpr int kEach = 500;
  std::atomic<int> taken{0};
  std::vector<std::thread> waiters;
  for (int t = 0; t < 3; ++t) {
    waiters.emplace_back([&] {
      for (int i = 0; i < kEach; ++i) {
        if (s->wait(Semaphore::kInfinite)) ++taken;
      }
    });
  }
  for (int i = 0; i < 3 * kEach; ++i) s->signal();
  for (auto& waiter : waiters) waiter.join();
  EXPECT_EQ(taken, 3 * kEach);
  EXPECT_EQ(s->getCount(), 0);
}

TEST(SemaphoreTest, SyncReturnsAtOnceWhenCountIsLowEnough) {
  THandle<Semaphore> s = Semaphore::createInstance();
  s->sync(0);
  for (int i = 0; i < 3; ++i) s->signal();
  s->sync(5);
  s->sync(3);
  EXPECT_EQ(s->getCount(), 3);
}

TEST(SemaphoreTest, SyncWaitsUntilSignalsAreTaken) {
  THandle<Semaphore> s = Semaphore::createInstance();
  s->signal();
  s->signal();
  std::atomic<bool> synced{false};
  std::thread syncer([&] {
    s->sync(0);
    synced = true;
  });
  EXPECT_TRUE(s->wait(Semaphore::kInfinite));
  EXPECT_TRUE(s->wait(Semaphore::kInfinite));
  syncer.join();
  EXPECT_TRUE(synced);
  EXPECT_EQ(s->getCount(), 0);
}

}  // namespace
}  // namespace orvo
