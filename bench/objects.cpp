// Creation through the class factory, beside `new` of the same class held in
// a handle: by class name, by class id, and directly. Each lookup takes the
// factory's lock and walks one ordered table.
#include <benchmark/benchmark.h>

#include <orvo/core/ClassFactory.h>

namespace orvo {

class BenchGadget : public virtual Unknown {
  ORVO_RUNTIME_CLASS(BenchGadget)
 public:
  int value = 0;
};
ORVO_REGISTER_CLASS(BenchGadget);

// Classes beside it, so that the tables are not trivially small.
#define BENCH_FILLER(X)                 \
  class X : public virtual Unknown {    \
    ORVO_RUNTIME_CLASS(X)               \
  };                                    \
  ORVO_REGISTER_CLASS(X)
BENCH_FILLER(Alpha);
BENCH_FILLER(Bravo);
BENCH_FILLER(Charlie);
BENCH_FILLER(Delta);
BENCH_FILLER(Echo);
BENCH_FILLER(Foxtrot);
BENCH_FILLER(Golf);

namespace {

void BM_RtFactory_CreateByName(benchmark::State& state) {
  const String name(L"BenchGadget");
  for (auto _ : state) {
    THandle<Unknown> object = Unknown::RtFactory::createClassInstance(name);
    benchmark::DoNotOptimize(object.get());
  }
}
BENCHMARK(BM_RtFactory_CreateByName);

void BM_RtFactory_CreateById(benchmark::State& state) {
  const unsigned int id = Unknown::computeClassId(L"BenchGadget");
  for (auto _ : state) {
    THandle<Unknown> object = Unknown::RtFactory::createClassInstance(id);
    benchmark::DoNotOptimize(object.get());
  }
}
BENCHMARK(BM_RtFactory_CreateById);

void BM_New_Handle(benchmark::State& state) {
  for (auto _ : state) {
    THandle<Unknown> object(new BenchGadget);
    benchmark::DoNotOptimize(object.get());
  }
}
BENCHMARK(BM_New_Handle);

}  // namespace
}  // namespace orvo

BENCHMARK_MAIN();
