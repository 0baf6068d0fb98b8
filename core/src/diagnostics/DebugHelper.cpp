#include <orvo/core/DebugHelper.h>

#include <atomic>
#include <new>

#include <orvo/core/Log.h>
#include <orvo/core/SpinLock.h>

#include "diagnostics/DebugSymbols.h"
#include "platform/DwarfLibrary.h"
#include "platform/Symbols.h"

namespace orvo {
namespace {

constexpr const char* kDebugLibrary = "libdw.so.1";

SpinLock debugHelperLock;
std::atomic<DebugHelper*> debugHelper{nullptr};

}  // namespace

DebugHelper& DebugHelper::getDebugHelper() {
  DebugHelper* helper = debugHelper.load(std::memory_order_acquire);
  if (helper) return *helper;
  SpinGuard guard(debugHelperLock);
  helper = debugHelper.load(std::memory_order_relaxed);
  if (!helper) {
    // Static storage, never destroyed: a crash report or an exit step may
    // still resolve a stack after every destructor has run.
    alignas(DebugHelper) static unsigned char storage[sizeof(DebugHelper)];
    helper = new (storage) DebugHelper;
    debugHelper.store(helper, std::memory_order_release);
  }
  return *helper;
}

DebugHelper::DebugHelper() : _library(new platform::DwarfLibrary) {
  detail::openDebugLibrary(*_library, kDebugLibrary);
}

bool DebugHelper::isLoaded() const { return _library->isLoaded(); }

bool DebugHelper::getFunctionName(std::uintptr_t address, std::string& name) const {
  return detail::functionName(*_library, address, name);
}

bool DebugHelper::getFileAndLine(std::uintptr_t address, std::string& file, int& line) const {
  return _library->fileAndLine(address, file, line);
}

namespace detail {

void openDebugLibrary(platform::DwarfLibrary& library, const char* libraryName) {
  const char* missing = nullptr;
  switch (library.open(libraryName, missing)) {
    case platform::DwarfLibrary::LoadResult::Loaded:
      break;
    case platform::DwarfLibrary::LoadResult::LibraryMissing:
      Log::error(L"DebugHelper: Unable to load %S.", libraryName);
      break;
    case platform::DwarfLibrary::LoadResult::EntryPointMissing:
      Log::error(L"DebugHelper: The procedure entry point %S could not be located in the dynamic "
                 L"link library %S.",
                 missing, libraryName);
      break;
  }
}

bool functionName(platform::DwarfLibrary& library, std::uintptr_t address, std::string& name) {
  std::string symbol;
  if (library.functionName(address, symbol)) {
    // A full symbol table may name a versioned symbol, "name@@VERSION".
    const std::size_t version = symbol.find('@');
    if (version != std::string::npos && version > 0) symbol.resize(version);
    name = platform::demangle(symbol.c_str());
    return true;
  }
  return platform::dynamicSymbolName(address, name);
}

}  // namespace detail

// Low-level input hooks are a Windows facility; here there is none to set.
bool setUpWindowsHook() { return true; }

void tearDownWindowsHook() {}

}  // namespace orvo
