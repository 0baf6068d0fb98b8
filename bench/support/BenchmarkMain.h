// BenchmarkMain.h: the main of a benchmark program that sets something up
// before the benchmarks run.
#pragma once

#include <benchmark/benchmark.h>
#include <malloc.h>

#include <climits>

// glibc hands large freed blocks back to the system, so each iteration that
// makes a text of many megabytes would also pay the kernel for fresh zeroed
// pages, which smaller texts, served from freed memory, never do. Keeping
// freed memory makes the figures compare the work of the code measured.
inline void keepFreedMemory() {
  mallopt(M_MMAP_MAX, 0);
  mallopt(M_TRIM_THRESHOLD, INT_MAX);
}

inline int runBenchmarks(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
