// An intArray property read from its text and written back, per element, at
// 10,000 and 1,000,000 elements: both directions are linear in the text's
// length, so the time per element stays the same. There is no peer; the
// figure is the per-element time and the ratio between the two sizes.
//
// As in property_text, the program runs under glibc's default allocator
// settings.
#include <benchmark/benchmark.h>

#include <vector>

#include <orvo/core/PropertyConvert.h>

namespace {

std::vector<int> sampleNumbers(long count) {
  std::vector<int> numbers;
  numbers.reserve(static_cast<std::size_t>(count));
  // Numbers of one to ten digits, both signs, as a real array holds.
  unsigned state = 12345;
  for (long i = 0; i < count; ++i) {
    state = state * 1103515245u + 12345u;
    numbers.push_back(static_cast<int>(state) >> (state % 31));
  }
  return numbers;
}

void reportPerElement(benchmark::State& state) {
  state.counters["ns_per_element"] = benchmark::Counter(static_cast<double>(state.iterations() * state.range(0)),
                                                        benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

void BM_PropertyConvert_ReadIntArray(benchmark::State& state) {
  const std::vector<int> numbers = sampleNumbers(state.range(0));
  orvo::String text;
  orvo::convertPropertyToString(numbers, text);
  std::vector<int> read;
  for (auto _ : state) {
    orvo::convertPropertyToClass(text, read);
    benchmark::DoNotOptimize(read.data());
  }
  if (read != numbers) state.SkipWithError("numbers lost");
  reportPerElement(state);
}
BENCHMARK(BM_PropertyConvert_ReadIntArray)->Arg(10000)->Arg(1000000)->Unit(benchmark::kMillisecond);

void BM_PropertyConvert_WriteIntArray(benchmark::State& state) {
  const std::vector<int> numbers = sampleNumbers(state.range(0));
  orvo::String text;
  for (auto _ : state) {
    orvo::convertPropertyToString(numbers, text);
    benchmark::DoNotOptimize(text.getBuffer());
  }
  if (text.getLength() < 3 * state.range(0)) state.SkipWithError("text too short");
  reportPerElement(state);
}
BENCHMARK(BM_PropertyConvert_WriteIntArray)->Arg(10000)->Arg(1000000)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
