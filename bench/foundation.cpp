// Foundation figures, each beside its peer in the same run:
//   ObjectPool allocate/release   vs  malloc/free of the same size, and vs
//                                     two questions for the thread's identity
//   THandle copy and destroy      vs  std::shared_ptr copy and destroy
//   uncontended SpinGuard         vs  std::lock_guard<std::mutex>
//   one System pass over 1,000 period-0 tasks (per-task time reported)
// The library and the C++ runtime count and lock without locked instructions
// while the process has one thread, so no benchmark here starts a thread:
// the first thread would end that for the rest of the run. run-bench.sh runs
// the program once as it is and once with a second thread alive; the locks
// under contention are bench/locks.cpp.
#include <benchmark/benchmark.h>
#include <pthread.h>

#include <cstdlib>
#include <memory>
#include <mutex>
#include <vector>

#include <orvo/core/ObjectPool.h>
#include <orvo/core/SpinLock.h>
#include <orvo/core/System.h>
#include <orvo/core/Unknown.h>

namespace {

using namespace orvo;

struct PooledRecord {
  char payload[48];
  static void* operator new(std::size_t size) { return pool.allocate(size); }
  static void operator delete(void* p) { pool.release(p); }
  static ObjectPool pool;
};
ObjectPool PooledRecord::pool(sizeof(PooledRecord), 73);

void BM_ObjectPool_AllocateRelease(benchmark::State& state) {
  for (auto _ : state) {
    auto* record = new PooledRecord;
    benchmark::DoNotOptimize(record);
    delete record;
  }
}
BENCHMARK(BM_ObjectPool_AllocateRelease);

void BM_Malloc_AllocateRelease(benchmark::State& state) {
  for (auto _ : state) {
    void* p = std::malloc(sizeof(PooledRecord));
    benchmark::DoNotOptimize(p);
    std::free(p);
  }
}
BENCHMARK(BM_Malloc_AllocateRelease);

// The floor of the pool's pair once the process has more threads: its owner
// asks for the calling thread's identity in allocate and again in release,
// which std::this_thread::get_id answers with a call of pthread_self. Called
// through a pointer here, since the compiler would otherwise ask once for
// the whole loop.
void BM_ThreadIdentityTwice(benchmark::State& state) {
  pthread_t (*ask)() = &pthread_self;
  for (auto _ : state) {
    benchmark::DoNotOptimize(ask);
    benchmark::DoNotOptimize(ask());
    benchmark::DoNotOptimize(ask);
    benchmark::DoNotOptimize(ask());
  }
}
BENCHMARK(BM_ThreadIdentityTwice);

class Counted : public virtual Unknown {};

void BM_THandle_CopyDestroy(benchmark::State& state) {
  THandle<Counted> original(new Counted);
  for (auto _ : state) {
    THandle<Counted> copy(original);
    benchmark::DoNotOptimize(copy);
  }
}
BENCHMARK(BM_THandle_CopyDestroy);

void BM_SharedPtr_CopyDestroy(benchmark::State& state) {
  auto original = std::make_shared<int>(1);
  for (auto _ : state) {
    std::shared_ptr<int> copy(original);
    benchmark::DoNotOptimize(copy);
  }
}
BENCHMARK(BM_SharedPtr_CopyDestroy);

void BM_SpinGuard_Uncontended(benchmark::State& state) {
  static SpinLock lock;
  int value = 0;
  for (auto _ : state) {
    SpinGuard guard(lock);
    benchmark::DoNotOptimize(++value);
  }
}
BENCHMARK(BM_SpinGuard_Uncontended);

void BM_StdMutexGuard_Uncontended(benchmark::State& state) {
  static std::mutex mutex;
  int value = 0;
  for (auto _ : state) {
    std::lock_guard<std::mutex> guard(mutex);
    benchmark::DoNotOptimize(++value);
  }
}
BENCHMARK(BM_StdMutexGuard_Uncontended);

class IdleTask : public System::Task {
 public:
  void onTick(unsigned int) override {}
};

// Starts the tasks in init, then lets the benchmark drive tick() by hand.
class BenchSystem : public System {
 public:
  explicit BenchSystem(int tasks) : _taskCount(tasks) {}
  bool init() override {
    if (!System::init()) return false;
    for (int i = 0; i < _taskCount; ++i) {
      THandle<IdleTask> task(new IdleTask);
      task->start(this);
    }
    return true;
  }
  void run() override {
    tick();  // Merges the pending tasks into the walk.
    for (auto _ : *_state) tick();
  }
  benchmark::State* _state = nullptr;

 private:
  int _taskCount;
};

void BM_System_PassOverTasks(benchmark::State& state) {
  const int tasks = static_cast<int>(state.range(0));
  THandle<BenchSystem> system(new BenchSystem(tasks));
  system->_state = &state;
  system->load();
  system->start();
  system->unload();
  state.SetItemsProcessed(state.iterations() * tasks);
  state.counters["ns_per_task"] = benchmark::Counter(
      static_cast<double>(state.iterations()) * tasks,
      benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}
BENCHMARK(BM_System_PassOverTasks)->Arg(1000);


}  // namespace

BENCHMARK_MAIN();
