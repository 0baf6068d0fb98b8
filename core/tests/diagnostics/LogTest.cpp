// Log: delivery to listeners, recursion, failures, texts of any length on
// small stacks (with Console), threads and teardown.
#include <gtest/gtest.h>

#include <pthread.h>

#include <atomic>
#include <stdexcept>
#include <thread>

#include <orvo/core/Console.h>

#include "diagnostics/DiagnosticsSupport.h"
#include "diagnostics/LogState.h"

namespace orvo {
namespace {

TEST(Log, SeveritiesReachTheirSlotsFormatted) {
  LogCollector log;
  Log::error(L"%s=%d", L"code", -1);
  Log::warning(L"%S and %c", "narrow", L'w');
  Log::information(L"%I64d", 1LL << 40);
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

TEST(Log, ListenersHearOnceEachInOrderUntilRemovedWhateverTheOthersDo) {
  LogCollector logging, throwing, last;
  std::vector<const LogCollector*> order;
  logging.hook = [&](const wchar_t*) { order.push_back(&logging), Log::error(L"inner"); };
  throwing.hook = [&](const wchar_t*) { order.push_back(&throwing), throw std::runtime_error(""); };
  last.hook = [&](const wchar_t*) { order.push_back(&last); };
  Log::addListener(&logging);  // Twice: still one copy.
  Log::addListener(nullptr);
  EXPECT_NO_THROW(Log::warning(L"first"));
  EXPECT_EQ(order, (std::vector<const LogCollector*>{&logging, &throwing, &last}));
  Log::removeListener(&logging);
  Log::removeListener(&logging);  // Not there any more: ignored, as null is.
  Log::removeListener(nullptr);
  Log::warning(L"second");
  EXPECT_EQ(logging.warnings, Texts{L"first"});  // The inner message reached no one.
  EXPECT_EQ(throwing.warnings, (Texts{L"first", L"second"}));  // A thrower stays.
  EXPECT_EQ(last.warnings, (Texts{L"first", L"second"}));
  EXPECT_TRUE(last.errors.empty());
}

// Runs `work` on a thread with a stack of `bytes`, above a guard area wide
// enough that a frame too big for the stack faults instead of writing over
// whatever lies below.
void runOnStackOf(std::size_t bytes, void* (*work)(void*)) {
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  ASSERT_EQ(pthread_attr_setstacksize(&attributes, bytes), 0);
  pthread_attr_setguardsize(&attributes, std::size_t{1} << 20);
  pthread_t thread;
  ASSERT_EQ(pthread_create(&thread, &attributes, work, nullptr), 0);
  pthread_join(thread, nullptr);
  pthread_attr_destroy(&attributes);
}

std::wstring textOf(std::size_t length) {
  return length == 0 ? L"" : std::wstring(length - 1, L'a') + L'z';
}

constexpr std::size_t kLengths[] = {0, 255, 256, 32767, 32768, 100000};

TEST(Log, TextsOfAnyLengthArriveWholeFromSmallStacks) {
  // 64 KiB, and the size of a signal stack.
  const std::size_t signalStack = std::max<std::size_t>(PTHREAD_STACK_MIN, sysconf(_SC_SIGSTKSZ));
  for (std::size_t stack : {std::size_t{64} << 10, signalStack}) {
    LogCollector log;
    CapturedStream out(STDOUT_FILENO);
    runOnStackOf(stack, [](void*) -> void* {
      for (std::size_t length : kLengths) {
        Log::debug(L"<%s>", textOf(length).c_str());
        Console::output(L"%s", textOf(length).c_str());
      }
      return nullptr;
    });
    std::string printed;
    ASSERT_EQ(log.debug.size(), std::size(kLengths)) << stack;
    for (std::size_t i = 0; i < std::size(kLengths); ++i) {
      EXPECT_EQ(log.debug[i], L"<" + textOf(kLengths[i]) + L">") << kLengths[i];
      for (wchar_t c : textOf(kLengths[i])) printed += static_cast<char>(c);
    }
    EXPECT_EQ(out.text(), printed) << stack;
  }
}

TEST(Log, ListenersChangeWhileAnotherThreadDelivers) {
  struct Counter : LogCollector {
    void onError(const wchar_t*) override { ++count; }
    std::atomic<int> count{0};
  } steady, churn[8];
  std::atomic<bool> done{false};
  std::thread logger([&] {
    for (int i = 0; i < 2000; ++i) Log::error(L"message %d", i);
    done = true;
  });
  while (!done) {
    for (Counter& listener : churn) Log::removeListener(&listener);
    for (Counter& listener : churn) Log::addListener(&listener);
  }
  logger.join();
  EXPECT_EQ(steady.count.load(), 2000);
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
