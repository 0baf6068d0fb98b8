// Calendar figures, the library beside its peer in the same run:
//   Time::convertFromString of a date, time and zone  vs  glibc's strptime
//   of the same text, timegm, and the zone's hours read with strtol
// The library's own time has an absolute target; the peer is context.
#include <benchmark/benchmark.h>

#include <time.h>

#include <cstdlib>
#include <cstring>

#include <orvo/core/Time.h>

namespace {

void BM_Time_ConvertFromString(benchmark::State& state) {
  orvo::Time time;
  for (auto _ : state) {
    bool accepted = time.convertFromString(L"2012-05-06 10:20:30 Etc/GMT-8");
    benchmark::DoNotOptimize(accepted);
    benchmark::DoNotOptimize(time);
  }
  if (time.getValue() != 63503432430 - 8 * 3600) state.SkipWithError("wrong value");
}
BENCHMARK(BM_Time_ConvertFromString);

// The same work with the C library: the fields by strptime, the value by
// timegm, the zone by hand, since strptime knows no "Etc/GMT" names.
void BM_Strptime_Timegm(benchmark::State& state) {
  const char* text = "2012-05-06 10:20:30 Etc/GMT-8";
  long long value = 0;
  for (auto _ : state) {
    std::tm fields{};
    const char* rest = strptime(text, "%Y-%m-%d %H:%M:%S", &fields);
    long bias = 0;
    if (rest != nullptr && std::strncmp(rest, " Etc/GMT", 8) == 0 && (rest[8] == '+' || rest[8] == '-')) {
      bias = std::strtol(rest + 9, nullptr, 10) * (rest[8] == '+' ? 3600 : -3600);
    }
    value = timegm(&fields) + bias;
    benchmark::DoNotOptimize(value);
  }
  if (value != 1336299630 - 8 * 3600) state.SkipWithError("wrong value");
}
BENCHMARK(BM_Strptime_Timegm);

}  // namespace

BENCHMARK_MAIN();
