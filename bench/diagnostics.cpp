// Diagnostics figures, each beside its peer in the same run:
//   CallStack::getCallStack_fast on a 32-deep stack  vs  glibc backtrace()
//     (backtrace both in full and stopped at the frames the walk records)
//   CallStack::getCallStack (the unwinder) on the same stack
//   construct, throw and catch an Exception           vs  std::runtime_error
//   Log::error to one listener, short and long         vs  swprintf of the same
#include <benchmark/benchmark.h>
#include <execinfo.h>

#include <stdexcept>

#include <orvo/core/CallStack.h>
#include <orvo/core/DebugHelper.h>
#include <orvo/core/Exception.h>
#include <orvo/core/Log.h>

#include <cwchar>
#include <string>

namespace {

using namespace orvo;

constexpr int kDepth = 32;

// Frames that the frame walk records above its own, set before the runs.
int fastWalkFrames = 0;

// Calls `body` with `depth` frames of this function beneath it.
template <class Body>
__attribute__((noinline)) void atDepth(int depth, Body& body) {
  if (depth == 0) {
    body();
  } else {
    atDepth(depth - 1, body);
  }
  benchmark::ClobberMemory();  // No tail call: every level keeps its frame.
}

void BM_CallStack_Fast(benchmark::State& state) {
  auto body = [&state] {
    for (auto _ : state) {
      CallStack* stack = CallStack::getCallStack_fast();
      benchmark::DoNotOptimize(stack);
      stack->destroy();
    }
    state.counters["frames"] = fastWalkFrames;
  };
  atDepth(kDepth, body);
}
BENCHMARK(BM_CallStack_Fast);

void BM_CallStack_Unwinder(benchmark::State& state) {
  auto body = [&state] {
    for (auto _ : state) {
      CallStack* stack = CallStack::getCallStack();
      benchmark::DoNotOptimize(stack);
      stack->destroy();
    }
  };
  atDepth(kDepth, body);
}
BENCHMARK(BM_CallStack_Unwinder);

void glibcBacktrace(benchmark::State& state, int limit) {
  auto body = [&state, limit] {
    void* addresses[256];
    int frames = 0;
    for (auto _ : state) {
      frames = backtrace(addresses, limit);
      benchmark::DoNotOptimize(addresses);
    }
    state.counters["frames"] = frames;
  };
  atDepth(kDepth, body);
}

void BM_Glibc_Backtrace_Full(benchmark::State& state) { glibcBacktrace(state, 256); }
BENCHMARK(BM_Glibc_Backtrace_Full);

// Counts the lines of a dump, the heading aside.
class LineCounter : public CallStack::Callback {
 public:
  void report(const char*) override { ++lines; }
  int lines = -1;
};

// The frames above its own capture frame that the frame walk records from
// the same place as the benchmarks: backtrace() stopped after that many
// captures the same frames. The dump leaves out the capture frame itself
// when it can read the debug information, and shows it otherwise.
int framesOfFastWalk() {
  LineCounter counter;
  auto capture = [&counter] {
    CallStack* stack = CallStack::getCallStack_fast();
    stack->dump(counter);
    stack->destroy();
  };
  atDepth(kDepth, capture);
  return DebugHelper::getDebugHelper().isLoaded() ? counter.lines : counter.lines - 1;
}

void BM_Exception_ThrowCatch(benchmark::State& state) {
  for (auto _ : state) {
    try {
      ORVO_THROW(L"Invalid packet size");
    } catch (const Exception& e) {
      benchmark::DoNotOptimize(e.message.data());
    }
  }
}
BENCHMARK(BM_Exception_ThrowCatch);

void BM_RuntimeError_ThrowCatch(benchmark::State& state) {
  for (auto _ : state) {
    try {
      throw std::runtime_error("Invalid packet size");
    } catch (const std::runtime_error& e) {
      benchmark::DoNotOptimize(e.what());
    }
  }
}
BENCHMARK(BM_RuntimeError_ThrowCatch);

// Keeps only the length of what it hears.
struct LengthListener : LogListener {
  void onError(const wchar_t* message) override { length += std::wcslen(message); }
  void onWarning(const wchar_t*) override {}
  void onInformation(const wchar_t*) override {}
  void onDebug(const wchar_t*) override {}
  void onWhistle(bool) override {}
  std::size_t length = 0;
};

// A message of `state.range(0)` characters: up to 255 it is formatted on the
// stack, beyond that on the heap.
void BM_Log_Error(benchmark::State& state) {
  const std::wstring text(static_cast<std::size_t>(state.range(0)), L'x');
  LengthListener listener;
  Log::addListener(&listener);
  for (auto _ : state) Log::error(L"%d: %s", 42, text.c_str());
  Log::removeListener(&listener);
  benchmark::DoNotOptimize(listener.length);
}
BENCHMARK(BM_Log_Error)->Arg(40)->Arg(1000);

void BM_Swprintf(benchmark::State& state) {
  const std::wstring text(static_cast<std::size_t>(state.range(0)), L'x');
  std::wstring buffer(static_cast<std::size_t>(state.range(0)) + 16, L'\0');
  for (auto _ : state) {
    benchmark::DoNotOptimize(std::swprintf(buffer.data(), buffer.size(), L"%d: %ls", 42, text.c_str()));
  }
}
BENCHMARK(BM_Swprintf)->Arg(40)->Arg(1000);

}  // namespace

int main(int argc, char** argv) {
  fastWalkFrames = framesOfFastWalk();
  benchmark::RegisterBenchmark("BM_Glibc_Backtrace_SameFrames", [](benchmark::State& state) {
    glibcBacktrace(state, fastWalkFrames);
  });
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
