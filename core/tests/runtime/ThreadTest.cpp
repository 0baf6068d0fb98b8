// Thread: the start rendezvous, shutdown and restart, the System given back
// after a failed start, a Thread that outlives its last outside handle, and
// Threads stopped from other threads.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include <orvo/core/Thread.h>

#include "runtime/ScriptedSystem.h"

namespace orvo {
namespace {

// Sleeps in its loop until it is shut down, so that a running System costs
// no processor time.
Unknown::THandle<ScriptedSystem> idleSystem() {
  Unknown::THandle<ScriptedSystem> system(new ScriptedSystem);
  system->script = [](ScriptedSystem& self) {
    while (self.getState() == System::StateRunning) self.sleep(Semaphore::kInfinite);
  };
  return system;
}

// A System shut down before its loop began never runs init and exit; the
// cases that count exit calls wait for the loop.
void awaitLoop(const System& system) {
  while (system.getState() != System::StateRunning) std::this_thread::yield();
}

std::atomic<int> threadsDestroyed{0};
struct CountedThread : Thread {
  ~CountedThread() override { ++threadsDestroyed; }
};

TEST(Thread, RunsASystemUntilShutdownAndCanBeStartedAgain) {
  Unknown::THandle<Thread> thread = Thread::createInstance();
  EXPECT_TRUE(thread->shutdown());  // Idle: nothing to do.
  EXPECT_FALSE(thread->start(nullptr));
  auto system = idleSystem();
  for (int run = 1; run <= 2; ++run) {
    ASSERT_TRUE(thread->start(system.get())) << run;
    EXPECT_EQ(thread->getSystem().get(), system.get());
    EXPECT_FALSE(thread->start(system.get()));  // Already loaded.
    auto other = idleSystem();
    EXPECT_FALSE(thread->start(other.get()));  // In use; the other System is given back.
    EXPECT_EQ(other->getState(), System::StateUnloaded);
    awaitLoop(*system);
    EXPECT_TRUE(thread->shutdown());
    EXPECT_EQ(system->exitCalls, run);  // exit() ran before shutdown returned.
    EXPECT_EQ(system->getState(), System::StateUnloaded);
    EXPECT_EQ(thread->getSystem().get(), nullptr);
  }
}

TEST(Thread, LivesUntilItsThreadEndsWhenTheLastOutsideHandleIsDropped) {
  auto system = idleSystem();
  const int before = threadsDestroyed;
  Unknown::THandle<Thread>(new CountedThread)->start(system.get());
  awaitLoop(*system);
  EXPECT_EQ(threadsDestroyed, before);
  system->shutdown();
  while (threadsDestroyed == before) std::this_thread::yield();
  EXPECT_EQ(system->exitCalls, 1);
}

TEST(Thread, ShutdownFromTheSystemsOwnThreadStopsItWithoutWaitingForItself) {
  Unknown::THandle<Thread> thread = Thread::createInstance();
  Unknown::THandle<ScriptedSystem> system(new ScriptedSystem);
  system->script = [thread](ScriptedSystem&) { thread->shutdown(); };
  ASSERT_TRUE(thread->start(system.get()));
  while (thread->getSystem()) std::this_thread::yield();  // Hangs if the inner shutdown waited.
  EXPECT_TRUE(thread->shutdown());
  EXPECT_EQ(system->getState(), System::StateUnloaded);
}

TEST(Thread, TwoThreadsRunTwoSystemsStoppedFromOtherThreads) {
  for (int round = 0; round < 20; ++round) {
    Unknown::THandle<Thread> threads[] = {Thread::createInstance(), Thread::createInstance()};
    decltype(idleSystem()) systems[] = {idleSystem(), idleSystem()};
    for (int i = 0; i < 2; ++i) ASSERT_TRUE(threads[i]->start(systems[i].get()));
    for (auto& system : systems) awaitLoop(*system);
    // Both stoppers ask both Threads; each returns when both have ended.
    auto stopAll = [&threads] {
      for (auto& thread : threads) thread->shutdown();
    };
    std::thread first(stopAll), second(stopAll);
    first.join(), second.join();
    for (auto& system : systems) EXPECT_EQ(system->exitCalls, 1);
    for (auto& thread : threads) EXPECT_EQ(thread->getSystem().get(), nullptr);
  }
}

}  // namespace
}  // namespace orvo
