// Log: delivery to listeners, recursion, failures, long texts, threads and
// teardown.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <functional>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <orvo/core/Log.h>

#include "diagnostics/LogState.h"

namespace orvo {
namespace {

// Keeps every message with its severity.
class Collector : public LogListener {
 public:
  std::vector<std::wstring> messages;
  std::vector<bool> whistles;
  std::function<void(const wchar_t*)> hook;

  void onError(const wchar_t* m) override { take(L"E:", m); }
  void onWarning(const wchar_t* m) override { take(L"W:", m); }
  void onInformation(const wchar_t* m) override { take(L"I:", m); }
  void onDebug(const wchar_t* m) override { take(L"D:", m); }
  void onWhistle(bool on) override { whistles.push_back(on); }

 private:
  void take(const wchar_t* severity, const wchar_t* m) {
    messages.push_back(std::wstring(severity) + m);
    if (hook) hook(m);
  }
};

// Registers listeners for one test and removes them after it.
class LogTest : public ::testing::Test {
 protected:
  void listen(LogListener* listener) {
    Log::addListener(listener);
    _added.push_back(listener);
  }
  void TearDown() override {
    for (LogListener* listener : _added) Log::removeListener(listener);
  }

 private:
  std::vector<LogListener*> _added;
};

TEST_F(LogTest, SeveritiesReachTheirSlotsFormatted) {
  Collector collector;
  listen(&collector);
  Log::error(L"%s=%d", L"code", -1);
  Log::warning(L"%S and %c", "narrow", L'w');
  Log::information(L"%I64d", static_cast<long long>(1) << 40);
  Log::debug(L"100%%");
  Log::whistle(true);
  Log::whistle(false);
  EXPECT_EQ(collector.messages,
            (std::vector<std::wstring>{L"E:code=-1", L"W:narrow and w", L"I:1099511627776", L"D:100%"}));
  EXPECT_EQ(collector.whistles, (std::vector<bool>{true, false}));
}

TEST_F(LogTest, ListenersInOrderOfRegistrationAndOnceEach) {
  std::vector<int> order;
  Collector first, second;
  first.hook = [&](const wchar_t*) { order.push_back(1); };
  second.hook = [&](const wchar_t*) { order.push_back(2); };
  listen(&first);
  listen(&second);
  Log::addListener(&first);  // Twice: still one copy.
  Log::addListener(nullptr);
  Log::error(L"x");
  EXPECT_EQ(order, (std::vector<int>{1, 2}));
}

TEST_F(LogTest, RemovedListenerHearsNothing) {
  Collector collector;
  Log::addListener(&collector);
  Log::removeListener(&collector);
  Log::removeListener(&collector);  // Not there any more: ignored.
  Log::removeListener(nullptr);
  Log::error(L"lost");
  EXPECT_TRUE(collector.messages.empty());
}

TEST_F(LogTest, MessageFromInsideAListenerIsDropped) {
  Collector collector, other;
  collector.hook = [](const wchar_t*) { Log::error(L"inner"); };
  listen(&collector);
  listen(&other);
  Log::error(L"outer");
  EXPECT_EQ(collector.messages, (std::vector<std::wstring>{L"E:outer"}));
  EXPECT_EQ(other.messages, (std::vector<std::wstring>{L"E:outer"}));
}

TEST_F(LogTest, ThrowingListenerIsSkippedAndStaysRegistered) {
  Collector thrower, after;
  thrower.hook = [](const wchar_t*) { throw std::runtime_error("listener failed"); };
  listen(&thrower);
  listen(&after);
  EXPECT_NO_THROW(Log::warning(L"first"));
  EXPECT_NO_THROW(Log::warning(L"second"));
  EXPECT_EQ(after.messages.size(), 2u);
  EXPECT_EQ(thrower.messages.size(), 2u);
}

TEST_F(LogTest, LongTextsArriveWhole) {
  Collector collector;
  listen(&collector);
  for (std::size_t length : {32766u, 32767u, 32768u, 100000u}) {
    collector.messages.clear();
    std::wstring text(length, L'a');
    text.back() = L'z';
    Log::debug(L"%s", text.c_str());
    ASSERT_EQ(collector.messages.size(), 1u);
    EXPECT_EQ(collector.messages[0].size(), length + 2) << length;
    EXPECT_EQ(collector.messages[0].back(), L'z');
  }
}

TEST_F(LogTest, ListenersChangeWhileAnotherThreadDelivers) {
  // Counts only; the listeners run on the logging threads.
  struct Counter : LogListener {
    std::atomic<int> count{0};
    void onError(const wchar_t*) override { ++count; }
    void onWarning(const wchar_t*) override {}
    void onInformation(const wchar_t*) override {}
    void onDebug(const wchar_t*) override {}
    void onWhistle(bool) override {}
  };
  Counter steady;
  std::vector<Counter> churn(8);
  listen(&steady);
  std::atomic<bool> done{false};
  std::thread logger([&] {
    for (int i = 0; i < 2000; ++i) Log::error(L"message %d", i);
    done = true;
  });
  while (!done) {
    for (auto& listener : churn) Log::addListener(&listener);
    for (auto& listener : churn) Log::removeListener(&listener);
  }
  logger.join();
  EXPECT_EQ(steady.count.load(), 2000);
}

TEST(LogTeardownTest, SilentAfterTeardown) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        Collector collector;
        Log::addListener(&collector);
        Log::error(L"before");
        detail::tearDownLog();
        Log::error(L"after");
        Log::addListener(&collector);  // No new setup after teardown.
        Log::error(L"after again");
        std::_Exit(collector.messages.size() == 1 ? 0 : 1);
      },
      ::testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace orvo
