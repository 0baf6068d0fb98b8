// The main loop and its Tasks, driven by a clock that the tests set by hand.
#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <stdexcept>
#include <thread>
#include <utility>
#include <vector>

#include <orvo/core/System.h>

#include "platform/Clock.h"

namespace orvo {
namespace {

std::atomic<std::uint32_t> fakeNow{0};
std::uint32_t fakeClock() { return fakeNow.load(); }

// Puts the hand clock in force for one test.
class ClockScope {
 public:
  explicit ClockScope(std::uint32_t start) {
    fakeNow = start;
    _previous = platform::setMillisecondClock(&fakeClock);
  }
  ~ClockScope() { platform::setMillisecondClock(_previous); }

 private:
  platform::MillisecondClock _previous;
};

// A System whose loop is a script: run() hands the test the System, and the
// test calls tick() as the loop would.
class ScriptedSystem : public System {
 public:
  std::function<bool(ScriptedSystem&)> onInit;
  std::function<void(ScriptedSystem&)> script;
  int exitCalls = 0;
  bool ranLoop = false;

  bool init() override { return onInit ? onInit(*this) : System::init(); }
  void run() override {
    ranLoop = true;
    if (script) {
      script(*this);
    } else {
      System::run();
    }
  }
  void exit() override {
    ++exitCalls;
    System::exit();
  }
  // One pass at clock value `now`.
  void passAt(std::uint32_t now) {
    fakeNow = now;
    tick();
  }
};

// Records every call with the clock value and the time delivered.
class RecordingTask : public System::Task {
 public:
  struct Call {
    std::uint32_t at;
    unsigned int elapsed;
  };
  std::vector<Call> calls;
  std::function<void(RecordingTask&)> onCall;
  std::vector<int>* order = nullptr;
  int id = 0;
  static inline std::atomic<int> live{0};

  RecordingTask() { ++live; }
  void onTick(unsigned int elapsed) override {
    calls.push_back({fakeNow.load(), elapsed});
    if (order) order->push_back(id);
    if (onCall) onCall(*this);
  }

