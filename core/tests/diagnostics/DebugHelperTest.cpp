// DebugHelper: loading the debug library at run time, what it resolves, and
// how names are still found without it.
#include <gtest/gtest.h>

#include <dlfcn.h>

#include <set>
#include <string>
#include <thread>
#include <vector>

#include <orvo/core/DebugHelper.h>

#include "diagnostics/DebugSymbols.h"
#include "diagnostics/DiagnosticsSupport.h"
#include "diagnostics/LogCollector.h"
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

std::uintptr_t addressInResolvedFunction() {
  resolvedFunction(1);
  return notedReturnAddress - 1;  // Inside the call.
}

TEST(DebugHelper, FailedLoadsAreLoggedByNameAndLeaveTheExportedSymbols) {
  const std::pair<const char*, const wchar_t*> cases[] = {
      {"libdoes-not-exist.so.9", L"DebugHelper: Unable to load libdoes-not-exist.so.9."},
      // The maths library has none of the entry points: the first is named.
      {"libm.so.6", L"DebugHelper: The procedure entry point dwfl_begin could not be located in the "
                    L"dynamic link library libm.so.6."}};
  for (const auto& [library, message] : cases) {
    LogCollector log;
    platform::DwarfLibrary debugLibrary;
    detail::openDebugLibrary(debugLibrary, library);
    EXPECT_FALSE(debugLibrary.isLoaded());
    EXPECT_EQ(log.errors, std::vector<std::wstring>{message});
    std::string name, file;
    int line = 0;
    EXPECT_TRUE(detail::functionName(debugLibrary, cLibraryFunction("qsort") + 1, name));
    EXPECT_EQ(name, "qsort");
    // A function of this program is not exported: no name, no line.
    EXPECT_FALSE(detail::functionName(debugLibrary, addressInResolvedFunction(), name));
    EXPECT_FALSE(debugLibrary.fileAndLine(addressInResolvedFunction(), file, line));
  }
}

TEST(DebugHelper, SymbolNamesAreDemangled) {
  EXPECT_EQ(platform::demangle("_ZN4orvo3Log5errorEPKwz"), "orvo::Log::error(wchar_t const*, ...)");
  EXPECT_EQ(platform::demangle("qsort"), "qsort");
  EXPECT_EQ(platform::demangle("_Z"), "_Z");  // Broken: kept as it is.
}

TEST(DebugHelper, OneInstanceForAllThreadsResolvesThisProgram) {
  std::vector<DebugHelper*> seen(4, nullptr);
  std::vector<std::thread> threads;
  const std::uintptr_t address = addressInResolvedFunction();
  for (std::size_t i = 0; i < seen.size(); ++i) {
    threads.emplace_back([&seen, i, address] {
      DebugHelper& helper = DebugHelper::getDebugHelper();
      ASSERT_TRUE(helper.isLoaded()) << "libdw.so.1 must be installed";
      std::string name, file;
      int line = 0;
      ASSERT_TRUE(helper.getFunctionName(address, name));
      // The optimiser may have made a specialised copy: "... [clone .isra.0]".
      EXPECT_EQ(name.rfind("orvo::(anonymous namespace)::resolvedFunction(int)", 0), 0u) << name;
      ASSERT_TRUE(helper.getFileAndLine(address, file, line));
      EXPECT_TRUE(file.ends_with("/DebugHelperTest.cpp")) << file;
      EXPECT_EQ(line, notedLine);
      seen[i] = &helper;
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(std::set<DebugHelper*>(seen.begin(), seen.end()), std::set<DebugHelper*>{&DebugHelper::getDebugHelper()});
}

TEST(DebugHelper, LibraryLoadedAfterTheFirstLookUpIsFound) {
  std::string name;
  ASSERT_TRUE(DebugHelper::getDebugHelper().getFunctionName(addressInResolvedFunction(), name));
  void* module = dlopen("libz.so.1", RTLD_NOW | RTLD_LOCAL);
  if (!module) GTEST_SKIP() << "no libz.so.1 on this machine";
  void* symbol = dlsym(module, "zlibVersion");
  ASSERT_NE(symbol, nullptr);
  EXPECT_TRUE(DebugHelper::getDebugHelper().getFunctionName(reinterpret_cast<std::uintptr_t>(symbol) + 1, name));
  EXPECT_EQ(name, "zlibVersion");
  dlclose(module);
}

TEST(DebugHelper, WindowsInputHooksHaveNothingToDo) {
  EXPECT_TRUE(setUpWindowsHook());
  tearDownWindowsHook();
  EXPECT_TRUE(setUpWindowsHook());
}

}  // namespace
}  // namespace orvo
