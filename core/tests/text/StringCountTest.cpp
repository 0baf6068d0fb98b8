// The count by which strings share their blocks: exact while the process has
// one thread and across the start of the first thread.
// CTest runs each case in a process of its own, so each starts with one
// thread, the case in which counts are kept without locked instructions.
#include <orvo/core/String.h>

#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "text/StringBlock.h"

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

}  // namespace
}  // namespace orvo
