// Log: delivery to listeners, recursion, failures, texts of any length on
// small stacks, threads and teardown.
#include <gtest/gtest.h>

#include <pthread.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <orvo/core/Console.h>
#include <orvo/core/Log.h>

#include "diagnostics/DiagnosticsSupport.h"
#include "diagnostics/LogCollector.h"
#include "diagnostics/LogState.h"

namespace orvo {
namespace {

using Texts = std::vector<std::wstring>;

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kSanitized = true;
#elif defined(__has_feature)
constexpr bool kSanitized = __has_feature(address_sanitizer) || __has_feature(thread_sanitizer);
#else
constexpr bool kSanitized = false;
#endif

TEST(Log, SeveritiesReachTheirSlotsFormatted) {
  LogCollector log;
  Log::error(L"%s=%d", L"code", -1);
  Log::warning(L"%S and %c", "narrow", L'w');
  Log::information(L"%I64d", static_cast<long long>(1) << 40);
  Log::debug(L"100%%");
  Log::debug(L"%S", "\xFF");  // Not a character in the C locale: the format arrives.
  Log::whistle(true);
  Log::whistle(false);
  EXPECT_EQ(log.errors, Texts{L"code=-1"});
  EXPECT_EQ(log.warnings, Texts{L"narrow and w"});
  EXPECT_EQ(log.information, Texts{L"1099511627776"});
  EXPECT_EQ(log.debug, (Texts{L"100%", L"%S"}));
  EXPECT_EQ(log.whistles, (std::vector<bool>{true, false}));
}

TEST(Log, ListenersHearOnceEachInOrderOfRegistrationUntilRemoved) {
  std::vector<int> order;
  LogCollector first, second;
  first.hook = [&](const wchar_t*) { order.push_back(1); };
  second.hook = [&](const wchar_t*) { order.push_back(2); };
  Log::addListener(&first);  // Twice: still one copy.
  Log::addListener(nullptr);
  Log::error(L"x");
  EXPECT_EQ(order, (std::vector<int>{1, 2}));
  Log::removeListener(&first);
  Log::removeListener(&first);  // Not there any more: ignored, as null is.
  Log::removeListener(nullptr);
  Log::error(L"y");
  EXPECT_EQ(order, (std::vector<int>{1, 2, 2}));
  Log::addListener(&first);  // Back, for its destructor to remove.
}

TEST(Log, ListenerThatLogsOrThrowsStopsNoOneElse) {
  LogCollector logging, throwing, after;
  logging.hook = [](const wchar_t*) { Log::error(L"inner"); };
  throwing.hook = [](const wchar_t*) { throw std::runtime_error("listener failed"); };
  EXPECT_NO_THROW(Log::error(L"first"));
  EXPECT_NO_THROW(Log::error(L"second"));
  for (LogCollector* listener : {&logging, &throwing, &after}) {
    EXPECT_EQ(listener->errors, (Texts{L"first", L"second"}));  // No "inner" anywhere.
  }
}

// Runs `work` on a thread with a stack of `bytes`, above a guard area wide
// enough that a frame too big for the stack faults instead of writing over
// whatever lies below it.
void runOnStackOf(std::size_t bytes, void (*work)()) {
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  ASSERT_EQ(pthread_attr_setstacksize(&attributes, bytes), 0);
  pthread_attr_setguardsize(&attributes, std::size_t{1} << 20);
  pthread_t thread;
  auto run = [](void* function) -> void* {
    reinterpret_cast<void (*)()>(function)();
    return nullptr;
  };
  ASSERT_EQ(pthread_create(&thread, &attributes, run, reinterpret_cast<void*>(work)), 0);
  pthread_join(thread, nullptr);
  pthread_attr_destroy(&attributes);
}

const std::size_t kLengths[] = {0, 255, 256, 32767, 32768, 100000};

void logAndPrintEveryLength() {
  for (std::size_t length : kLengths) {
    std::wstring text(length, L'a');
    if (length > 0) text.back() = L'z';
    Log::debug(L"<%s>", text.c_str());
    Console::output(L"%s", text.c_str());
  }
}

TEST(Log, TextsOfAnyLengthArriveWholeFromSmallStacks) {
  // 64 KiB, a small thread, and the size of a signal stack (sanitizers need more).
  const std::size_t signalStack = std::max<std::size_t>(PTHREAD_STACK_MIN, sysconf(_SC_SIGSTKSZ));
  const std::size_t scale = kSanitized ? 4 : 1;
  for (std::size_t stack : {std::size_t{64} << 10, signalStack * scale}) {
    LogCollector log;
    CapturedStream out(STDOUT_FILENO);
    runOnStackOf(stack, &logAndPrintEveryLength);
    std::string expected;
    ASSERT_EQ(log.debug.size(), std::size(kLengths)) << stack;
    for (std::size_t i = 0; i < std::size(kLengths); ++i) {
      std::wstring text(kLengths[i], L'a');
      if (kLengths[i] > 0) text.back() = L'z';
      EXPECT_EQ(log.debug[i], L"<" + text + L">") << kLengths[i];
      expected += std::string(text.begin(), text.end());
    }
    EXPECT_EQ(out.text(), expected) << stack;
  }
}

TEST(Log, ListenersChangeWhileAnotherThreadDelivers) {
  struct Counter : LogCollector {
    void onError(const wchar_t*) override { ++count; }
    std::atomic<int> count{0};
  } steady;
  std::vector<LogListener*> churn;
  for (int i = 0; i < 8; ++i) churn.push_back(new Counter);
  std::atomic<bool> done{false};
  std::thread logger([&] {
    for (int i = 0; i < 2000; ++i) Log::error(L"message %d", i);
    done = true;
  });
  while (!done) {
    for (LogListener* listener : churn) Log::addListener(listener);
    for (LogListener* listener : churn) Log::removeListener(listener);
  }
  logger.join();
  EXPECT_EQ(steady.count.load(), 2000);
  for (LogListener* listener : churn) delete listener;
}

TEST(LogDeathTest, SilentAfterTeardown) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        LogCollector log;
        Log::error(L"before");
        detail::tearDownLog();
        Log::error(L"after");
        Log::addListener(&log);  // No new setup after teardown.
        Log::error(L"after again");
        std::_Exit(log.errors == Texts{L"before"} ? 0 : 1);
      },
      ::testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace orvo
