// The main loop and its Tasks, driven by a clock that the tests set by hand.
#include <gtest/gtest.h>

#include <cctype>
#include <map>
#include <sstream>
#include <thread>
#include <tuple>
#include <utility>
#include <vector>

#include "runtime/ScriptedSystem.h"

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

  THandle<ScriptedSystem> system{new ScriptedSystem};
  THandle<RecordingTask> task = newTask();
};

TEST_F(SystemTest, OnlyALoadedSystemStartsAndOnlyAStartedTaskActs) {
  task->stop();
  EXPECT_FALSE(task->setTickTime(10));
  EXPECT_FALSE(task->sleep(10));
  EXPECT_FALSE(task->waken());
  EXPECT_EQ(task->getSystem(), nullptr);
  EXPECT_FALSE(task->start(nullptr));
  EXPECT_FALSE(task->start(system.get())) << "unloaded";
  system->start();
  EXPECT_EQ(system->getState(), System::StateUnloaded);
  ASSERT_TRUE(system->load());
  EXPECT_FALSE(system->load());
  EXPECT_FALSE(task->start(system.get())) << "loaded";
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

// Each case: what it shows, a script of steps, the calls the task sees. Steps: pN
// pass at N, m merge only (no clock reading: the next pass is the first), tN
// period, sN sleep, w waken, z/r the task is sleeping/running, x stop, + start
// again, e no record is left, cN each call takes N on the clock from now on.
TEST_F(SystemTest, TimeDeliveredToATask) {
  const std::tuple<const char*, const char*, Calls> cases[] = {
      {"period 0: every pass", "p0 p7 p7 p20", {{7, 7}, {7, 0}, {20, 13}}},
      {"the first pass delivers nothing", "m p777", {{777, 0}}},
      {"a period's remainder is dropped", "p0 t100 p60 p120 p240", {{120, 120}, {240, 120}}},
      {"a sleep ends on time", "p0 t1000 p1000 p1400 s500 z p1450 p1500 r", {{1000, 1000}, {1500, 500}}},
      {"sleep 0 ends at the next pass", "p0 t1000 s0 p3", {{3, 3}}},
      {"waken ends a sleep but not the period", "p0 t100 w r s10000 p50 w r p90 p100", {{100, 100}}},
      {"the clock wraps", "p4294967280 p16", {{0x10, 0x20}}},
      {"a call's time counts for the next pass", "c25 p0 p10 p50", {{10, 10}, {50, 40}}},
      {"a stop right after the start is dropped at the merge", "x p0 p5 e", {}},
      {"a restart after a stop runs alone, with period 0", "p0 t1000 p10 x + p20 p30 x p40 e", {{30, 10}}}};
  for (const auto& [what, script, calls] : cases) {
    SCOPED_TRACE(what);
    THandle<ScriptedSystem> s(new ScriptedSystem);
    THandle<RecordingTask> t = newTask();
    std::uint32_t cost = 0;
    std::istringstream steps(script);
    t->onCall = [&](RecordingTask&) { fakeNow += cost; };
    s->script = [&](ScriptedSystem& loop) {
      const std::map<char, std::function<void(std::uint32_t)>> run = {
          {'p', [&](std::uint32_t now) { loop.passAt(now); }},
          {'c', [&](std::uint32_t time) { cost = time; }},
          {'m', [&](std::uint32_t) { loop.onTick(0); }},
          {'t', [&](std::uint32_t period) { EXPECT_TRUE(t->setTickTime(period)); }},
          {'s', [&](std::uint32_t time) { EXPECT_TRUE(t->sleep(time)); }},
          {'w', [&](std::uint32_t) { EXPECT_TRUE(t->waken()); }},
          {'z', [&](std::uint32_t) { EXPECT_EQ(t->getTaskState(), TaskSleeping); }},
          {'r', [&](std::uint32_t) { EXPECT_EQ(t->getTaskState(), TaskRunning); }},
          {'x', [&](std::uint32_t) { t->stop(); }},
          {'+', [&](std::uint32_t) { EXPECT_TRUE(t->start(&loop)); }},
          {'e', [&](std::uint32_t) { EXPECT_EQ(loop.getReferenceCount(), 1u) << "a record is left"; }}};
      t->start(&loop);
      for (char step; steps >> step;) {
        std::uint32_t value = 0;
        if (std::isdigit(steps.peek())) steps >> value;
        run.at(step)(value);
      }
    };
    s->load();
    s->start();
    EXPECT_EQ(t->calls, calls);
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
  system->script = [&](ScriptedSystem& s) {
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
    tasks.clear();    // Their records hold them now.
    task->start(&s);  // Never merged.
  };
  system->load();
  system->start();
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
