// The count by which strings share their blocks: exact while the process has
// one thread, across the start of the first thread, and with a signal handler
// that copies the same string while the thread is in the middle of a copy.
// CTest runs each case in a process of its own, so each starts with one
// thread, the case in which counts are kept without locked instructions.
#include <orvo/core/String.h>

#include <gtest/gtest.h>

#include <new>
#include <thread>
#include <vector>

#include "text/StringBlock.h"

#if defined(__x86_64__) && defined(__linux__)
#include <signal.h>
#include <ucontext.h>
#endif

#if defined(__SANITIZE_THREAD__)
#define ORVO_TESTING_UNDER_TSAN 1
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define ORVO_TESTING_UNDER_TSAN 1
#endif
#endif

namespace orvo {
namespace {

int refs(const String& s) { return StringBlock<wchar_t>::referenceCount(s); }

TEST(StringCount, StaysExactAcrossTheStartOfTheFirstThread) {
  String shared(L"counted before and after");
  std::vector<String> before(100, shared);
  ASSERT_EQ(refs(shared), 101);
  std::vector<String> kept[2];
  std::vector<std::thread> threads;
  for (std::vector<String>& mine : kept) {
    threads.emplace_back([&shared, &mine] {
      for (int i = 0; i < 20000; ++i) {
        String copy = shared;
        if (i % 400 == 0) mine.push_back(copy);
      }
    });
  }
  for (std::thread& t : threads) t.join();
  EXPECT_EQ(refs(shared), 101 + 50 + 50);
  before.clear();
  kept[0].clear();
  kept[1].clear();
  EXPECT_EQ(refs(shared), 1);
}

// Single-stepping under a tracing handler is no place for the thread
// sanitizer's own run-time, which the steps would pass through.
#if defined(__x86_64__) && defined(__linux__) && !defined(ORVO_TESTING_UNDER_TSAN)

// The processor's trap flag stops the thread after every instruction of one
// copy and one release of a string, and the trap handler takes one more copy
// of the same string each time. A count kept by a separate read and write
// would lose the handler's copies that fall between the two; every copy the
// handler keeps must show in the count.
constexpr int kSlots = 8192;
constexpr long long kTrapFlag = 0x100;
String* sharedText = nullptr;
alignas(String) unsigned char slots[kSlots][sizeof(String)];
volatile int taken = 0;
volatile sig_atomic_t stepping = 0;

void onStep(int, siginfo_t*, void* context) {
  auto* machine = static_cast<ucontext_t*>(context);
  if (!stepping) {
    machine->uc_mcontext.gregs[REG_EFL] &= ~kTrapFlag;
    return;
  }
  if (taken < kSlots) {
    new (slots[taken]) String(*sharedText);
    taken = taken + 1;
  }
}

void onStartStepping(int, siginfo_t*, void* context) {
  static_cast<ucontext_t*>(context)->uc_mcontext.gregs[REG_EFL] |= kTrapFlag;
}

[[gnu::noinline]] void copyAndDrop() {
  String copy(*sharedText);
  asm volatile("" ::: "memory");
}

TEST(StringCount, KeepsCopiesASignalHandlerTakesInTheMiddleOfACopy) {
  struct sigaction step {}, start {}, oldStep {}, oldStart {};
  step.sa_sigaction = onStep;
  step.sa_flags = SA_SIGINFO;
  start.sa_sigaction = onStartStepping;
  start.sa_flags = SA_SIGINFO;
  ASSERT_EQ(sigaction(SIGTRAP, &step, &oldStep), 0);
  ASSERT_EQ(sigaction(SIGUSR1, &start, &oldStart), 0);

  sharedText = new String(L"shared");
  taken = 0;
  stepping = 1;
  raise(SIGUSR1);  // Returns with the trap flag set.
  copyAndDrop();
  stepping = 0;  // The next trap clears the flag.
  asm volatile("nop; nop; nop" ::: "memory");
  sigaction(SIGTRAP, &oldStep, nullptr);
  sigaction(SIGUSR1, &oldStart, nullptr);

  const int kept = taken;
  const int counted = refs(*sharedText);
  ASSERT_GT(kept, 0);
  EXPECT_EQ(counted, 1 + kept) << "copies kept by the handler: " << kept;
  if (counted == 1 + kept) {
    for (int i = 0; i < kept; ++i) std::launder(reinterpret_cast<String*>(slots[i]))->~String();
    delete sharedText;
  }
  // Otherwise the block and the copies are left alone on purpose: with too
  // low a count, releasing them all would free the block while copies still
  // point at it.
}

#endif

}  // namespace
}  // namespace orvo
