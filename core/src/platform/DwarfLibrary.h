// DwarfLibrary.h: file, line and function names from the debug information
// of the loaded modules, through elfutils' libdw, which is opened at run time
// so that the library runs where it is not installed. libdw is not safe for
// threads: every look-up runs under a lock of the object, so one object may
// be shared between threads.
#pragma once

#include <cstdint>
#include <mutex>
#include <string>

namespace orvo::platform {

class DwarfLibrary {
 public:
  enum class LoadResult { Loaded, LibraryMissing, EntryPointMissing };

  // The entry points, in the order in which open() looks them up.
  static constexpr int kEntryPointCount = 16;
  static const char* const kEntryPointNames[kEntryPointCount];

  DwarfLibrary() = default;
  ~DwarfLibrary();
  DwarfLibrary(const DwarfLibrary&) = delete;
  DwarfLibrary& operator=(const DwarfLibrary&) = delete;

  // Opens `libraryName` and looks up the entry points in order, stopping at
  // the first that is missing, whose name `missing` then points at. Entry
  // points not found stay null, and the lookups below then find nothing.
  LoadResult open(const char* libraryName, const char*& missing);

  bool isLoaded() const { return _loaded; }

  // The name of the function that holds `address`, from the full symbol
  // table of its module (static functions included), as it is stored.
  bool functionName(std::uintptr_t address, std::string& name);
  // The source file and line of `address`, from the module's line table.
  bool fileAndLine(std::uintptr_t address, std::string& file, int& line);

 private:
  struct Session;
  bool readModuleList();
  void* findModule(std::uintptr_t address);
  bool lineOfUnitWithoutIndex(void* module, std::uintptr_t address, std::string& file, int& line);

  void* _module = nullptr;
  void* _entryPoints[kEntryPointCount] = {};
  bool _loaded = false;
  // libdw is not safe for threads; every lookup runs under this lock.
  std::mutex _lock;
  Session* _session = nullptr;
};

}  // namespace orvo::platform
