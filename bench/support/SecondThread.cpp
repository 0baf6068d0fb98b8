// Linked into every benchmark program. With ORVO_BENCH_SECOND_THREAD=1 in the
// environment, it starts one thread before main that sleeps until exit.
//
// While a process has only one thread, glibc's mutexes and libstdc++'s
// shared_ptr skip their atomic instructions; once a second thread has
// existed, they never skip them again. Every figure is therefore measured in
// both kinds of process, and this is how the second kind is made without
// touching the benchmarks themselves. The JSON context of the run records
// "second_thread" so that the results say which kind of process they came
// from.
#include <benchmark/benchmark.h>

#include <condition_variable>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <thread>

namespace {

class ParkedThread {
 public:
  ParkedThread()
      : _thread([this] {
          std::unique_lock<std::mutex> lock(_mutex);
          _wake.wait(lock, [this] { return _done; });
        }) {}

  ParkedThread(const ParkedThread&) = delete;
  ParkedThread& operator=(const ParkedThread&) = delete;

  ~ParkedThread() {
    {
      std::lock_guard<std::mutex> lock(_mutex);
      _done = true;
    }
    _wake.notify_one();
    _thread.join();
  }

 private:
  std::mutex _mutex;
  std::condition_variable _wake;
  bool _done = false;
  std::thread _thread;  // Last, so that it starts once the rest exists.
};

bool secondThreadWanted() {
  const char* value = std::getenv("ORVO_BENCH_SECOND_THREAD");
  return value != nullptr && std::strcmp(value, "1") == 0;
}

// Built before main and joined after it returns.
struct SecondThread {
  SecondThread() {
    if (secondThreadWanted()) {
      parked = new ParkedThread;
      benchmark::AddCustomContext("second_thread", "parked");
    }
  }
  ~SecondThread() { delete parked; }
  ParkedThread* parked = nullptr;
} secondThread;

}  // namespace
