// CallStack: its chunked storage, the two captures, the dump and its
// callbacks, and the frame-pointer walk along a broken chain.
#include <gtest/gtest.h>

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include <orvo/core/CallStack.h>
#include <orvo/core/DebugHelper.h>

#include "diagnostics/DiagnosticsSupport.h"
#include "diagnostics/LogCollector.h"
#include "platform/StackWalk.h"

namespace orvo {
namespace {

int chunksAllocated = 0;
void* countingAllocator(std::size_t bytes) {
  ++chunksAllocated;
  return std::malloc(bytes);
}
void* failingAllocator(std::size_t) { return nullptr; }

std::vector<std::uintptr_t> entries(const CallStackFrames& stack) {
  std::vector<std::uintptr_t> all;
  for (std::uint32_t i = 0; i < stack.size(); ++i) all.push_back(stack[i]);
  return all;
}

std::vector<std::uintptr_t> counting(std::uintptr_t first, std::size_t count) {
  std::vector<std::uintptr_t> values(count);
  for (std::size_t i = 0; i < count; ++i) values[i] = first + i;
  return values;
}

void pushAll(CallStackFrames& stack, const std::vector<std::uintptr_t>& values,
             CallStackFrames::ChunkAllocator allocator = &countingAllocator) {
  for (std::uintptr_t value : values) stack.push(value, allocator);
}

TEST(CallStackStorage, ChunksGrowOneAtATimeAndClearKeepsThem) {
  OwnedStack stack = madeStack({});
  chunksAllocated = 0;
  pushAll(frames(stack), counting(0x1000, 32));
  EXPECT_EQ(chunksAllocated, 0);  // The first 32 live in the object.
  pushAll(frames(stack), counting(0x1000 + 32, 38));
  EXPECT_EQ(chunksAllocated, 2);
  EXPECT_EQ(frames(stack).capacity(), 96u);
  EXPECT_EQ(entries(frames(stack)), counting(0x1000, 70));

  frames(stack).clear();
  EXPECT_EQ(frames(stack).size(), 0u);
  pushAll(frames(stack), counting(0x9000, 96));
  EXPECT_EQ(chunksAllocated, 2);  // The kept chunks take them all.
  pushAll(frames(stack), {0xF00D});
  EXPECT_EQ(chunksAllocated, 3);
  EXPECT_EQ(frames(stack).capacity(), 128u);
  std::vector<std::uintptr_t> expected = counting(0x9000, 96);
  expected.push_back(0xF00D);
  EXPECT_EQ(entries(frames(stack)), expected);
}

TEST(CallStackStorage, NoMemoryForAChunkEndsTheStackWithoutAGap) {
  OwnedStack stack = madeStack({});
  pushAll(frames(stack), counting(1, 32));
  pushAll(frames(stack), {33}, &failingAllocator);
  pushAll(frames(stack), {34, 35});  // Memory again: the stack has ended all the same.
  EXPECT_EQ(entries(frames(stack)), counting(1, 32));
  frames(stack).clear();  // A new capture starts afresh.
  pushAll(frames(stack), counting(1, 40));
  EXPECT_EQ(entries(frames(stack)), counting(1, 40));
}

TEST(CallStackStorage, EqualityComparesSizeAndEveryEntry) {
  std::vector<std::uintptr_t> base = counting(0x1000, 40);
  OwnedStack a = madeStack({});
  pushAll(frames(a), base);
  for (int entry : {-1, 0, 31, 32, 39}) {  // -1: none changed.
    std::vector<std::uintptr_t> other = base;
    if (entry >= 0) other[static_cast<std::size_t>(entry)] ^= 0x10;
    OwnedStack b = madeStack({});
    pushAll(frames(b), other);
    EXPECT_EQ(frames(a) == frames(b), entry < 0) << entry;
  }
  OwnedStack shorter = madeStack({});
  pushAll(frames(shorter), counting(0x1000, 39));
  EXPECT_FALSE(frames(a) == frames(shorter));
  EXPECT_FALSE(frames(shorter) == frames(a));
}

TEST(CallStackStorage, LastOfTheReferencesOfManyThreadsFrees) {
  CallStack* stack = CallStack::getCallStack();
  ASSERT_NE(stack, nullptr);
  EXPECT_EQ(CallStackFrames::of(*stack).references(), 1);
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([stack] {
      for (int i = 0; i < 10000; ++i) {
        stack->addRef();
        stack->destroy();
      }
    });
  }
  for (auto& thread : threads) thread.join();
  stack->addRef();
  stack->destroy();
  // Still alive; the sanitizer builds would see a use after free otherwise.
  EXPECT_EQ(CallStackFrames::of(*stack).references(), 1);
  stack->destroy();
}

TEST(CallStackDump, UnresolvedAddressesKeepTheirFullWidth) {
  LineCollector empty;
  madeStack({})->dump(empty);
  EXPECT_EQ(empty.lines, std::vector<std::string>{"Call Stack:"});

  LineCollector collector;
  madeStack({0x1235, static_cast<std::uintptr_t>(0x7A5B3C2D1E0F1234ull)})->dump(collector);
  EXPECT_EQ(collector.lines,
            (std::vector<std::string>{
                "Call Stack:",
                "    0x00001235 (File and line number not available): (Function name unavailable)",
                "    0x7A5B3C2D1E0F1234 (File and line number not available): "
                "(Function name unavailable)"}));
}

TEST(CallStackDump, ExportedFunctionWithoutLineInformationIsNamed) {
  const std::uintptr_t qsortAddress = cLibraryFunction("qsort");
  ASSERT_NE(qsortAddress, 0u);
  LineCollector collector;
  madeStack({qsortAddress + 4})->dump(collector);
  ASSERT_EQ(collector.lines.size(), 2u);
  char expected[128];
  std::snprintf(expected, sizeof expected,
                "    0x%.8" PRIXPTR " (File and line number not available): qsort", qsortAddress + 4);
  // A machine with the C library's debug information names a file instead.
  if (collector.lines[1].find("not available") != std::string::npos) {
    EXPECT_EQ(collector.lines[1], expected);
  } else {
    EXPECT_NE(collector.lines[1].find("): qsort"), std::string::npos) << collector.lines[1];
  }
}

// The capture sites are kept out of line and out of tail position, so that
// each leaves a frame of its own with a known line.
int innerCaptureLine = 0;
int outerCallLine = 0;

__attribute__((noinline)) CallStack* captureInner(bool fast) {
  innerCaptureLine = __LINE__ + 1;
  CallStack* stack = fast ? CallStack::getCallStack_fast() : CallStack::getCallStack();
  asm volatile("" ::: "memory");
  return stack;
}

__attribute__((noinline)) CallStack* captureOuter(bool fast) {
  outerCallLine = __LINE__ + 1;
  CallStack* stack = captureInner(fast);
  asm volatile("" ::: "memory");
  return stack;
}

std::vector<std::string> dumpOf(CallStack* captured) {
  OwnedStack stack(captured);
  LineCollector collector;
  if (stack) stack->dump(collector);
  return collector.lines;
}

TEST(CallStackDump, BothCapturesShowTheCallersWithFilesAndLinesFromAnyThread) {
  ASSERT_TRUE(DebugHelper::getDebugHelper().isLoaded()) << "libdw.so.1 is needed";
  for (bool fast : {false, true}) {
    for (bool onThread : {false, true}) {
      std::vector<std::string> lines;
      if (onThread) {
        std::thread([&] { lines = dumpOf(captureOuter(fast)); }).join();
      } else {
        lines = dumpOf(captureOuter(fast));
      }
      SCOPED_TRACE(testing::PrintToString(lines));
      // Innermost first, and nothing of the capture code above the caller.
      ASSERT_GE(lines.size(), 3u);
      EXPECT_EQ(lines[0], "Call Stack:");
      EXPECT_EQ(lines[1].rfind("    ", 0), 0u);
      EXPECT_NE(lines[1].find("CallStackTest.cpp (" + std::to_string(innerCaptureLine) +
                              "): orvo::(anonymous namespace)::captureInner(bool)"),
                std::string::npos);
      EXPECT_NE(lines[2].find("CallStackTest.cpp (" + std::to_string(outerCallLine) +
                              "): orvo::(anonymous namespace)::captureOuter(bool)"),
                std::string::npos);
      for (const std::string& line : lines) {
        EXPECT_EQ(line.find("/CallStack.cpp"), std::string::npos);
        EXPECT_EQ(line.find("StackWalk"), std::string::npos);
        EXPECT_EQ(line.find("@@"), std::string::npos);  // Symbol versions are no part of a name.
      }
    }
  }
}

TEST(CallStackDump, TheFramePointerWalkFindsASuffixOfWhatTheUnwinderFinds) {
  // Both through the same call sites: a loop the compiler cannot unroll.
  std::vector<OwnedStack> stacks;
  volatile int captures = 2;
  for (int i = 0; i < captures; ++i) stacks.emplace_back(captureOuter(i == 1));
  const std::vector<std::uintptr_t> full = entries(frames(stacks[0]));
  const std::vector<std::uintptr_t> fast = entries(frames(stacks[1]));
  ASSERT_GE(fast.size(), 4u);
  // The walk stops at the first frame without a frame pointer, the unwinder
  // does not: from captureOuter on, both found the same callers in order.
  EXPECT_NE(std::search(full.begin(), full.end(), fast.begin() + 2, fast.end()), full.end());
  EXPECT_GT(full.size(), fast.size());
}

TEST(CallStackDump, CallbacksDeliverEveryLine) {
  OwnedStack stack = madeStack({0x4321});
  const std::string frame = "    0x00004321 (File and line number not available): "
                            "(Function name unavailable)";
  for (int stream : {STDOUT_FILENO, STDERR_FILENO}) {
    CapturedStream captured(stream);
    DumpCallStack_Console console;
    DumpCallStack_VS debugger;
    stack->dump(stream == STDOUT_FILENO ? static_cast<CallStack::Callback&>(console) : debugger);
    EXPECT_EQ(captured.text(), "\nCall Stack:\n" + frame) << stream;  // The break comes first.
  }
  LogCollector log;
  DumpCallStack_Log toLog;
  stack->dump(toLog);
  EXPECT_EQ(log.debug, (std::vector<std::wstring>{L"Call Stack:", std::wstring(frame.begin(), frame.end())}));
  EXPECT_TRUE(log.errors.empty());
}

// A made-up stack region of records (saved frame pointer, return address).
struct FakeStack {
  std::uintptr_t words[64] = {};
  std::uintptr_t at(std::size_t word) const { return reinterpret_cast<std::uintptr_t>(&words[word]); }
  void record(std::size_t word, std::uintptr_t next, std::uintptr_t returnAddress) {
    words[word] = next;
    words[word + 1] = returnAddress;
  }
  std::vector<std::uintptr_t> walkFrom(std::uintptr_t start) const {
    std::vector<std::uintptr_t> found;
    platform::walkFramePointers(start, {at(0), at(0) + sizeof words},
                                [&found](std::uintptr_t address) { found.push_back(address); });
    return found;
  }
};

TEST(FramePointerWalk, FollowsTheChainUpToTheFirstBadLinkAndLeavesOutTheLastRecord) {
  FakeStack stack;
  stack.record(4, stack.at(10), 0xA1);
  stack.record(10, stack.at(20), 0xA2);
  stack.record(20, 0, 0xA3);
  EXPECT_EQ(stack.walkFrom(stack.at(4)), (std::vector<std::uintptr_t>{0xA1, 0xA2}));
  EXPECT_TRUE(stack.walkFrom(stack.at(63)).empty());  // A record cut by the end.
  EXPECT_TRUE(stack.walkFrom(stack.at(0) + sizeof stack.words + 64).empty());
  // Each bad link: backwards, to itself, unaligned, just past the end,
  // straddling the end, far away near the top of memory.
  for (std::uintptr_t bad : {stack.at(4), stack.at(20), stack.at(30) + 3, stack.at(64), stack.at(63),
                             ~std::uintptr_t{0} - 7}) {
    stack.record(20, bad, 0xA3);
    EXPECT_EQ(stack.walkFrom(stack.at(10)), std::vector<std::uintptr_t>{0xA2}) << bad;
  }
}

// Captures with this function's saved frame pointer overwritten by
// `corrupt`, and puts it back before returning through it.
__attribute__((noinline)) std::uint32_t captureWithCorruptFrame(std::uintptr_t corrupt, bool fast) {
  auto* record = static_cast<volatile std::uintptr_t*>(__builtin_frame_address(0));
  const std::uintptr_t saved = record[0];
  record[0] = corrupt;
  asm volatile("" ::: "memory");
  OwnedStack stack(fast ? CallStack::getCallStack_fast() : CallStack::getCallStack());
  asm volatile("" ::: "memory");
  record[0] = saved;
  asm volatile("" ::: "memory");
  return stack ? frames(stack).size() : 0;
}

TEST(FramePointerWalk, CorruptChainEndsBothWalksAtTheCorruptFrame) {
  std::vector<std::uint32_t> fast, unwound;
  std::thread([&] {
    platform::StackBounds bounds;
    ASSERT_TRUE(platform::stackBoundsOf(platform::currentFramePointer(), bounds));
    const std::uintptr_t unmapped = 0xDEAD0000BEEF0000ull, top = ~std::uintptr_t{0} & ~std::uintptr_t{15};
    fast.push_back(captureWithCorruptFrame(0, true));  // Zero: a regular end.
    for (std::uintptr_t corrupt : {bounds.high + (1u << 20), bounds.high - 8, unmapped, top,
                                   platform::currentFramePointer() + 12, std::uintptr_t{0x10}}) {
      fast.push_back(captureWithCorruptFrame(corrupt, true));
    }
    for (std::uintptr_t corrupt : {unmapped, top, std::uintptr_t{0x10}}) {
      unwound.push_back(captureWithCorruptFrame(corrupt, false));
    }
  }).join();
  // The capture's own frame and the corrupt function's are all the walk
  // records; the unwinder gets as far as the corrupt function.
  EXPECT_EQ(fast, std::vector<std::uint32_t>(7, 2u));
  ASSERT_EQ(unwound.size(), 3u);
  for (std::uint32_t size : unwound) EXPECT_GE(size, 4u);
}

}  // namespace
}  // namespace orvo
