// Tick fanning its calls out to handlers, and Yield giving the processor back.
#include <gtest/gtest.h>

#include <sys/resource.h>

#include <utility>
#include <vector>

#include <orvo/core/Tick.h>
#include <orvo/core/Yield.h>

#include "runtime/ScriptedSystem.h"

namespace orvo {
namespace {

std::vector<std::pair<int, unsigned int>> calls;  // Handler, time delivered.
THandle<Tick> tick;

// handler<0> runs before handler<2>: it removes it, and installs handler<3>
// behind the walk.
template <int N>
void handler(unsigned int elapsed) {
  calls.emplace_back(N, elapsed);
  if (N != 0) return;
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

// Period 50, reached every 70 ms: the handlers get 70.
TEST_F(TickTest, HandlersRunNewestFirstOnceEachWithTheTimeGathered) {
  tick = Tick::createInstance();
  for (auto function : {handler<1>, handler<3>, handler<2>, handler<1>})
    EXPECT_TRUE(tick->installTickHandler(function));
  EXPECT_TRUE(tick->installTickHandler(Tick::Handler(handler<3>)));
  tick->uninstallTickHandler(handler<4>);
  tick->uninstallTickHandler(Tick::Handler(handler<3>));
  THandle<ScriptedSystem> system(new ScriptedSystem);
  system->script = [&](ScriptedSystem& s) {
    ASSERT_TRUE(tick->start(&s));
    ASSERT_TRUE(tick->setTickTime(50));
    for (std::uint32_t now : {0, 70, 140, 150, 210}) s.passAt(now);
    tick->installTickHandler(handler<0>);
    for (std::uint32_t now : {280, 350}) s.passAt(now);
    tick->clearAllTickHandler();
    s.passAt(420);
  };
  ASSERT_TRUE(system->load());
  system->start();
  EXPECT_EQ(calls, (decltype(calls){{2, 70}, {1, 70}, {2, 70}, {1, 70}, {2, 70}, {1, 70},  //
                                    {0, 70}, {1, 70}, {3, 70}, {0, 70}, {1, 70}}));
  EXPECT_STREQ(tick->getClassName(), L"Tick");
  tick = nullptr;
}

TEST(YieldTest, SleepsItsTimeOnEachCall) {
  EXPECT_EQ(Yield::createInstance()->getYieldTime(), 20u);
  EXPECT_STREQ(Yield::createInstance()->getClassName(), L"Yield");
  const long before = voluntarySwitches();
  Yield::createInstance(0)->onTick(0);
  EXPECT_EQ(voluntarySwitches(), before) << "a Yield of 0 blocked";
  Yield::createInstance(1)->onTick(0);
  EXPECT_GT(voluntarySwitches(), before) << "a Yield of 1 ms did not sleep";
}

}  // namespace
}  // namespace orvo
