// SpinGuard against std::lock_guard<std::mutex> with two threads taking the
// lock for a short piece of shared work, back to back. A program of its own:
// its threads would turn the single-threaded runs of bench/foundation.cpp
// into runs with a second thread.
#include <benchmark/benchmark.h>

#include <mutex>

#include <orvo/core/SpinLock.h>

namespace {

using orvo::SpinGuard;
using orvo::SpinLock;

// Both threads take the lock for a short piece of shared work, back to back.
void BM_SpinGuard_Contended(benchmark::State& state) {
  static SpinLock lock;
  static long shared = 0;
  for (auto _ : state) {
    SpinGuard guard(lock);
    benchmark::DoNotOptimize(++shared);
  }
}

void BM_StdMutexGuard_Contended(benchmark::State& state) {
  static std::mutex mutex;
  static long shared = 0;
  for (auto _ : state) {
    std::lock_guard<std::mutex> guard(mutex);
    benchmark::DoNotOptimize(++shared);
  }
}

BENCHMARK(BM_SpinGuard_Contended)->Threads(2);
BENCHMARK(BM_StdMutexGuard_Contended)->Threads(2);

}  // namespace

BENCHMARK_MAIN();