 protected:
  ~RecordingTask() override { --live; }
};

THandle<ScriptedSystem> makeSystem() { return THandle<ScriptedSystem>(new ScriptedSystem); }

// Loads and starts `system` with `script` as its loop.
void runScript(const THandle<ScriptedSystem>& system, std::function<void(ScriptedSystem&)> script) {
  system->script = std::move(script);
  ASSERT_TRUE(system->load());
  system->start();
}

// ---- life states -------------------------------------------------------------

TEST(SystemStateTest, StartWithoutLoadDoesNothing) {
  THandle<ScriptedSystem> system = makeSystem();
  system->start();
  EXPECT_EQ(system->getState(), System::StateUnloaded);
  EXPECT_EQ(system->exitCalls, 0);
}

TEST(SystemStateTest, LoadOnlyFromUnloaded) {
  THandle<ScriptedSystem> system = makeSystem();
  EXPECT_TRUE(system->load());
  EXPECT_FALSE(system->load());
  EXPECT_EQ(system->getState(), System::StateLoaded);
  system->unload();  // Only a stopped System unloads.
  EXPECT_EQ(system->getState(), System::StateLoaded);
}

TEST(SystemStateTest, ShutdownBeforeStartThenStartDoesNothing) {
  THandle<ScriptedSystem> system = makeSystem();
  system->load();
  EXPECT_TRUE(system->shutdown());
  EXPECT_EQ(system->getState(), System::StateStopping);
  system->start();
  EXPECT_EQ(system->exitCalls, 0);
  system->unload();
  EXPECT_EQ(system->getState(), System::StateUnloaded);
}

TEST(SystemStateTest, FullLifeAndRestart) {
  ClockScope clock(1000);
  THandle<ScriptedSystem> system = makeSystem();
  for (int round = 0; round < 2; ++round) {
    System::EState seenInLoop = System::StateUnloaded;
    runScript(system, [&](ScriptedSystem& s) {
      seenInLoop = s.getState();
      s.shutdown();
    });
    EXPECT_EQ(seenInLoop, System::StateRunning);
    EXPECT_EQ(system->getState(), System::StateStopping);
    EXPECT_EQ(system->exitCalls, round + 1);
    system->unload();
    EXPECT_EQ(system->getState(), System::StateUnloaded);
  }
}

TEST(SystemStateTest, ShutdownDuringInitSkipsTheLoop) {
  THandle<ScriptedSystem> system = makeSystem();
  bool baseInit = true;
  system->onInit = [&](ScriptedSystem& s) {
    std::thread other([&] { s.shutdown(); });
    other.join();
    baseInit = s.System::init();
    return baseInit;
  };
  runScript(system, nullptr);
  EXPECT_FALSE(baseInit);
  EXPECT_FALSE(system->ranLoop);
  EXPECT_EQ(system->exitCalls, 1);
  EXPECT_EQ(system->getState(), System::StateStopping);
}

TEST(SystemStateTest, InitFailingBeforeBaseInitStaysStarting) {
  THandle<ScriptedSystem> system = makeSystem();
  system->onInit = [](ScriptedSystem&) { return false; };
  runScript(system, nullptr);
  EXPECT_EQ(system->exitCalls, 1);
  EXPECT_EQ(system->getState(), System::StateStarting);
  system->unload();
  EXPECT_EQ(system->getState(), System::StateStarting);
  system->shutdown();
  system->unload();
  EXPECT_EQ(system->getState(), System::StateUnloaded);
}

TEST(SystemStateTest, InitFailingAfterBaseInitStops) {
  THandle<ScriptedSystem> system = makeSystem();
  system->onInit = [](ScriptedSystem& s) {
    s.System::init();
    return false;
  };
  runScript(system, nullptr);
  EXPECT_FALSE(system->ranLoop);
  EXPECT_EQ(system->getState(), System::StateStopping);
}

TEST(SystemStateTest, RunLoopsUntilShutdownFromAnotherThread) {
  THandle<ScriptedSystem> system = makeSystem();
  THandle<RecordingTask> task(new RecordingTask);
  std::atomic<int> passes{0};
  task->onCall = [&](RecordingTask&) { ++passes; };
  system->onInit = [&](ScriptedSystem& s) { return s.System::init() && task->start(&s); };
  system->load();
  std::thread stopper([&] {
    while (passes.load() < 100) std::this_thread::yield();
    system->shutdown();
  });
  system->start();  // The base run(): loops until the state leaves running.
  stopper.join();
  EXPECT_GE(passes.load(), 100);
  EXPECT_EQ(system->getState(), System::StateStopping);
  EXPECT_EQ(task->getTaskState(), TaskStopped) << "exit stops every task";
}

TEST(SystemStateTest, WakenWithoutSleeperLetsNextSleepReturnAtOnce) {
  THandle<ScriptedSystem> system = makeSystem();
  system->waken();
  system->sleep(Semaphore::kInfinite);  // Would hang without the stored signal.
  SUCCEED();
}

TEST(SystemStateTest, ShutdownWakesASleeper) {
  THandle<ScriptedSystem> system = makeSystem();
  system->load();
  std::thread sleeper([&] { system->sleep(Semaphore::kInfinite); });
  system->shutdown();
  sleeper.join();
  EXPECT_EQ(system->getState(), System::StateStopping);
}

// ---- timing ------------------------------------------------------------------

TEST(SystemTimingTest, FirstPassDeliversNoTime) {
  ClockScope clock(5000);
  THandle<ScriptedSystem> system = makeSystem();
  THandle<RecordingTask> task(new RecordingTask);
  system->onInit = [&](ScriptedSystem& s) { return s.System::init() && task->start(&s); };
  runScript(system, [&](ScriptedSystem& s) {
    s.passAt(5000);  // Merges the task; it is not called in this pass.
    s.passAt(5010);
  });
  ASSERT_EQ(task->calls.size(), 1u);
  EXPECT_EQ(task->calls[0].elapsed, 10u);

}

TEST(SystemTimingTest, FirstPassOverAnActiveTaskDeliversZero) {
  ClockScope clock(0);
  THandle<ScriptedSystem> system = makeSystem();
  THandle<RecordingTask> task(new RecordingTask);
  runScript(system, [&](ScriptedSystem& s) {
    task->start(&s);
    s.onTick(0);  // Merges without a clock reading, so the next tick is the first.
    s.passAt(777);
  });
  ASSERT_EQ(task->calls.size(), 1u);
  EXPECT_EQ(task->calls[0].elapsed, 0u);
}

TEST(SystemTimingTest, PeriodRemainderIsDropped) {
  ClockScope clock(0);
  THandle<ScriptedSystem> system = makeSystem();
  THandle<RecordingTask> task(new RecordingTask);
  runScript(system, [&](ScriptedSystem& s) {
    task->start(&s);
    s.passAt(0);
    task->setTickTime(100);
    for (std::uint32_t t = 30; t <= 390; t += 30) s.passAt(t);
  });
  ASSERT_EQ(task->calls.size(), 3u);
  const std::uint32_t expectedAt[] = {120, 240, 360};
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(task->calls[i].at, expectedAt[i]);
    EXPECT_EQ(task->calls[i].elapsed, 120u);
  }
}

TEST(SystemTimingTest, PeriodZeroIsCalledEveryPassWithThePassTime) {
  ClockScope clock(0);
  THandle<ScriptedSystem> system = makeSystem();
  THandle<RecordingTask> task(new RecordingTask);
  runScript(system, [&](ScriptedSystem& s) {
    task->start(&s);
    s.passAt(0);
    s.passAt(7);
    s.passAt(7);
    s.passAt(20);
  });
  ASSERT_EQ(task->calls.size(), 3u);
  EXPECT_EQ(task->calls[0].elapsed, 7u);
  EXPECT_EQ(task->calls[1].elapsed, 0u);
  EXPECT_EQ(task->calls[2].elapsed, 13u);
}

TEST(SystemTimingTest, SleepEndsAfterItsTimeWithAtLeastThatMuch) {
  ClockScope clock(0);
  THandle<ScriptedSystem> system = makeSystem();
  THandle<RecordingTask> task(new RecordingTask);
  runScript(system, [&](ScriptedSystem& s) {
    task->start(&s);
    s.passAt(0);
    task->setTickTime(1000);
    s.passAt(1000);  // Called: the last call is at 1000.
    s.passAt(1400);  // 400 gathered since.
    EXPECT_TRUE(task->sleep(500));
    EXPECT_EQ(task->getTaskState(), TaskSleeping);
    s.passAt(1450);
    EXPECT_EQ(task->calls.size(), 1u);
    s.passAt(1500);  // 500 gathered: the sleep is over.
    ASSERT_EQ(task->calls.size(), 2u);
    EXPECT_EQ(task->calls[1].elapsed, 500u);
    EXPECT_EQ(task->getTaskState(), TaskRunning);
  });
}

TEST(SystemTimingTest, SleepZeroEndsOnTheNextPass) {
  ClockScope clock(0);
  THandle<ScriptedSystem> system = makeSystem();
  THandle<RecordingTask> task(new RecordingTask);
  runScript(system, [&](ScriptedSystem& s) {
    task->start(&s);
    s.passAt(0);
    task->setTickTime(1000);
    EXPECT_TRUE(task->sleep(0));
    s.passAt(3);
    ASSERT_EQ(task->calls.size(), 1u);
    EXPECT_EQ(task->calls[0].elapsed, 3u);
  });
}

TEST(SystemTimingTest, WakenEndsASleepButNotTheCurrentPeriod) {
  ClockScope clock(0);
  THandle<ScriptedSystem> system = makeSystem();
  THandle<RecordingTask> task(new RecordingTask);
  runScript(system, [&](ScriptedSystem& s) {
    task->start(&s);
    s.passAt(0);
    task->setTickTime(100);
    EXPECT_TRUE(task->waken());  // Not sleeping: no change.
    EXPECT_EQ(task->getTaskState(), TaskRunning);
    task->sleep(10000);
    s.passAt(50);
    EXPECT_TRUE(task->waken());
    EXPECT_EQ(task->getTaskState(), TaskRunning);
    s.passAt(90);
    EXPECT_TRUE(task->calls.empty());
    s.passAt(100);
    ASSERT_EQ(task->calls.size(), 1u);
    EXPECT_EQ(task->calls[0].elapsed, 100u);
  });
}

TEST(SystemTimingTest, ClockWrapGivesTheTrueDifference) {
  ClockScope clock(0xFFFFFFF0u);
  THandle<ScriptedSystem> system = makeSystem();
  THandle<RecordingTask> task(new RecordingTask);
  runScript(system, [&](ScriptedSystem& s) {
    task->start(&s);
    s.passAt(0xFFFFFFF0u);
    s.passAt(0x10u);
  });
  ASSERT_EQ(task->calls.size(), 1u);
  EXPECT_EQ(task->calls[0].elapsed, 0x20u);
}

TEST(SystemTimingTest, TimeOfOnTickReachesTheNextPass) {
  ClockScope clock(0);
  THandle<ScriptedSystem> system = makeSystem();
  THandle<RecordingTask> slow(new RecordingTask);
  slow->onCall = [](RecordingTask&) { fakeNow += 25; };  // The call itself takes 25 ms.
  runScript(system, [&](ScriptedSystem& s) {
    slow->start(&s);
    s.passAt(0);
    s.passAt(10);
    s.passAt(50);
  });
  ASSERT_EQ(slow->calls.size(), 2u);
  EXPECT_EQ(slow->calls[1].elapsed, 40u) << "_lastTime is the clock at the start of the pass";
}

// ---- starting, stopping and order ------------------------------------------------

TEST(SystemTaskTest, NeverStartedTaskRefusesEverything) {
  THandle<RecordingTask> task(new RecordingTask);
  EXPECT_FALSE(task->setTickTime(10));
  EXPECT_FALSE(task->sleep(10));
  EXPECT_FALSE(task->waken());
  EXPECT_EQ(task->getTaskState(), TaskStopped);
  EXPECT_EQ(task->getSystem(), nullptr);
  task->stop();
  EXPECT_FALSE(task->start(nullptr));
}

TEST(SystemTaskTest, StartRefusedOutsideReadyAndRunning) {
  THandle<ScriptedSystem> system = makeSystem();
  THandle<RecordingTask> task(new RecordingTask);
  EXPECT_FALSE(task->start(system.get())) << "unloaded";
  system->load();
  EXPECT_FALSE(task->start(system.get())) << "loaded";
  bool duringStarting = true;
  bool afterBaseInit = false;
  system->onInit = [&](ScriptedSystem& s) {
    duringStarting = task->start(&s);
    const bool ok = s.System::init();
    afterBaseInit = task->start(&s);
    return ok;
  };
  system->script = [&](ScriptedSystem& s) {
    EXPECT_FALSE(task->start(&s)) << "already started";
    s.shutdown();
    EXPECT_EQ(s.getState(), System::StateStopping);
    THandle<RecordingTask> late(new RecordingTask);
    EXPECT_FALSE(late->start(&s)) << "stopping";
  };
  system->start();
  EXPECT_FALSE(duringStarting);
  EXPECT_TRUE(afterBaseInit);
}

TEST(SystemTaskTest, StartedTaskLivesOnItsRecordUntilStopped) {
  THandle<ScriptedSystem> system = makeSystem();
  runScript(system, [&](ScriptedSystem& s) {
    const int before = RecordingTask::live;
    {
      THandle<RecordingTask> task(new RecordingTask);
      ASSERT_TRUE(task->start(&s));
      EXPECT_EQ(task->getSystem(), &s);
    }
    EXPECT_EQ(RecordingTask::live.load(), before + 1) << "dropping the last handle ended a started task";
    s.passAt(0);
  });
  EXPECT_EQ(RecordingTask::live.load(), 0) << "exit did not stop the task";
}

TEST(SystemTaskTest, NewTasksAreWalkedNewestFirst) {
  ClockScope clock(0);
  THandle<ScriptedSystem> system = makeSystem();
  std::vector<int> order;
  std::vector<THandle<RecordingTask>> tasks;
  for (int id = 1; id <= 5; ++id) {
    tasks.emplace_back(new RecordingTask);
    tasks.back()->id = id;
    tasks.back()->order = &order;
  }
  runScript(system, [&](ScriptedSystem& s) {
    tasks[0]->start(&s);
    tasks[1]->start(&s);
    s.passAt(0);
    tasks[2]->start(&s);
    tasks[3]->start(&s);
    tasks[4]->start(&s);
    s.passAt(1);  // Calls 2, 1; then merges 3, 4, 5 to the front.
    order.clear();
    s.passAt(2);
  });
  EXPECT_EQ(order, (std::vector<int>{5, 4, 3, 2, 1}));
}

TEST(SystemTaskTest, TaskStartedDuringTheWalkRunsFromThePassAfterTheMerge) {
  ClockScope clock(0);
  THandle<ScriptedSystem> system = makeSystem();
  THandle<RecordingTask> parent(new RecordingTask);
  THandle<RecordingTask> child(new RecordingTask);
  parent->onCall = [&](RecordingTask& self) {
    if (self.calls.size() == 1) {
      EXPECT_TRUE(child->start(self.getSystem()));
    }
  };
  runScript(system, [&](ScriptedSystem& s) {
    parent->start(&s);
    s.passAt(0);
    s.passAt(10);  // Parent starts the child; merged at the end of this pass.
    EXPECT_TRUE(child->calls.empty());
    s.passAt(30);
  });
  ASSERT_EQ(child->calls.size(), 1u);
  EXPECT_EQ(child->calls[0].elapsed, 20u) << "a new task gathers nothing before its first pass";
}

TEST(SystemTaskTest, StopInsideOwnOnTickLetsThePassGoOn) {
  ClockScope clock(0);
  THandle<ScriptedSystem> system = makeSystem();
  std::vector<int> order;
  THandle<RecordingTask> older(new RecordingTask);
  older->id = 1;
  older->order = &order;
  int liveBefore = 0;
  runScript(system, [&](ScriptedSystem& s) {
    liveBefore = RecordingTask::live;
    {
      THandle<RecordingTask> quitter(new RecordingTask);
      quitter->id = 2;
      quitter->order = &order;
      quitter->onCall = [](RecordingTask& self) { self.stop(); };
      older->start(&s);
      quitter->start(&s);
    }  // Only its record holds the quitter now: stop() destroys it mid-call.
    s.passAt(0);
    const unsigned int recordsBefore = s.getReferenceCount();
    s.passAt(1);
    EXPECT_EQ(RecordingTask::live, liveBefore) << "quitter survived its stop";
    EXPECT_EQ(s.getReferenceCount(), recordsBefore) << "the dead record is kept until the next pass";
    s.passAt(2);
    EXPECT_EQ(s.getReferenceCount(), recordsBefore - 1) << "the dead record was not erased";
  });
  EXPECT_EQ(order, (std::vector<int>{2, 1, 1}));
}

TEST(SystemTaskTest, StopRightAfterStartIsDroppedAtTheMerge) {
  ClockScope clock(0);
  THandle<ScriptedSystem> system = makeSystem();
  THandle<RecordingTask> task(new RecordingTask);
  runScript(system, [&](ScriptedSystem& s) {
    const unsigned int idle = s.getReferenceCount();
    task->start(&s);
    task->stop();
    EXPECT_EQ(task->getTaskState(), TaskStopped);
    s.passAt(0);
    s.passAt(5);
    EXPECT_EQ(s.getReferenceCount(), idle) << "the stopped record stayed in a list";
  });
  EXPECT_TRUE(task->calls.empty());
}

TEST(SystemTaskTest, StopAndStartBetweenPassesRunsTheNewStartWithPeriodZero) {
  ClockScope clock(0);
  THandle<ScriptedSystem> system = makeSystem();
  THandle<RecordingTask> task(new RecordingTask);
  runScript(system, [&](ScriptedSystem& s) {
    task->start(&s);
    s.passAt(0);
    task->setTickTime(1000);
    s.passAt(10);
    EXPECT_TRUE(task->calls.empty());
    task->stop();
    EXPECT_TRUE(task->start(&s));
    s.passAt(20);  // Old record dropped, new one merged.
    s.passAt(30);
  });
  ASSERT_EQ(task->calls.size(), 1u) << "the old record was still called, or the new one not";
  EXPECT_EQ(task->calls[0].elapsed, 10u);
}

TEST(SystemTaskTest, ExitStopsPendingTasksToo) {
  THandle<ScriptedSystem> system = makeSystem();
  THandle<RecordingTask> active(new RecordingTask);
  THandle<RecordingTask> pending(new RecordingTask);
  runScript(system, [&](ScriptedSystem& s) {
    active->start(&s);
    s.passAt(0);
    pending->start(&s);  // Never merged.
  });
  EXPECT_EQ(active->getTaskState(), TaskStopped);
  EXPECT_EQ(pending->getTaskState(), TaskStopped);
  EXPECT_EQ(system->getReferenceCount(), 1u) << "a record still holds the System";
}

TEST(SystemTaskTest, ExceptionFromOnTickLeavesStartWithoutExit) {
  THandle<ScriptedSystem> system = makeSystem();
  THandle<RecordingTask> thrower(new RecordingTask);
  thrower->onCall = [](RecordingTask&) { throw std::runtime_error("task failed"); };
  system->onInit = [&](ScriptedSystem& s) { return s.System::init() && thrower->start(&s); };
  system->load();
  EXPECT_THROW(system->start(), std::runtime_error);
  EXPECT_EQ(system->exitCalls, 0);
  EXPECT_EQ(system->getState(), System::StateRunning);
  // Clean up the way an application would: stop it and run exit itself.
  system->shutdown();
  system->exit();
}

TEST(SystemTaskTest, TasksStartedAndStoppedFromOtherThreads) {
  THandle<ScriptedSystem> system = makeSystem();
  std::atomic<bool> running{false};
  std::atomic<int> calls{0};
  system->onInit = [&](ScriptedSystem& s) {
    running = s.System::init();
    return running.load();
  };
  system->script = [&](ScriptedSystem& s) {
    while (s.getState() == System::StateRunning) s.tick();
  };
  system->load();
  std::thread loop([&] { system->start(); });
  while (!running) std::this_thread::yield();

  std::vector<std::thread> workers;
  for (int w = 0; w < 2; ++w) {
    workers.emplace_back([&] {
      for (int i = 0; i < 200; ++i) {
        THandle<RecordingTask> task(new RecordingTask);
        task->onCall = [&](RecordingTask&) { ++calls; };
        if (!task->start(system.get())) continue;
        task->sleep(0);
        task->waken();
        task->stop();
      }
    });
  }
  for (auto& worker : workers) worker.join();
  system->shutdown();
  loop.join();
  EXPECT_EQ(system->getReferenceCount(), 1u);
}

}  // namespace
}  // namespace orvo
