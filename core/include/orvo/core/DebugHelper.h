// DebugHelper.h: the one place that loads the debug library, which turns code
// addresses into function names, source files and lines.
//
// The debug library (elfutils' libdw) is opened at run time on first use, so
// that programs run where it is not installed: names then come from the
// dynamic symbol tables alone, and files and lines are unknown. A failed
// load is logged once, with the name of the library that was tried.
//
//   std::string name, file;
//   int line = 0;
//   DebugHelper& symbols = DebugHelper::getDebugHelper();
//   if (symbols.getFileAndLine(address, file, line)) ...
//
// The instance may be shared by all threads: each look-up in the debug
// library runs under a lock of the helper, since that library is not safe
// for threads.
//
// Windows low-level input hooks have no counterpart on this platform:
// setUpWindowsHook installs nothing and answers true, and
// tearDownWindowsHook has nothing to remove.
#pragma once

#include <cstdint>
#include <string>

#include <orvo/core/Export.h>

namespace orvo {

namespace platform {
class DwarfLibrary;
}

class ORVO_API DebugHelper {
 public:
  // The process's instance, made on the first call; safe from any thread.
  static DebugHelper& getDebugHelper();

  DebugHelper(const DebugHelper&) = delete;
  DebugHelper& operator=(const DebugHelper&) = delete;

  // True if the debug library and all its entry points were found.
  bool isLoaded() const;

  // The demangled name of the function that holds `address`: from the
  // debug library's full symbol tables when it is loaded, otherwise (or
  // when it knows none) from the exported symbols. False if neither has one.
  bool getFunctionName(std::uintptr_t address, std::string& name) const;

  // The source file and line of `address`, from the debug information.
  // False without the debug library or without debug information there.
  bool getFileAndLine(std::uintptr_t address, std::string& file, int& line) const;

 private:
  // Loads the debug library; a failure is logged and leaves the helper
  // without the entry points that were not found. The one instance lives in
  // static storage to the end of the process and is never destroyed, so
  // that a crash report or an exit step can still resolve a stack.
  DebugHelper();
  ~DebugHelper() = delete;

  platform::DwarfLibrary* _library;
};

ORVO_API bool setUpWindowsHook();
ORVO_API void tearDownWindowsHook();

}  // namespace orvo
