// PulseGenerator and ClockGenerator: what each step of a script of ticks and
// pulses delivers to the listener.
#include <gtest/gtest.h>

#include <vector>

#include <orvo/core/ClockGenerator.h>
#include <orvo/core/PulseGenerator.h>

namespace orvo {
namespace {

constexpr unsigned int kPulse = ~0u;  // In a script: injectPulse instead of tick.

// Counts both kinds of event, checks the interval handed over, and pays in
// one more pulse from its own onClock while `pulsesToInject` lasts.
struct Counter : PulseListener, ClockListener {
  void onPulse() override { ++events; }
  void onClock(unsigned int interval) override {
    ++events;
    EXPECT_EQ(interval, expectedInterval);
    if (pulsesToInject > 0) --pulsesToInject, clock->injectPulse();
  }
  int events = 0, pulsesToInject = 0;
  unsigned int expectedInterval = 0;
  ClockGenerator* clock = nullptr;
};

// The events of each step of `script` on `generator`.
template <class Generator>
std::vector<int> eventsPerStep(Generator& generator, const Counter& counter,
                               const std::vector<unsigned int>& script) {
  std::vector<int> events;
  for (unsigned int step : script) {
    const int before = counter.events;
    if constexpr (std::is_same_v<Generator, ClockGenerator>) {
      if (step == kPulse) generator.injectPulse();
    }
    if (step != kPulse) generator.tick(step);
    events.push_back(counter.events - before);
  }
  return events;
}

struct Case {
  unsigned int interval, ticksPerPulse;
  int pulsesFromListener;
  std::vector<unsigned int> script;
  std::vector<int> events;
};

TEST(PulseGenerator, GivesAtMostTwoPulsesPerTickAndCarriesARemainderOnlyWhileKeepingUp) {
  const Case cases[] = {
      {10, 0, 0, {5, 5, 9}, {0, 1, 0}},    // The pulse used the gathered time up.
      {10, 0, 0, {15, 5}, {1, 1}},         // 5 carried over.
      {10, 0, 0, {25, 5, 5}, {2, 0, 1}},   // 5 forgotten after two pulses.
      {10, 0, 0, {1000, 9, 1}, {2, 0, 1}}, {10, 0, 0, {0xFFFFFFFEu, 10}, {2, 1}}, {0, 0, 0, {0, 7}, {2, 2}},
  };
  for (const Case& c : cases) {
    auto* counter = new Counter;
    THandle<PulseGenerator> generator = PulseGenerator::createInstance(counter, c.interval);
    EXPECT_EQ(eventsPerStep(*generator, *counter, c.script), c.events) << "first tick " << c.script[0];
  }
}

TEST(ClockGenerator, SpendsPaidInTicksOnePerIntervalAndCatchesUpBeyondTwiceTheInterval) {
  const Case cases[] = {
      {10, 4, 0, {kPulse, 10, 10, 10, 10, 10}, {0, 1, 1, 1, 1, 0}},
      {10, 100, 0, {kPulse, 1, 10, 200}, {0, 80, 1, 19}},  // 100 owed: all above 20 at once.
      {10, 2, 0, {kPulse, 35, kPulse, 5}, {0, 2, 0, 1}},   // 5 of the 35 carried over.
      {10, 1, 0, {1005, kPulse, 4, 1}, {0, 0, 0, 1}},      // Time with nothing owed is used up.
      {10, 1, 2, {kPulse, 40}, {0, 3}},                    // Pulses paid in from onClock count.
      {7, 0, 0, {kPulse, 70}, {0, 0}},
  };
  for (const Case& c : cases) {
    auto* counter = new Counter;
    THandle<ClockGenerator> generator = ClockGenerator::createInstance(counter, c.interval, c.ticksPerPulse);
    counter->clock = generator.get(), counter->expectedInterval = c.interval;
    counter->pulsesToInject = c.pulsesFromListener;
    EXPECT_EQ(eventsPerStep(*generator, *counter, c.script), c.events) << "per pulse " << c.ticksPerPulse;
  }
}

}  // namespace
}  // namespace orvo
