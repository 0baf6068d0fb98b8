// Calendar figures, the library beside its peer in the same run:
//   Time::convertFromString of a date, time and zone  vs  glibc's strptime
//   of the same text, timegm, and the zone's hours read with strtol
//   gmtime over a spread of days                         vs  glibc's gmtime_r
// The library's parse has an absolute target; the peers are context.
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

// An index cycles through 0 to 4,095 and each index is 997 days further on:
// the values spread over some 11,000 years from 1970, so that the year and
// month searches end differently from one call to the next.
void BM_Time_Gmtime(benchmark::State& state) {
  long long day = 0;
  for (auto _ : state) {
    day = (day + 997) & 4095;
    std::tm fields = orvo::gmtime(62167132800 + day * 997 * 86400 + 45296);
    benchmark::DoNotOptimize(fields);
  }
}
BENCHMARK(BM_Time_Gmtime);

void BM_Glibc_Gmtime(benchmark::State& state) {
  long long day = 0;
  for (auto _ : state) {
    day = (day + 997) & 4095;
    const time_t value = static_cast<time_t>(day * 997 * 86400 + 45296);
    std::tm fields;
    gmtime_r(&value, &fields);
    benchmark::DoNotOptimize(fields);
  }
}
BENCHMARK(BM_Glibc_Gmtime);

}  // namespace

BENCHMARK_MAIN();
