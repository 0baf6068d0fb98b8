// Tick fanning its calls out to handlers, and Yield giving the processor back,
// on a System driven by a clock that the tests set by hand.
#include <gtest/gtest.h>

#include <sys/resource.h>

#include <tuple>
#include <utility>
#include <vector>

#include <orvo/core/Tick.h>
#include <orvo/core/Yield.h>

#include "runtime/ScriptedSystem.h"

namespace orvo {
namespace {

using Calls = std::vector<std::pair<int, unsigned int>>;  // Handler, time delivered.
Calls calls;
Tick* walked = nullptr;  // The Tick whose list reshape() changes.

template <int N>
void handler(unsigned int elapsed) {
  calls.emplace_back(N, elapsed);
}

// Called before handler<2> in the walk: removes it and installs handler<3>.
void reshape(unsigned int elapsed) {
  calls.emplace_back(0, elapsed);
  walked->uninstallTickHandler(handler<2>);
  walked->installTickHandler(handler<3>);
}

// The times this thread blocked: a sleep counts, a yield of the time slice not.
long voluntarySwitches() {
  rusage usage{};
  getrusage(RUSAGE_THREAD, &usage);
  return usage.ru_nvcsw;
}

class TickTest : public FakeClockTest {
 protected:
  TickTest() {
    calls.clear();
    calls.reserve(64);  // No allocation inside the calls: nothing there may block.
    walked = tick.get();
  }

  THandle<ScriptedSystem> system{new ScriptedSystem};
  THandle<Tick> tick = Tick::createInstance();
};

enum Op { Install, InstallHandler, Uninstall, UninstallHandler, Clear };
using Handler = Tick::Handler;

TEST_F(TickTest, HandlersRunNewestFirstAndNoTwoAreEqual) {
  const std::tuple<const char*, std::vector<std::pair<Op, void (*)(unsigned int)>>, std::vector<int>> cases[] = {
      {"newest first", {{Install, handler<1>}, {Install, handler<2>}, {Install, handler<3>}}, {3, 2, 1}},
      {"an equal handler is not installed again",
       {{Install, handler<1>}, {Install, handler<2>}, {InstallHandler, handler<1>}, {Install, handler<2>}}, {2, 1}},
      {"uninstall removes the equal handler",
       {{Install, handler<1>}, {Install, handler<2>}, {Install, handler<3>}, {UninstallHandler, handler<2>}}, {3, 1}},
      {"uninstalling what is not installed changes nothing", {{Install, handler<1>}, {Uninstall, handler<2>}}, {1}},
      {"a handler installed again goes to the front",
       {{Install, handler<1>}, {Install, handler<2>}, {Uninstall, handler<1>}, {Install, handler<1>}}, {1, 2}},
      {"clear empties the list", {{Install, handler<1>}, {Install, handler<2>}, {Clear, nullptr}}, {}},
  };
  for (const auto& [what, steps, order] : cases) {
    THandle<Tick> t = Tick::createInstance();
    for (const auto& [op, function] : steps) {
      switch (op) {
        case Install: EXPECT_TRUE(t->installTickHandler(function)) << what; break;
        case InstallHandler: EXPECT_TRUE(t->installTickHandler(Handler(function))) << what; break;
        case Uninstall: t->uninstallTickHandler(function); break;
        case UninstallHandler: t->uninstallTickHandler(Handler(function)); break;
        case Clear: t->clearAllTickHandler(); break;
      }
    }
    calls.clear();
    t->onTick(17);
    Calls expected;
    for (int id : order) expected.emplace_back(id, 17u);
    EXPECT_EQ(calls, expected) << what;
  }
}

// A Tick with period 50 reached every 70 ms hands on 70, as gathered; a
// handler may change the rest of the list during the walk.
TEST_F(TickTest, InARunningSystemHandlersGetTheTimeGathered) {
  tick->installTickHandler(handler<1>);
  tick->installTickHandler(handler<2>);
  THandle<Tick> empty = Tick::createInstance();
  system->script = [&](ScriptedSystem& s) {
    ASSERT_TRUE(tick->start(&s) && empty->start(&s));
    s.passAt(0);  // Merges the Ticks.
    ASSERT_TRUE(tick->setTickTime(50));
    for (std::uint32_t now : {70, 140, 150, 210}) s.passAt(now);
    tick->installTickHandler(reshape);
    s.passAt(280);
    s.passAt(350);
  };
  ASSERT_TRUE(system->load());
  system->start();
  EXPECT_EQ(calls, (Calls{{2, 70}, {1, 70}, {2, 70}, {1, 70}, {2, 70}, {1, 70},  //
                          {0, 70}, {1, 70}, {3, 70}, {0, 70}, {1, 70}}));
}

// With the clock frozen, passes go on only if nothing waits for time to pass;
// the Yield, started last, runs first in each pass.
TEST_F(TickTest, AYieldBlocksTheLoopOnlyWhenStartedAndLongerThanZero) {
  EXPECT_EQ(Yield::createInstance()->getYieldTime(), 20u);
  tick->installTickHandler(handler<1>);
  const std::tuple<unsigned int, bool, bool> cases[] = {{0, true, false}, {1, true, true}, {1, false, false}};
  for (const auto& [ms, started, blocks] : cases) {
    THandle<ScriptedSystem> s(new ScriptedSystem);
    THandle<Yield> yield = Yield::createInstance(ms);
    s->script = [&](ScriptedSystem& loop) {
      tick->start(&loop);
      if (started) yield->start(&loop);
      loop.passAt(0);
      const long before = voluntarySwitches();
      for (int pass = 0; pass < 3; ++pass) loop.tick();
      EXPECT_EQ(voluntarySwitches() > before, blocks) << ms << (started ? " started" : "");
    };
    calls.clear();
    s->load();
    s->start();
    EXPECT_EQ(calls, (Calls{{1, 0}, {1, 0}, {1, 0}})) << "a pass did not complete";
  }
}

}  // namespace
}  // namespace orvo
