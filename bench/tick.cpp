// Tick::onTick fanning one call out to 100 handlers, beside a plain vector of
// std::function doing the same calls.
#include <benchmark/benchmark.h>

#include <array>
#include <cstdint>
#include <functional>
#include <utility>
#include <vector>

#include <orvo/core/Tick.h>

using namespace orvo;

namespace {

constexpr int kHandlers = 100;
std::uint64_t gathered = 0;

// A hundred distinct functions: a Tick keeps no two equal handlers.
template <int N>
void handler(unsigned int elapsed) {
  gathered += elapsed + N;
}

template <int... N>
constexpr std::array<void (*)(unsigned int), sizeof...(N)> makeHandlers(std::integer_sequence<int, N...>) {
  return {handler<N>...};
}
constexpr auto kFunctions = makeHandlers(std::make_integer_sequence<int, kHandlers>());

void reportPerHandler(benchmark::State& state) {
  state.counters["ns_per_handler"] = benchmark::Counter(static_cast<double>(state.iterations()) * kHandlers,
                                                        benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
  benchmark::DoNotOptimize(gathered);
}

void BM_Tick_OnTick(benchmark::State& state) {
  THandle<Tick> tick = Tick::createInstance();
  for (auto function : kFunctions) tick->installTickHandler(function);
  for (auto _ : state) tick->onTick(1);
  reportPerHandler(state);
}
BENCHMARK(BM_Tick_OnTick)->Arg(kHandlers);

void BM_StdFunctionVector_Call(benchmark::State& state) {
  std::vector<std::function<void(unsigned int)>> handlers(kFunctions.rbegin(), kFunctions.rend());
  for (auto _ : state) {
    for (const auto& call : handlers) call(1);
  }
  reportPerHandler(state);
}
BENCHMARK(BM_StdFunctionVector_Call)->Arg(kHandlers);

}  // namespace

BENCHMARK_MAIN();
