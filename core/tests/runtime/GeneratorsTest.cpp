// PulseGenerator and ClockGenerator: what each tick delivers for a script of
// ticks and pulses.
#include <gtest/gtest.h>

#include <vector>

#include <orvo/core/ClockGenerator.h>
#include <orvo/core/PulseGenerator.h>

namespace orvo {
namespace {

struct PulseCounter : PulseListener {
  void onPulse() override { ++pulses; }
  int pulses = 0;
};

struct PulseCase {
  unsigned int interval;
  std::vector<unsigned int> ticks;
  std::vector<int> pulsesPerTick;
};

TEST(PulseGenerator, GivesAtMostTwoPulsesPerTickAndCarriesARemainderOnlyWhileKeepingUp) {
  const PulseCase cases[] = {
      {10, {5, 5, 9}, {0, 1, 0}},        // The pulse used the gathered time up.
      {10, {15, 5}, {1, 1}},             // 5 carried over.
      {10, {25, 5, 5}, {2, 0, 1}},       // 5 forgotten after two pulses.
      {10, {1000, 9, 1}, {2, 0, 1}},
      {10, {0xFFFFFFFFu, 10}, {2, 1}},
      {0, {0, 7}, {2, 2}},
  };
  for (const PulseCase& c : cases) {
    auto* counter = new PulseCounter;
    THandle<PulseGenerator> generator = PulseGenerator::createInstance(counter, c.interval);
    std::vector<int> delivered;
    for (unsigned int elapsed : c.ticks) {
      const int before = counter->pulses;
      generator->tick(elapsed);
      delivered.push_back(counter->pulses - before);
    }
    EXPECT_EQ(delivered, c.pulsesPerTick) << "interval " << c.interval << ", first tick " << c.ticks[0];
  }
}

// Counts ticks, checks the interval handed over, and pays in one more pulse
// from its own call while `pulsesToInject` lasts.
struct ClockCounter : ClockListener {
  void onClock(unsigned int interval) override {
    ++ticks;
    intervals.push_back(interval);
    if (pulsesToInject > 0) --pulsesToInject, generator->injectPulse();
  }
  int ticks = 0, pulsesToInject = 0;
  std::vector<unsigned int> intervals;
  ClockGenerator* generator = nullptr;
};

constexpr unsigned int kPulse = ~0u;  // In a script: injectPulse instead of tick.

struct ClockCase {
  unsigned int interval, ticksPerPulse;
  int pulsesFromListener;
  std::vector<unsigned int> script;
  std::vector<int> ticksPerStep;
};

TEST(ClockGenerator, SpendsPaidInTicksOnePerIntervalAndCatchesUpBeyondTwiceTheInterval) {
  const ClockCase cases[] = {
      {10, 4, 0, {kPulse, 10, 10, 10, 10, 10}, {0, 1, 1, 1, 1, 0}},
      {10, 100, 0, {kPulse, 1, 10, 200}, {0, 80, 1, 19}},  // 100 owed: all above 20 at once.
      {10, 2, 0, {kPulse, 35, kPulse, 5}, {0, 2, 0, 1}},   // 5 of the 35 carried over.
      {10, 1, 0, {1005, kPulse, 4, 1}, {0, 0, 0, 1}},      // Time with nothing owed is used up.
      {10, 1, 2, {kPulse, 40}, {0, 3}},                    // Pulses paid in from onClock count.
      {7, 0, 0, {kPulse, 70}, {0, 0}},
  };
  for (const ClockCase& c : cases) {
    auto* counter = new ClockCounter;
    THandle<ClockGenerator> generator = ClockGenerator::createInstance(counter, c.interval, c.ticksPerPulse);
    counter->generator = generator.get();
    counter->pulsesToInject = c.pulsesFromListener;
    std::vector<int> delivered;
    for (unsigned int step : c.script) {
      const int before = counter->ticks;
      step == kPulse ? generator->injectPulse() : generator->tick(step);
      delivered.push_back(counter->ticks - before);
    }
    EXPECT_EQ(delivered, c.ticksPerStep) << "interval " << c.interval << ", ticks per pulse " << c.ticksPerPulse;
    EXPECT_EQ(counter->intervals, std::vector<unsigned int>(static_cast<std::size_t>(counter->ticks), c.interval));
  }
}

}  // namespace
}  // namespace orvo
