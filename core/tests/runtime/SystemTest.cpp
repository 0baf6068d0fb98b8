// The main loop and its Tasks, driven by a clock that the tests set by hand.
#include <gtest/gtest.h>

#include <tuple>
#include <thread>
#include <utility>
#include <vector>

#include "runtime/ScriptedSystem.h"
#include "text/StringTestSupport.h"

namespace orvo {
namespace {

using Calls = std::vector<std::pair<std::uint32_t, unsigned int>>;  // Clock, time delivered.

class RecordingTask : public System::Task {
 public:
  Calls calls;
  std::function<void(RecordingTask&)> onCall;
  static inline std::atomic<int> live{0};

  RecordingTask() { ++live; }
  void onTick(unsigned int elapsed) override {
    calls.emplace_back(fakeNow.load(), elapsed);
    if (onCall) onCall(*this);
  }

 protected:
  ~RecordingTask() override { --live; }
};

class SystemTest : public FakeClockTest {
 protected:
  static THandle<RecordingTask> newTask() { return THandle<RecordingTask>(new RecordingTask); }
  // Loads and starts the System with `loop` as its main loop.
  void run(std::function<void(ScriptedSystem&)> loop) {
    system->script = std::move(loop);
    ASSERT_TRUE(system->load());
    system->start();
  }

