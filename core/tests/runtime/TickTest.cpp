// Tick fanning its calls out to handlers, and Yield giving the processor back.
#include <gtest/gtest.h>

#include <sys/resource.h>

#include <cwchar>
#include <utility>
#include <vector>

#include <orvo/core/Tick.h>
#include <orvo/core/Yield.h>

#include "runtime/ScriptedSystem.h"

namespace orvo {
namespace {

std::vector<std::pair<int, unsigned int>> calls;  // Handler, time delivered.
THandle<Tick> tick;

template <int N>
void handler(unsigned int elapsed) {
  calls.emplace_back(N, elapsed);
}

// Runs before handler<2>: removes it, and installs handler<3> behind the walk.
void reshape(unsigned int elapsed) {
  calls.emplace_back(0, elapsed);
  tick->uninstallTickHandler(handler<2>);
  tick->installTickHandler(handler<3>);
}

// How often this thread has blocked: a sleep counts, a yield of the slice not.
long voluntarySwitches() {
  rusage usage{};
  getrusage(RUSAGE_THREAD, &usage);
  return usage.ru_nvcsw;
}

using TickTest = FakeClockTest;

// Period 50, reached every 70 ms: the handlers get 70. The Yield of 0 started
// last runs first in each pass and never blocks the loop.
TEST_F(TickTest, HandlersRunNewestFirstOnceEachWithTheTimeGathered) {
  tick = Tick::createInstance();
  for (auto function : {handler<1>, handler<3>, handler<2>, handler<1>}) {
    EXPECT_TRUE(tick->installTickHandler(function));
  }
  EXPECT_TRUE(tick->installTickHandler(Tick::Handler(handler<3>)));
  tick->uninstallTickHandler(handler<4>);
  tick->uninstallTickHandler(Tick::Handler(handler<3>));
  calls.reserve(64);  // Nothing in the passes may block.
  long blocked = -1;
  THandle<ScriptedSystem> system(new ScriptedSystem);
  system->script = [&](ScriptedSystem& s) {
    ASSERT_TRUE(tick->start(&s) && Yield::createInstance(0)->start(&s) && tick->setTickTime(50));
    const long before = voluntarySwitches();
    for (std::uint32_t now : {0, 70, 140, 150, 210}) s.passAt(now);
    blocked = voluntarySwitches() - before;
    tick->installTickHandler(reshape);
    s.passAt(280);
    s.passAt(350);
    tick->clearAllTickHandler();
    s.passAt(420);
  };
  ASSERT_TRUE(system->load());
  system->start();
  EXPECT_EQ(calls, (decltype(calls){{2, 70}, {1, 70}, {2, 70}, {1, 70}, {2, 70}, {1, 70},  //
                                    {0, 70}, {1, 70}, {3, 70}, {0, 70}, {1, 70}}));
  EXPECT_EQ(blocked, 0);
  THandle<Yield> yield = Yield::createInstance();
  EXPECT_TRUE(yield->getYieldTime() == 20 && !std::wcscmp(yield->getClassName(), L"Yield"));
  EXPECT_STREQ(tick->getClassName(), L"Tick");
  blocked = voluntarySwitches();
  Yield::createInstance(1)->onTick(0);
  EXPECT_GT(voluntarySwitches(), blocked) << "a Yield of 1 ms did not sleep";
  tick = nullptr;
}

}  // namespace
}  // namespace orvo
