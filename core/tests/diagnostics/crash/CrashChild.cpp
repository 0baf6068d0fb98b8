// A program that installs the crash handler and then faults in the way its
// first argument names, for the tests that check what a real crash leaves.
// It prints "armed" on standard output before it faults.
#include <orvo/core/CrashReporter.h>
#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <string>
#include <thread>

namespace {

volatile int zero = 0;
volatile int seven = 7;
int* volatile nowhere = nullptr;

// The faults are meant: sanitizers must let them happen. Unoptimized, the
// parameters stay in memory, where the report can show them.
#define CRASH_CHILD_UNCHECKED no_sanitize("undefined", "thread")
#if defined(__clang__)
#define CRASH_CHILD_FAULT __attribute__((noinline, optnone, CRASH_CHILD_UNCHECKED))
#else
#define CRASH_CHILD_FAULT __attribute__((noinline, optimize("O0"), CRASH_CHILD_UNCHECKED))
#endif

// Recurses until the stack runs out; `zero` keeps the compiler from
// proving that it never ends.
CRASH_CHILD_FAULT int crashChildOverflow(int depth) {
  volatile char fill[1024];
  fill[0] = static_cast<char>(depth);
  if (depth < 0 && zero != 0) return fill[0];
  return crashChildOverflow(depth + 1) + fill[0];
}

enum class Speed { Slow, Fast = 7 };
class Place {
 public:
  int x;
};

// Its locals show in the report, one of each kind of value.
CRASH_CHILD_FAULT void crashChildFault(const char* how) {
  [[maybe_unused]] Speed speed = Speed::Fast;
  [[maybe_unused]] Place place{3};
  [[maybe_unused]] void (*callback)(const char*) = &crashChildFault;
  [[maybe_unused]] const void* nothing = nullptr;
  [[maybe_unused]] const Place& alias = place;
  [[maybe_unused]] volatile bool armed = true;
  if (std::strcmp(how, "segv") == 0) *nowhere = 1;
  if (std::strcmp(how, "overflow") == 0) crashChildOverflow(0);
  if (std::strcmp(how, "abort") == 0) std::abort();
  if (std::strcmp(how, "divide") == 0) std::printf("%d\n", seven / zero);
  if (std::strcmp(how, "illegal") == 0) __builtin_trap();
  if (std::strcmp(how, "trap") == 0) __asm__ volatile("int3");
  if (std::strcmp(how, "terminate") == 0) throw std::runtime_error("nobody catches this");
}

// Holds the allocator busy on another thread while the main thread faults.
void allocateForever() {
  for (;;) {
    void* volatile block = std::malloc(64);
    std::free(block);
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) return 2;
  orvo::CrashReporter::setContactAddress("crashes@example.org");
  orvo::handled_exception_filter();
  const char* how = argv[1];
  std::printf("armed\n");
  std::fflush(stdout);
  if (std::strncmp(how, "thread-", 7) == 0) {
    std::thread([how] {
      orvo::CrashReporter::giveThreadAlternateStack();
      crashChildFault(how + 7);
    }).join();
  } else if (std::strncmp(how, "double-", 7) == 0) {
    // Two threads fault at once: one is reported, the other handed on.
    std::thread other([how] { crashChildFault(how + 7); });
    crashChildFault(how + 7);
    other.join();
  } else if (std::strncmp(how, "homeless-", 9) == 0) {
    // The directory of the executable is gone: no file can be made there.
    unlink(argv[0]);
    rmdir(std::string(argv[0]).substr(0, std::string(argv[0]).rfind('/')).c_str());
    crashChildFault(how + 9);
  } else if (std::strncmp(how, "busy-", 5) == 0) {
    for (int i = 0; i < 2; ++i) std::thread(allocateForever).detach();
    usleep(1000);
    crashChildFault(how + 5);
  } else {
    crashChildFault(how);
  }
  return 0;
}
