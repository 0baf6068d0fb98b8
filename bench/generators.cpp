// PulseGenerator::tick and ClockGenerator::tick delivering one event per
// call, beside the bare virtual call of the same listener: the difference is
// what the generators add per event.
#include <benchmark/benchmark.h>

#include <cstdint>

#include <orvo/core/ClockGenerator.h>
#include <orvo/core/PulseGenerator.h>

using namespace orvo;

namespace {

constexpr unsigned int kInterval = 10;

struct Listener : PulseListener, ClockListener {
  void onPulse() override { ++events; }
  void onClock(unsigned int interval) override { events += interval; }
  std::uint64_t events = 0;
};

void reportPerEvent(benchmark::State& state) {
  state.counters["ns_per_event"] = benchmark::Counter(static_cast<double>(state.iterations()),
                                                      benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

void BM_PulseGenerator_TickOnePulse(benchmark::State& state) {
  auto* listener = new Listener;
  THandle<PulseGenerator> generator = PulseGenerator::createInstance(listener, kInterval);
  for (auto _ : state) generator->tick(kInterval);
  benchmark::DoNotOptimize(listener->events);
  reportPerEvent(state);
}
BENCHMARK(BM_PulseGenerator_TickOnePulse);

void BM_ClockGenerator_TickOneClock(benchmark::State& state) {
  auto* listener = new Listener;
  THandle<ClockGenerator> generator = ClockGenerator::createInstance(listener, kInterval, 1);
  for (auto _ : state) {
    generator->injectPulse();  // One tick owed, spent by the interval that follows.
    generator->tick(kInterval);
  }
  benchmark::DoNotOptimize(listener->events);
  reportPerEvent(state);
}
BENCHMARK(BM_ClockGenerator_TickOneClock);

void BM_Listener_DirectCall(benchmark::State& state) {
  auto* listener = new Listener;
  Unknown::THandle<PulseListener> keep(listener);
  PulseListener* volatile target = listener;  // Called through the vtable, as a generator calls it.
  for (auto _ : state) target->onPulse();
  benchmark::DoNotOptimize(listener->events);
  reportPerEvent(state);
}
BENCHMARK(BM_Listener_DirectCall);

}  // namespace

BENCHMARK_MAIN();