  THandle<ScriptedSystem> system{new ScriptedSystem};
  THandle<RecordingTask> task = newTask();
};

TEST_F(SystemTest, OnlyALoadedSystemStartsAndOnlyAStartedTaskActs) {
  task->stop();
  EXPECT_EACH({{task->setTickTime(10), false}, {task->sleep(10), false}, {task->waken(), false},
               {task->getSystem() == nullptr, true}, {task->start(nullptr), false},
               {task->start(system.get()), false}});  // Unloaded.
  system->start();
  EXPECT_EQ(system->getState(), System::StateUnloaded);
  ASSERT_TRUE(system->load());
  EXPECT_EACH({{system->load(), false}, {task->start(system.get()), false}});  // Loaded.
  system->unload();
  EXPECT_EQ(system->getState(), System::StateLoaded);
  EXPECT_TRUE(system->shutdown());
  system->start();  // Stopped before it started: nothing happens.
  EXPECT_EQ(system->exitCalls, 0);
  system->unload();
  EXPECT_EQ(system->getState(), System::StateUnloaded);
  system->waken();  // With no sleeper the next sleep returns at once.
  system->sleep(Semaphore::kInfinite);
}

// Each start runs init, the loop if init made the System ready, and exit.
TEST_F(SystemTest, StartRunsInitTheLoopAndExit) {
  const std::tuple<std::function<bool(ScriptedSystem&)>, bool, System::EState> cases[] = {
      {[&](ScriptedSystem& s) {
         EXPECT_FALSE(task->start(&s)) << "starting";
         return s.System::init() && task->start(&s);
       },
       true, System::StateStopping},
      {[](ScriptedSystem&) { return false; }, false, System::StateStarting},
      {[](ScriptedSystem& s) { return !s.System::init(); }, false, System::StateStopping},
      // A shutdown from another thread during init makes the base init fail.
      {[](ScriptedSystem& s) { return std::thread([&] { s.shutdown(); }).join(), s.System::init(); }, false,
       System::StateStopping},
  };
  for (const auto& [init, loops, after] : cases) {
    THandle<ScriptedSystem> s(new ScriptedSystem);
    s->onInit = init;
    s->script = [&](ScriptedSystem& loop) {
      EXPECT_EQ(loop.getState(), System::StateRunning);
      EXPECT_FALSE(task->start(&loop)) << "already started";
      EXPECT_EQ(task->getSystem(), &loop);
      loop.shutdown();
      EXPECT_FALSE(newTask()->start(&loop)) << "stopping";
    };
    s->load();
    s->start();
    EXPECT_EQ(s->ranLoop, loops);
    EXPECT_EQ(s->exitCalls, 1);
    EXPECT_EQ(s->getState(), after);
    EXPECT_EQ(task->getTaskState(), TaskStopped) << "exit stops every task";
    s->unload();
    EXPECT_EQ(s->getState(), after == System::StateStarting ? after : System::StateUnloaded);
    EXPECT_TRUE(!loops || s->load()) << "a stopped System starts again";
  }
}

enum Op { Pass, Period, Sleep, Waken, State, MergeOnly, Stop, Start, NoRecordLeft };
struct TimingCase {
  const char* what;
  std::uint32_t costOfACall;  // Clock time that each call takes.
  std::vector<std::pair<Op, std::uint32_t>> steps;
  Calls calls;
};

TEST_F(SystemTest, TimeDeliveredToATask) {
  const TimingCase cases[] = {
      {"period 0: every pass", 0, {{Pass, 0}, {Pass, 7}, {Pass, 7}, {Pass, 20}}, {{7, 7}, {7, 0}, {20, 13}}},
      {"the first pass delivers nothing", 0, {{MergeOnly, 0}, {Pass, 777}}, {{777, 0}}},
      {"the remainder over a period is dropped", 0, {{Pass, 0}, {Period, 100}, {Pass, 60}, {Pass, 120},
       {Pass, 180}, {Pass, 240}, {Pass, 300}, {Pass, 360}}, {{120, 120}, {240, 120}, {360, 120}}},
      {"a sleep ends when its time has passed", 0, {{Pass, 0}, {Period, 1000}, {Pass, 1000}, {Pass, 1400},
       {Sleep, 500}, {State, TaskSleeping}, {Pass, 1450}, {Pass, 1500}, {State, TaskRunning}},
       {{1000, 1000}, {1500, 500}}},
      {"sleep 0 ends at the next pass", 0, {{Pass, 0}, {Period, 1000}, {Sleep, 0}, {Pass, 3}}, {{3, 3}}},
      {"waken ends a sleep but not the period", 0, {{Pass, 0}, {Period, 100}, {Waken, 0}, {State, TaskRunning},
       {Sleep, 10000}, {Pass, 50}, {Waken, 0}, {State, TaskRunning}, {Pass, 90}, {Pass, 100}}, {{100, 100}}},
      {"the clock wraps", 0, {{Pass, 0xFFFFFFF0u}, {Pass, 0x10}}, {{0x10, 0x20}}},
      {"the time of a call counts for the next pass", 25, {{Pass, 0}, {Pass, 10}, {Pass, 50}}, {{10, 10}, {50, 40}}},
      {"a stop right after the start is dropped at the merge", 0, {{Stop, 0}, {Pass, 0}, {Pass, 5}, {NoRecordLeft, 0}},
       {}},
      {"after a stop and a new start only the new start runs, with period 0", 0, {{Pass, 0}, {Period, 1000},
       {Pass, 10}, {Stop, 0}, {Start, 0}, {Pass, 20}, {Pass, 30}, {Stop, 0}, {Pass, 40}, {NoRecordLeft, 0}},
       {{30, 10}}},
  };
  for (const TimingCase& c : cases) {
    THandle<ScriptedSystem> s(new ScriptedSystem);
    THandle<RecordingTask> t = newTask();
    t->onCall = [&](RecordingTask&) { fakeNow += c.costOfACall; };
    s->script = [&](ScriptedSystem& loop) {
      t->start(&loop);
      for (const auto& [op, value] : c.steps) {
        switch (op) {
          case Pass: loop.passAt(value); break;
          case MergeOnly: loop.onTick(0); break;  // No clock reading: the next pass is the first.
          case Period: EXPECT_TRUE(t->setTickTime(value)); break;
          case Sleep: EXPECT_TRUE(t->sleep(value)); break;
          case Waken: EXPECT_TRUE(t->waken()); break;
          case State: EXPECT_EQ(t->getTaskState(), static_cast<ETaskState>(value)) << c.what; break;
          case Stop: t->stop(); break;
          case Start: EXPECT_TRUE(t->start(&loop)); break;
          case NoRecordLeft: EXPECT_EQ(loop.getReferenceCount(), 1u) << c.what; break;
        }
      }
    };
    s->load();
    s->start();
    EXPECT_EQ(t->calls, c.calls) << c.what;
  }
}

// Started tasks live on their records until stopped, by themselves or by exit.
TEST_F(SystemTest, WalkRunsNewestFirstAndSurvivesATaskStoppingItself) {
  const int before = RecordingTask::live;
  std::vector<int> order;
  std::vector<THandle<RecordingTask>> tasks;
  for (int id = 0; id < 4; ++id) {
    tasks.push_back(newTask());
    tasks.back()->onCall = [&order, id](RecordingTask& self) {
      order.push_back(id);
      if (id == 3) self.stop();  // Its last holder: it dies in its own call.
    };
  }
  run([&](ScriptedSystem& s) {
    for (int id : {0, 1}) tasks[id]->start(&s);
    s.passAt(0);
    for (int id : {2, 3}) tasks[id]->start(&s);
    s.passAt(1);  // Calls 1, 0; then merges 2 and 3 to the front.
    tasks[3] = nullptr;
    const unsigned int records = s.getReferenceCount();
    const int live = RecordingTask::live;
    s.passAt(2);
    EXPECT_EQ(RecordingTask::live, live - 1) << "the task survived its stop";
    EXPECT_EQ(s.getReferenceCount(), records) << "the dead record is kept until the next pass";
    s.passAt(3);
    EXPECT_EQ(s.getReferenceCount(), records - 1) << "the dead record was not erased";
    tasks.clear();  // Their records hold them now.
    task->start(&s);  // Never merged.
  });
  EXPECT_EQ(order, (std::vector<int>{1, 0, 3, 2, 1, 0, 2, 1, 0}));
  EXPECT_EQ(RecordingTask::live, before) << "exit did not stop a task";
  EXPECT_EQ(task->getTaskState(), TaskStopped);
  EXPECT_EQ(system->getReferenceCount(), 1u) << "a record still holds the System";
}

// While the base loop runs on its thread, other threads start and stop tasks, and
// a running task starts a child on its own System (through getSystem) while
// another thread stops and restarts that task at any moment.
TEST_F(SystemTest, TasksStartedAndStoppedFromOtherThreads) {
  std::atomic<bool> running{false};
  system->onInit = [&](ScriptedSystem& s) { return running = s.System::init(); };
  THandle<RecordingTask> child = newTask();
  task->onCall = [&](RecordingTask& self) {
    if (System* s = self.getSystem()) child->start(s);
    self.setTickTime(self.getTaskState() == TaskRunning ? 0 : 1);
    child->stop();
  };
  system->load();
  std::thread loop([&] { system->start(); });
  while (!running) std::this_thread::yield();
  std::thread restarter([&] {
    for (int i = 0; i < 2000; ++i) {
      task->start(system.get());
      std::this_thread::yield();
      task->stop();
    }
  });
  for (int i = 0; i < 300; ++i) {
    THandle<RecordingTask> other = newTask();
    if (other->start(system.get()) && other->sleep(0) && other->waken()) other->stop();
  }
  restarter.join();
  system->shutdown();
  loop.join();
  EXPECT_EQ(task->getTaskState(), TaskStopped);
  EXPECT_EQ(system->getReferenceCount(), 1u) << "a record still holds the System";
}

}  // namespace
}  // namespace orvo
