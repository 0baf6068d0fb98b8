// BenchmarkMain.h: the main of a benchmark program, for programs that have
// their own main.
#pragma once

#include <benchmark/benchmark.h>


inline int runBenchmarks(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
