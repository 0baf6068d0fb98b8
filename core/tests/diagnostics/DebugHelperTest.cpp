// DebugHelper: loading the debug library at run time, what it resolves, and
// how the library gets along without it.
#include <gtest/gtest.h>

#include <dlfcn.h>

#include <cstdlib>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include <orvo/core/DebugHelper.h>

#include "diagnostics/DiagnosticsSupport.h"
#include "platform/Symbols.h"

namespace orvo {
namespace {

// resolvedFunction notes the return address of one of its calls, and the
// line of that call.
std::uintptr_t notedReturnAddress = 0;
int notedLine = 0;

__attribute__((noinline)) void noteReturnAddress() {
  notedReturnAddress = reinterpret_cast<std::uintptr_t>(__builtin_return_address(0));
  asm volatile("" ::: "memory");
}

__attribute__((noinline)) int resolvedFunction(int value) {
  notedLine = __LINE__ + 1;
  noteReturnAddress();
  asm volatile("" ::: "memory");
  return value * 3 + 1;
}

// An address inside the call that resolvedFunction makes.
std::uintptr_t addressInResolvedFunction() {
  resolvedFunction(1);
  return notedReturnAddress - 1;
}

TEST(DebugHelperLoad, MissingLibraryIsLoggedByName) {
  LogRecorder recorder;
  auto helper = DebugHelperTest::load("libdoes-not-exist.so.9");
  EXPECT_FALSE(helper->isLoaded());
  ASSERT_EQ(recorder.errors.size(), 1u);
  EXPECT_EQ(recorder.errors[0], L"DebugHelper: Unable to load libdoes-not-exist.so.9.");
}

TEST(DebugHelperLoad, MissingEntryPointIsLoggedByNameAndStopsTheLookUp) {
  LogRecorder recorder;
  // The maths library loads, but has none of the debug library's functions:
  // the first one looked up is the one reported, and the only message.
  auto helper = DebugHelperTest::load("libm.so.6");
  EXPECT_FALSE(helper->isLoaded());
  ASSERT_EQ(recorder.errors.size(), 1u);
  EXPECT_EQ(recorder.errors[0],
            L"DebugHelper: The procedure entry point dwfl_begin could not be located in the "
            L"dynamic link library libm.so.6.");
}

TEST(DebugHelperLoad, WithoutTheLibraryNamesComeFromExportedSymbols) {
  LogRecorder recorder;
  auto helper = DebugHelperTest::load("libdoes-not-exist.so.9");
  std::string name;
  EXPECT_TRUE(helper->getFunctionName(cLibraryFunction("qsort") + 1, name));
  EXPECT_EQ(name, "qsort");

  // A function of this program is not exported: no name, no line.
  std::string file;
  int line = 0;
  EXPECT_FALSE(helper->getFunctionName(addressInResolvedFunction(), name));
  EXPECT_FALSE(helper->getFileAndLine(addressInResolvedFunction(), file, line));
}

TEST(DebugHelperLoad, SymbolNamesAreDemangled) {
  EXPECT_EQ(platform::demangle("_ZN4orvo3Log5errorEPKwz"), "orvo::Log::error(wchar_t const*, ...)");
  EXPECT_EQ(platform::demangle("qsort"), "qsort");
  EXPECT_EQ(platform::demangle("_Z"), "_Z");  // Broken: kept as it is.
}

TEST(DebugHelperLoad, ProcessInstanceResolvesThisProgram) {
  DebugHelper& helper = DebugHelper::getDebugHelper();
  ASSERT_TRUE(helper.isLoaded()) << "libdw.so.1 must be installed";
  std::string name;
  std::string file;
  int line = 0;
  ASSERT_TRUE(helper.getFunctionName(addressInResolvedFunction(), name));
  // The optimiser may have made a specialised copy: "... [clone .isra.0]".
  EXPECT_EQ(name.rfind("orvo::(anonymous namespace)::resolvedFunction(int)", 0), 0u) << name;
  ASSERT_TRUE(helper.getFileAndLine(addressInResolvedFunction(), file, line));
  EXPECT_TRUE(file.size() > 20 && file.compare(file.size() - 20, 20, "/DebugHelperTest.cpp") == 0)
      << file;
  EXPECT_EQ(line, notedLine);
}

TEST(DebugHelperLoad, LibraryLoadedAfterTheFirstLookUpIsFound) {
  DebugHelper& helper = DebugHelper::getDebugHelper();
  std::string name;
  ASSERT_TRUE(helper.getFunctionName(addressInResolvedFunction(), name));
  // A module that this process had not loaded at the first look-up.
  void* module = dlopen("libz.so.1", RTLD_NOW | RTLD_LOCAL);
  if (!module) GTEST_SKIP() << "no libz.so.1 on this machine";
  void* symbol = dlsym(module, "zlibVersion");
  ASSERT_NE(symbol, nullptr);
  EXPECT_TRUE(helper.getFunctionName(reinterpret_cast<std::uintptr_t>(symbol) + 1, name));
  EXPECT_EQ(name, "zlibVersion");
  dlclose(module);
}

TEST(DebugHelperLoad, OneInstanceForAllThreads) {
  std::vector<DebugHelper*> seen(4, nullptr);
  const std::uintptr_t address = addressInResolvedFunction();
  std::vector<std::thread> threads;
  for (std::size_t i = 0; i < seen.size(); ++i) {
    threads.emplace_back([&seen, i, address] {
      DebugHelper& helper = DebugHelper::getDebugHelper();
      std::string name;
      EXPECT_TRUE(helper.getFunctionName(address, name));
      seen[i] = &helper;
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(std::set<DebugHelper*>(seen.begin(), seen.end()).size(), 1u);
  EXPECT_EQ(seen[0], &DebugHelper::getDebugHelper());
}

TEST(DebugHelperLoad, WindowsInputHooksHaveNothingToDo) {
  EXPECT_TRUE(setUpWindowsHook());
  tearDownWindowsHook();
  tearDownWindowsHook();
  EXPECT_TRUE(setUpWindowsHook());
}

}  // namespace
}  // namespace orvo
