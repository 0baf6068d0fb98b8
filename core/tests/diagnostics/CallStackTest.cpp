// CallStack: its chunked storage, the two captures, the dump and its
// callbacks, and the walk along a broken frame-pointer chain.
#include <gtest/gtest.h>

#include <dlfcn.h>

#include <algorithm>
#include <cinttypes>
#include <cstdlib>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <orvo/core/CallStack.h>
#include <orvo/core/DebugHelper.h>

#include "diagnostics/DiagnosticsSupport.h"
#include "platform/StackWalk.h"

namespace orvo {
namespace {

using Access = CallStackTest;

// Owns the stack that a test made or captured.
struct StackHolder {
  explicit StackHolder(CallStack* stack) : stack(stack) {}
  StackHolder(StackHolder&& other) noexcept : stack(std::exchange(other.stack, nullptr)) {}
  StackHolder(const StackHolder&) = delete;
  StackHolder& operator=(const StackHolder&) = delete;
  ~StackHolder() {
    if (stack) stack->destroy();
  }
  CallStack* operator->() const { return stack; }
  CallStack& operator*() const { return *stack; }
  CallStack* stack;
};

StackHolder madeStack(std::uint32_t entries, std::uintptr_t first = 0x1000) {
  CallStack* stack = Access::make();
  stack->addRef();
  for (std::uint32_t i = 0; i < entries; ++i) Access::push(*stack, first + i);
  return StackHolder(stack);
}

bool contains(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

std::string formatAddress(std::uintptr_t address) {
  char text[32];
  std::snprintf(text, sizeof text, "0x%.8" PRIXPTR, address);
  return text;
}

// ---- Storage ---------------------------------------------------------------

TEST(CallStackStorage, ThirtyThreeEntriesTakeOneExtraChunk) {
  StackHolder full = madeStack(32);
  EXPECT_EQ(Access::capacity(*full), 32u);
  EXPECT_EQ(Access::chunk(*full, 1), nullptr);

  StackHolder stack = madeStack(33);
  EXPECT_EQ(Access::size(*stack), 33u);
  EXPECT_EQ(Access::capacity(*stack), 64u);
  ASSERT_NE(Access::chunk(*stack, 1), nullptr);
  EXPECT_EQ(Access::chunk(*stack, 2), nullptr);
  for (std::uint32_t i = 0; i < 33; ++i) EXPECT_EQ(Access::at(*stack, i), 0x1000u + i) << i;
  // Entry 32 is the first entry of the second chunk.
  const auto* second = static_cast<const std::uintptr_t*>(Access::chunk(*stack, 1));
  EXPECT_EQ(second[1], 0x1000u + 32);  // second[0] is the link to the next chunk.
}

TEST(CallStackStorage, ClearKeepsTheChunksForTheNextPushes) {
  StackHolder stack = madeStack(70);
  const void* second = Access::chunk(*stack, 1);
  const void* third = Access::chunk(*stack, 2);
  ASSERT_EQ(Access::capacity(*stack), 96u);

  Access::clear(*stack);
  EXPECT_EQ(Access::size(*stack), 0u);
  for (std::uint32_t i = 0; i < 40; ++i) Access::push(*stack, 0x9000 + i);
  EXPECT_EQ(Access::size(*stack), 40u);
  EXPECT_EQ(Access::capacity(*stack), 96u);
  EXPECT_EQ(Access::chunk(*stack, 1), second);
  EXPECT_EQ(Access::chunk(*stack, 2), third);
  EXPECT_EQ(Access::at(*stack, 0), 0x9000u);
  EXPECT_EQ(Access::at(*stack, 39), 0x9000u + 39);

  // Past the kept chunks it grows again.
  for (std::uint32_t i = 40; i < 100; ++i) Access::push(*stack, 0x9000 + i);
  EXPECT_EQ(Access::capacity(*stack), 128u);
  EXPECT_EQ(Access::at(*stack, 99), 0x9000u + 99);
}

TEST(CallStackStorage, EqualityComparesSizeAndEveryEntry) {
  StackHolder a = madeStack(40);
  StackHolder b = madeStack(40);
  StackHolder shorter = madeStack(39);
  EXPECT_TRUE(Access::equal(*a, *b));
  EXPECT_FALSE(Access::equal(*a, *shorter));

  // A difference in the second chunk counts.
  Access::clear(*b);
  for (std::uint32_t i = 0; i < 40; ++i) Access::push(*b, i == 35 ? 0xBAD : 0x1000 + i);
  EXPECT_FALSE(Access::equal(*a, *b));

  // A stack that was cleared and refilled equals a fresh one.
  Access::clear(*b);
  for (std::uint32_t i = 0; i < 40; ++i) Access::push(*b, 0x1000 + i);
  EXPECT_TRUE(Access::equal(*a, *b));
}

TEST(CallStackStorage, LastReferenceFrees) {
  CallStack* stack = CallStack::getCallStack_fast();
  ASSERT_NE(stack, nullptr);
  EXPECT_EQ(Access::references(*stack), 1);
  stack->addRef();
  stack->destroy();
  // Still alive after the first release; the sanitizer builds would see a
  // use after free here otherwise.
  EXPECT_EQ(Access::references(*stack), 1);
  stack->destroy();
}

TEST(CallStackStorage, ReferencesFromManyThreadsBalance) {
  CallStack* stack = CallStack::getCallStack();
  ASSERT_NE(stack, nullptr);
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
  EXPECT_EQ(Access::references(*stack), 1);
  stack->destroy();
}

// ---- Dump ------------------------------------------------------------------

TEST(CallStackDump, EmptyStackReportsTheHeadingAlone) {
  StackHolder stack = madeStack(0);
  LineCollector collector;
  stack->dump(collector);
  EXPECT_EQ(collector.lines, std::vector<std::string>{"Call Stack:"});
}

TEST(CallStackDump, UnknownAddressesGiveTheAddressForm) {
  StackHolder stack = madeStack(0);
  const std::uintptr_t wide = static_cast<std::uintptr_t>(0x7A5B3C2D1E0F1234ull);
  Access::push(*stack, 0x1235);
  Access::push(*stack, wide);
  LineCollector collector;
  stack->dump(collector);
  ASSERT_EQ(collector.lines.size(), 3u);
  EXPECT_EQ(collector.lines[1],
            "    0x00001235 (File and line number not available): (Function name unavailable)");
  // Addresses keep their full width.
  EXPECT_EQ(collector.lines[2], "    0x7A5B3C2D1E0F1234 (File and line number not available): "
                                "(Function name unavailable)");
}

TEST(CallStackDump, ExportedFunctionWithoutLineInformationIsNamed) {
  // qsort lives in the C library, which has a dynamic symbol for it but, as
  // installed, no line table: the name comes without file and line.
  const auto qsortAddress = cLibraryFunction("qsort");
  ASSERT_NE(qsortAddress, 0u);
  StackHolder stack = madeStack(0);
  Access::push(*stack, qsortAddress + 4);
  LineCollector collector;
  stack->dump(collector);
  ASSERT_EQ(collector.lines.size(), 2u);
  const std::string& line = collector.lines[1];
  if (contains(line, "File and line number not available")) {
    EXPECT_EQ(line, "    " + formatAddress(qsortAddress + 4) +
                        " (File and line number not available): qsort");
  } else {
    // A machine with the C library's debug information installed.
    EXPECT_TRUE(contains(line, "): qsort")) << line;
  }
}

// The capture sites below are kept out of line and out of tail position, so
// that each leaves a frame of its own with a known line.
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

// Index of the first line that contains `part`, or -1.
int findLine(const std::vector<std::string>& lines, const std::string& part) {
  for (std::size_t i = 0; i < lines.size(); ++i) {
    if (contains(lines[i], part)) return static_cast<int>(i);
  }
  return -1;
}

void expectOwnFramesWithFileAndLine(bool fast) {
  ASSERT_TRUE(DebugHelper::getDebugHelper().isLoaded())
      << "libdw.so.1 is needed to read this program's debug information";
  StackHolder stack(captureOuter(fast));
  ASSERT_NE(stack.stack, nullptr);
  LineCollector collector;
  stack->dump(collector);
  const auto& lines = collector.lines;
  ASSERT_GE(lines.size(), 3u);
  EXPECT_EQ(lines[0], "Call Stack:");

  const std::string innerLine = "CallStackTest.cpp (" + std::to_string(innerCaptureLine) + "): ";
  const std::string outerLine = "CallStackTest.cpp (" + std::to_string(outerCallLine) + "): ";
  const int inner = findLine(lines, innerLine);
  const int outer = findLine(lines, outerLine);
  ASSERT_GE(inner, 0) << testing::PrintToString(lines);
  ASSERT_GE(outer, 0) << testing::PrintToString(lines);
  // Innermost first, and nothing of the capture code above the caller.
  EXPECT_EQ(inner, 1) << testing::PrintToString(lines);
  EXPECT_EQ(outer, inner + 1);
  EXPECT_TRUE(contains(lines[inner], "captureInner(bool)")) << lines[inner];
  EXPECT_TRUE(contains(lines[outer], "captureOuter(bool)")) << lines[outer];
  for (const std::string& line : lines) {
    EXPECT_FALSE(contains(line, "/CallStack.cpp")) << line;
    EXPECT_FALSE(contains(line, "StackWalk")) << line;
    EXPECT_FALSE(contains(line, "@@")) << "symbol versions are not part of a name: " << line;
  }
}

TEST(CallStackDump, UnwinderCaptureShowsOwnFunctionsFilesAndLines) {
  expectOwnFramesWithFileAndLine(false);
}

TEST(CallStackDump, FramePointerCaptureShowsOwnFunctionsFilesAndLines) {
  expectOwnFramesWithFileAndLine(true);
}

TEST(CallStackDump, BothCapturesAgreeOnTheCallers) {
  // Both captured through the same call sites, from captureOuter outwards:
  // a loop of a count unknown to the compiler, which it cannot unroll into
  // two calls.
  std::vector<StackHolder> stacks;
  volatile int captures = 2;
  for (int i = 0; i < captures; ++i) stacks.emplace_back(captureOuter(i == 1));
  ASSERT_NE(stacks[0].stack, nullptr);
  ASSERT_NE(stacks[1].stack, nullptr);
  // The frame walk stops at the first frame without a frame pointer, the
  // unwinder does not: what the walk found from captureOuter on, the unwinder
  // found too, in the same order.
  const std::vector<std::uintptr_t> full = Access::entries(*stacks[0]);
  const std::vector<std::uintptr_t> fast = Access::entries(*stacks[1]);
  ASSERT_GE(fast.size(), 4u);
  const std::vector<std::uintptr_t> callers(fast.begin() + 2, fast.end());
  EXPECT_NE(std::search(full.begin(), full.end(), callers.begin(), callers.end()), full.end());
  EXPECT_GT(full.size(), fast.size());
}

TEST(CallStackDump, CaptureOnAnotherThreadSeesThatThread) {
  CallStack* captured = nullptr;
  std::thread worker([&captured] { captured = captureOuter(true); });
  worker.join();
  StackHolder stack(captured);
  ASSERT_NE(stack.stack, nullptr);
  LineCollector collector;
  stack->dump(collector);
  EXPECT_GE(findLine(collector.lines, "captureInner(bool)"), 1);
  EXPECT_GE(findLine(collector.lines, "captureOuter(bool)"), 1);
}

TEST(CallStackDump, ConsoleAndDebuggerPutTheLineBreakFirst) {
  StackHolder stack = madeStack(1, 0x4321);
  {
    CapturedStream out(STDOUT_FILENO);
    DumpCallStack_Console console;
    stack->dump(console);
    EXPECT_EQ(out.text(), "\nCall Stack:\n    0x00004321 (File and line number not available): "
                          "(Function name unavailable)");
  }
  {
    CapturedStream err(STDERR_FILENO);
    DumpCallStack_VS debugger;
    stack->dump(debugger);
    EXPECT_EQ(err.text(), "\nCall Stack:\n    0x00004321 (File and line number not available): "
                          "(Function name unavailable)");
  }
}

TEST(CallStackDump, LogCallbackSendsEachLineToDebug) {
  StackHolder stack = madeStack(2, 0x10);
  LogRecorder recorder;
  DumpCallStack_Log toLog;
  stack->dump(toLog);
  ASSERT_EQ(recorder.debug.size(), 3u);
  EXPECT_EQ(recorder.debug[0], L"Call Stack:");
  EXPECT_EQ(recorder.debug[1],
            L"    0x00000010 (File and line number not available): (Function name unavailable)");
  EXPECT_TRUE(recorder.errors.empty());
}

// ---- Frame-pointer walk ----------------------------------------------------

// A made-up stack: records of two words, (saved frame pointer, return
// address), in an array that stands for the stack's region.
class FakeStack {
 public:
  FakeStack() : words(64, 0) {}
  std::uintptr_t addressOf(std::size_t word) const {
    return reinterpret_cast<std::uintptr_t>(&words[word]);
  }
  void record(std::size_t word, std::uintptr_t next, std::uintptr_t returnAddress) {
    words[word] = next;
    words[word + 1] = returnAddress;
  }
  platform::StackBounds bounds() const {
    return {addressOf(0), addressOf(0) + words.size() * sizeof(std::uintptr_t)};
  }
  std::vector<std::uintptr_t> walk(std::size_t startWord) const {
    std::vector<std::uintptr_t> found;
    platform::walkFramePointers(addressOf(startWord), bounds(),
                                [&found](std::uintptr_t address) { found.push_back(address); });
    return found;
  }
  std::vector<std::uintptr_t> words;
};

TEST(FramePointerWalk, FollowsTheChainAndLeavesOutTheOutermostRecord) {
  FakeStack stack;
  stack.record(4, stack.addressOf(10), 0xA1);
  stack.record(10, stack.addressOf(20), 0xA2);
  stack.record(20, 0, 0xA3);  // The end of the chain.
  EXPECT_EQ(stack.walk(4), (std::vector<std::uintptr_t>{0xA1, 0xA2}));
}

TEST(FramePointerWalk, StopsAtABrokenLink) {
  FakeStack stack;
  stack.record(10, stack.addressOf(20), 0xB1);

  stack.record(20, stack.addressOf(4), 0xB2);  // Back towards the top of the stack.
  EXPECT_EQ(stack.walk(10), std::vector<std::uintptr_t>{0xB1});

  stack.record(20, stack.addressOf(20), 0xB2);  // A record that points at itself.
  EXPECT_EQ(stack.walk(10), std::vector<std::uintptr_t>{0xB1});

  stack.record(20, stack.addressOf(30) + 3, 0xB2);  // Not aligned.
  EXPECT_EQ(stack.walk(10), std::vector<std::uintptr_t>{0xB1});

  stack.record(20, stack.bounds().high, 0xB2);  // Just past the region.
  EXPECT_EQ(stack.walk(10), std::vector<std::uintptr_t>{0xB1});

  stack.record(20, stack.addressOf(63), 0xB2);  // A record that would straddle the end.
  EXPECT_EQ(stack.walk(10), std::vector<std::uintptr_t>{0xB1});

  stack.record(20, ~std::uintptr_t{0} - 7, 0xB2);  // Far away, near the top of memory.
  EXPECT_EQ(stack.walk(10), std::vector<std::uintptr_t>{0xB1});
}

TEST(FramePointerWalk, StartOutsideTheRegionFindsNothing) {
  FakeStack stack;
  stack.record(10, stack.addressOf(20), 0xC1);
  EXPECT_TRUE(stack.walk(63).empty());
  std::vector<std::uintptr_t> found;
  platform::walkFramePointers(stack.bounds().high + 64, stack.bounds(),
                              [&found](std::uintptr_t address) { found.push_back(address); });
  EXPECT_TRUE(found.empty());
}

// Captures with this function's own saved frame pointer overwritten by
// `corrupt`, then puts it back before returning through it.
__attribute__((noinline)) std::uint32_t captureWithCorruptFrame(std::uintptr_t corrupt, bool fast) {
  auto* record = static_cast<volatile std::uintptr_t*>(__builtin_frame_address(0));
  const std::uintptr_t saved = record[0];
  record[0] = corrupt;
  asm volatile("" ::: "memory");
  CallStack* stack = fast ? CallStack::getCallStack_fast() : CallStack::getCallStack();
  asm volatile("" ::: "memory");
  record[0] = saved;
  asm volatile("" ::: "memory");
  if (!stack) return 0;
  const std::uint32_t size = Access::size(*stack);
  stack->destroy();
  return size;
}

// Frame-pointer values that lead nowhere, for a walk on the calling thread.
std::vector<std::uintptr_t> pointersIntoNowhere() {
  platform::StackBounds bounds;
  const std::uintptr_t here = platform::currentFramePointer();
  if (!platform::stackBoundsOf(here, bounds)) return {};
  return {
      bounds.high + (1u << 20),                            // past the thread's stack
      bounds.high - 8,                                     // a record cut by the end
      static_cast<std::uintptr_t>(0xDEAD0000BEEF0000ull),  // unmapped
      ~std::uintptr_t{0} & ~std::uintptr_t{15},            // the top of the address space
      here + 12,                                           // above, but not aligned
      0x10,                                                // below every frame
  };
}

TEST(FramePointerWalk, CorruptChainOnAThreadEndsTheWalk) {
  std::vector<std::uint32_t> sizes;
  std::uint32_t intactSize = 0;
  std::thread worker([&] {
    intactSize = captureWithCorruptFrame(0, true);  // Zero: a regular end of the chain.
    for (std::uintptr_t corrupt : pointersIntoNowhere()) {
      sizes.push_back(captureWithCorruptFrame(corrupt, true));
    }
  });
  worker.join();
  // The walk reaches the corrupt frame and goes no further: the capture's
  // own frame and the corrupt function's are all it records.
  ASSERT_EQ(sizes.size(), 6u);
  for (std::uint32_t size : sizes) EXPECT_EQ(size, intactSize);
  EXPECT_EQ(intactSize, 2u);
}

TEST(UnwinderWalk, FramePointerIntoUnmappedMemoryEndsTheWalk) {
  // The unwinder reads what the call-frame tables point it to; a saved frame
  // pointer that nothing is mapped at must end its walk, not fault in it.
  std::vector<std::uint32_t> sizes;
  std::thread worker([&] {
    for (std::uintptr_t corrupt : {static_cast<std::uintptr_t>(0xDEAD0000BEEF0000ull),
                                   ~std::uintptr_t{0} & ~std::uintptr_t{15},
                                   std::uintptr_t{0x10}}) {
      sizes.push_back(captureWithCorruptFrame(corrupt, false));
    }
  });
  worker.join();
  ASSERT_EQ(sizes.size(), 3u);
  // It gets as far as the corrupt function, whose caller it cannot find.
  for (std::uint32_t size : sizes) EXPECT_GE(size, 4u);
}

}  // namespace
}  // namespace orvo
