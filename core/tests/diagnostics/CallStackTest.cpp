// CallStack and DebugHelper: the chunked storage, the two captures and the
// walks along a broken chain, the dump and its callbacks, and the debug
// library that resolves addresses.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <orvo/core/DebugHelper.h>
#include <signal.h>

#include <algorithm>
#include <functional>
#include <latch>
#include <thread>

#include "diagnostics/DebugSymbols.h"
#include "diagnostics/DiagnosticsSupport.h"
#include "platform/StackWalk.h"
#include "platform/Symbols.h"

namespace orvo {
namespace {

using Addresses = std::vector<std::uintptr_t>;

int chunksAllocated = 0;
void* countingAllocator(std::size_t bytes) { return ++chunksAllocated, std::malloc(bytes); }
void* failingAllocator(std::size_t) { return nullptr; }

Addresses entries(const CallStackFrames& stack) {
  Addresses all;
  for (std::uint32_t i = 0; i < stack.size(); ++i) all.push_back(stack[i]);
  return all;
}

Addresses counting(std::uintptr_t first, std::size_t count) {
  Addresses values(count);
  for (std::size_t i = 0; i < count; ++i) values[i] = first + i;
  return values;
}

void pushAll(const OwnedStack& stack, const Addresses& values,
             CallStackFrames::ChunkAllocator allocator = &countingAllocator) {
  for (std::uintptr_t value : values) frames(stack).push(value, allocator);
}

TEST(CallStackStorage, ChunksGrowOneAtATimeAndClearKeepsThem) {
  const OwnedStack stack = madeStack({});
  chunksAllocated = 0;
  pushAll(stack, counting(0x1000, 70));
  EXPECT_EQ(chunksAllocated, 2);  // The first 32 entries live in the object.
  EXPECT_EQ(frames(stack).capacity(), 96u);
  EXPECT_EQ(entries(frames(stack)), counting(0x1000, 70));
  frames(stack).clear();
  pushAll(stack, counting(0x9000, 97));
  EXPECT_EQ(chunksAllocated, 3);  // The kept chunks took 96 of them.
  EXPECT_EQ(entries(frames(stack)), counting(0x9000, 97));
}

TEST(CallStackStorage, NoMemoryForAChunkEndsTheStackWithoutAGap) {
  const OwnedStack stack = madeStack({});
  pushAll(stack, counting(1, 33), &failingAllocator);
  pushAll(stack, {34});  // Memory again: the stack has ended all the same.
  EXPECT_EQ(entries(frames(stack)), counting(1, 32));
  frames(stack).clear();  // A new capture starts afresh.
  pushAll(stack, counting(1, 40));
  EXPECT_EQ(entries(frames(stack)), counting(1, 40));
}

TEST(CallStackStorage, EqualityComparesSizeAndEveryEntry) {
  const OwnedStack base = madeStack(counting(0x1000, 40)), shorter = madeStack(counting(0x1000, 39));
  EXPECT_FALSE(frames(base) == frames(shorter) || frames(shorter) == frames(base));
  for (int changed : {-1, 0, 31, 32, 39}) {  // -1: none.
    Addresses values = counting(0x1000, 40);
    if (changed >= 0) values[static_cast<std::size_t>(changed)] ^= 0x10;
    EXPECT_EQ(frames(base) == frames(madeStack(values)), changed < 0) << changed;
  }
}

TEST(CallStackStorage, LastOfTheReferencesOfManyThreadsFrees) {
  CallStack* stack = CallStack::getCallStack();
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([stack] {
      for (int i = 0; i < 10000; ++i) stack->addRef(), stack->destroy();
    });
  }
  for (auto& thread : threads) thread.join();
  // Still alive; the sanitizer builds would see a use after free otherwise.
  EXPECT_EQ(CallStackFrames::of(*stack).references(), 1);
  stack->destroy();
}

// The capture sites are kept out of line and out of tail position, so that
// each leaves a frame of its own with a known line.
int innerLine = 0, outerLine = 0;

__attribute__((noinline)) CallStack* captureInner(bool fast) {
  innerLine = __LINE__ + 1;
  CallStack* stack = fast ? CallStack::getCallStack_fast() : CallStack::getCallStack();
  asm volatile("" ::: "memory");
  return stack;
}

__attribute__((noinline)) CallStack* captureOuter(bool fast) {
  outerLine = __LINE__ + 1;
  CallStack* stack = captureInner(fast);
  asm volatile("" ::: "memory");
  return stack;
}

const std::string kIn = "orvo::(anonymous namespace)::captureInner(bool)",
                  kOut = "orvo::(anonymous namespace)::captureOuter(bool)";
bool endsWith(const std::string& line, const std::string& end) {
  return line.rfind("    /", 0) == 0 && line.ends_with(end);  // Indented, with the full path.
}

std::vector<std::string> dumpOf(const OwnedStack& stack) {
  struct : CallStack::Callback {
    void report(const char* line) override { lines.emplace_back(line); }
    std::vector<std::string> lines;
  } collector;
  stack->dump(collector);
  return collector.lines;
}

// Runs `work` in a signal handler on an alternate signal stack of this thread.
void onAlternateSignalStack(const std::function<void()>& work) {
  static const std::function<void()>* pending = nullptr;
  std::vector<char> memory(64 * 1024);
  const stack_t alternate{memory.data(), 0, memory.size()};
  stack_t previousStack;
  ASSERT_EQ(sigaltstack(&alternate, &previousStack), 0);
  struct sigaction action = {}, previousAction;
  action.sa_handler = [](int) { (*pending)(); };
  action.sa_flags = SA_ONSTACK;
  sigemptyset(&action.sa_mask);
  pending = &work;
  sigaction(SIGUSR2, &action, &previousAction);
  raise(SIGUSR2);
  sigaction(SIGUSR2, &previousAction, nullptr);
  sigaltstack(&previousStack, nullptr);
}

TEST(CallStackDump, BothCapturesShowTheCallersWithFilesAndLinesOnAnyThreadAndSignalStack) {
  ASSERT_TRUE(DebugHelper::getDebugHelper().isLoaded()) << "libdw.so.1 is needed";
  // ThreadSanitizer reports the capture's allocation in any signal handler.
  for (int run = 0; run < (kThreadSanitizer ? 4 : 6); ++run) {
    CallStack* captured = nullptr;
    const std::function<void()> capture = [&] { captured = captureOuter(run & 1); };
    run < 2 ? capture() : (run < 4 ? std::thread(capture).join() : onAlternateSignalStack(capture));
    const std::vector<std::string> lines = dumpOf(OwnedStack(captured));
    // Innermost first, with nothing of the capture code above the caller.
    ASSERT_GE(lines.size(), 3u);
    EXPECT_EQ(lines[0], "Call Stack:");
    EXPECT_PRED2(endsWith, lines[1], "CallStackTest.cpp (" + std::to_string(innerLine) + "): " + kIn);
    EXPECT_PRED2(endsWith, lines[2], "CallStackTest.cpp (" + std::to_string(outerLine) + "): " + kOut);
  }
}

TEST(CallStackDump, UnresolvedAddressesKeepTheirFullWidthInEveryCallback) {
  EXPECT_EQ(dumpOf(madeStack({})), std::vector<std::string>{"Call Stack:"});
  const std::string unresolved = " (File and line number not available): (Function name unavailable)";
  EXPECT_EQ(dumpOf(madeStack({0x10, 0x7A5B3C2D1E0F1234u})),
            (std::vector<std::string>{"Call Stack:", "    0x00000010" + unresolved,
                                      "    0x7A5B3C2D1E0F1234" + unresolved}));
  const OwnedStack stack = madeStack({0x10});
  const std::string frame = "    0x00000010" + unresolved;
  DumpCallStack_Console console;
  DumpCallStack_VS debugger;
  for (CallStack::Callback* callback : std::initializer_list<CallStack::Callback*>{&console, &debugger}) {
    CapturedStream captured(callback == &console ? STDOUT_FILENO : STDERR_FILENO);
    stack->dump(*callback);
    EXPECT_EQ(captured.text(), "\nCall Stack:\n" + frame);  // The break comes first.
  }
  LogCollector log;
  DumpCallStack_Log toLog;
  stack->dump(toLog);
  EXPECT_EQ(log.debug, (Texts{L"Call Stack:", std::wstring(frame.begin(), frame.end())}));
}

TEST(FramePointerWalk, FollowsTheChainUpToTheFirstBadLinkAndLeavesOutTheLastRecord) {
  std::uintptr_t words[64] = {};  // Records of (saved frame pointer, return address).
  auto at = [&words](std::size_t word) { return reinterpret_cast<std::uintptr_t>(&words[word]); };
  auto walkFrom = [&](std::uintptr_t start) {
    Addresses found;
    platform::walkFramePointers(start, {at(0), at(64)}, [&](std::uintptr_t a) { found.push_back(a); });
    return found;
  };
  words[4] = at(10), words[5] = 0xA1, words[10] = at(20), words[11] = 0xA2, words[21] = 0xA3;
  EXPECT_EQ(walkFrom(at(4)), (Addresses{0xA1, 0xA2}));
  EXPECT_EQ(walkFrom(at(63)), Addresses{});  // A record cut by the end.
  EXPECT_EQ(walkFrom(at(64) + 64), Addresses{});
  // Backwards, to itself, unaligned, just past the end, straddling the end,
  // far away near the top of memory.
  for (std::uintptr_t bad : {at(4), at(20), at(30) + 3, at(64), at(63), ~std::uintptr_t{7}}) {
    words[20] = bad;
    EXPECT_EQ(walkFrom(at(10)), Addresses{0xA2}) << bad;
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
  return frames(stack).size();
}

TEST(FramePointerWalk, CorruptChainOnAThreadEndsBothWalksAtTheCorruptFrame) {
  std::thread([] {
    platform::StackBounds stack;
    ASSERT_TRUE(platform::stackBoundsOf(platform::currentFramePointer(), stack));
    // Unreadable: unmapped, the top of memory, below every frame. Readable
    // memory misleads the unwinder as it does the C library's backtrace, so
    // the rest are for the frame-pointer walk only: zero (a regular end),
    // past the stack, cut by its end, unaligned.
    const std::uintptr_t nowhere[] = {0xDEAD0000BEEF0000u, ~std::uintptr_t{15}, 0x10};
    for (std::uintptr_t corrupt : nowhere) EXPECT_GE(captureWithCorruptFrame(corrupt, false), 4u);
    for (std::uintptr_t corrupt :
         {nowhere[0], nowhere[1], nowhere[2], std::uintptr_t{0}, stack.high + (1u << 20), stack.high - 8,
          platform::currentFramePointer() + 12}) {
      // The capture's own frame and the corrupt function's are all it records.
      EXPECT_EQ(captureWithCorruptFrame(corrupt, true), 2u) << corrupt;
    }
  }).join();
}

TEST(DebugHelper, FailedLoadsAreLoggedByNameAndLeaveTheExportedSymbols) {
  void* libc = dlopen("libc.so.6", RTLD_NOW | RTLD_NOLOAD);  // Its qsort, not a sanitizer's.
  const auto qsort = reinterpret_cast<std::uintptr_t>(dlsym(libc, "qsort")) + 1;
  dlclose(libc);
  const auto own = reinterpret_cast<std::uintptr_t>(&captureInner) + 1;
  const std::pair<const char*, const wchar_t*> loads[] = {
      {"libnone.so.9", L"DebugHelper: Unable to load libnone.so.9."},
      {"libm.so.6",
       L"DebugHelper: The procedure entry point dwfl_begin could not be located in "
       L"the dynamic link library libm.so.6."}};  // The first one looked up.
  for (const auto& [library, message] : loads) {
    LogCollector log;
    platform::DwarfLibrary debugLibrary;
    detail::openDebugLibrary(debugLibrary, library);
    EXPECT_FALSE(debugLibrary.isLoaded());
    EXPECT_EQ(log.errors, Texts{message});
    std::string name, file;
    int line = 0;
    EXPECT_TRUE(detail::functionName(debugLibrary, qsort, name) && name == "qsort") << name;
    // A function of this program is not exported: no name, no line.
    EXPECT_FALSE(detail::functionName(debugLibrary, own, name));
    EXPECT_FALSE(debugLibrary.fileAndLine(own, file, line));
  }
  std::string name;  // The full symbol table names it, without a symbol version.
  EXPECT_TRUE(DebugHelper::getDebugHelper().getFunctionName(qsort, name) && name == "qsort");
  EXPECT_EQ(platform::demangle("_Z"), "_Z");  // Broken: kept as it is.
}

TEST(DebugHelper, OneInstanceForAllThreadsFindsModulesLoadedLater) {
  std::vector<DebugHelper*> seen(16);
  std::vector<std::thread> threads;
  std::latch ready(16);  // All at once, so that some wait while the first makes it.
  for (auto& slot : seen) {
    threads.emplace_back([&] { ready.arrive_and_wait(), slot = &DebugHelper::getDebugHelper(); });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(std::count(seen.begin(), seen.end(), &DebugHelper::getDebugHelper()), 16);
  platform::DwarfLibrary symbols;  // One of its own: no exported symbols to fall back on.
  detail::openDebugLibrary(symbols, "libdw.so.1");
  std::string name;
  ASSERT_TRUE(symbols.functionName(reinterpret_cast<std::uintptr_t>(&captureInner) + 1, name));
  void* module = dlopen("libcrypt.so.1", RTLD_NOW | RTLD_LOCAL);  // Not loaded until now.
  ASSERT_NE(module, nullptr);
  EXPECT_TRUE(symbols.functionName(reinterpret_cast<std::uintptr_t>(dlsym(module, "crypt")) + 1, name));
  EXPECT_EQ(name, "crypt");
  dlclose(module);
  EXPECT_TRUE(setUpWindowsHook());  // No such hooks here: nothing to set up or remove.
  tearDownWindowsHook();
}

}  // namespace
}  // namespace orvo
