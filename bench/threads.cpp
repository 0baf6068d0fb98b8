// Thread::start until the System runs, then shutdown until the thread has
// ended, beside starting and joining a std::thread that does nothing.
#include <benchmark/benchmark.h>

#include <thread>

#include <orvo/core/Thread.h>

using namespace orvo;

namespace {

// Its loop ends at once: the first pass shuts it down. The round trip is
// then the rendezvous, the System's start and exit, and the end signal.
class OnePassSystem : public System {
  void run() override { shutdown(); }
};

void BM_Thread_StartShutdown(benchmark::State& state) {
  Unknown::THandle<Thread> thread = Thread::createInstance();
  Unknown::THandle<System> system(new OnePassSystem);
  for (auto _ : state) {
    if (!thread->start(system.get())) state.SkipWithError("start failed");
    thread->shutdown();
  }
}
BENCHMARK(BM_Thread_StartShutdown)->UseRealTime();

void BM_StdThread_StartJoin(benchmark::State& state) {
  for (auto _ : state) std::thread([] {}).join();
}
BENCHMARK(BM_StdThread_StartJoin)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
