#include "platform/DwarfLibrary.h"

#include <dlfcn.h>
#include <elfutils/libdw.h>
#include <elfutils/libdwfl.h>
#include <unistd.h>

namespace orvo::platform {
namespace {

// The entry points' types come from elfutils' own declarations; the
// library itself is opened at run time, so nothing links against it.
using Begin = decltype(&dwfl_begin);
using End = decltype(&dwfl_end);
using FindElf = decltype(&dwfl_linux_proc_find_elf);
using FindDebugInfo = decltype(&dwfl_standard_find_debuginfo);
using ReportBegin = decltype(&dwfl_report_begin);
using ProcReport = decltype(&dwfl_linux_proc_report);
using ReportEnd = decltype(&dwfl_report_end);
using AddrModule = decltype(&dwfl_addrmodule);
using ModuleAddrName = decltype(&dwfl_module_addrname);
using ModuleGetSrc = decltype(&dwfl_module_getsrc);
using LineInfo = decltype(&dwfl_lineinfo);
using ModuleNextCu = decltype(&dwfl_module_nextcu);
using HasPc = decltype(&dwarf_haspc);
using GetSrcDie = decltype(&dwarf_getsrc_die);
using LineSrc = decltype(&dwarf_linesrc);
using LineNo = decltype(&dwarf_lineno);

// Positions in kEntryPointNames.
enum EntryPoint {
  kBegin,
  kEnd,
  kProcFindElf,
  kStandardFindDebugInfo,
  kReportBegin,
  kProcReport,
  kReportEnd,
  kAddrModule,
  kModuleAddrName,
  kModuleGetSrc,
  kLineInfo,
  kModuleNextCu,
  kHasPc,
  kGetSrcDie,
  kLineSrc,
  kLineNo,
};

}  // namespace

const char* const DwarfLibrary::kEntryPointNames[kEntryPointCount] = {
    "dwfl_begin",
    "dwfl_end",
    "dwfl_linux_proc_find_elf",
    "dwfl_standard_find_debuginfo",
    "dwfl_report_begin",
    "dwfl_linux_proc_report",
    "dwfl_report_end",
    "dwfl_addrmodule",
    "dwfl_module_addrname",
    "dwfl_module_getsrc",
    "dwfl_lineinfo",
    "dwfl_module_nextcu",
    "dwarf_haspc",
    "dwarf_getsrc_die",
    "dwarf_linesrc",
    "dwarf_lineno",
};

// One libdw session over the modules of this process. The callbacks must
// outlive it, so they live beside it.
struct DwarfLibrary::Session {
  Dwfl_Callbacks callbacks{};
  char* debugInfoPath = nullptr;  // null: libdw's default search path
  Dwfl* dwfl = nullptr;
};

template <class Function>
static Function entry(void* const* entryPoints, EntryPoint which) {
  return reinterpret_cast<Function>(entryPoints[which]);
}

DwarfLibrary::~DwarfLibrary() {
  if (_session) {
    if (_session->dwfl) entry<End>(_entryPoints, kEnd)(_session->dwfl);
    delete _session;
  }
  if (_module) dlclose(_module);
}

DwarfLibrary::LoadResult DwarfLibrary::open(const char* libraryName, const char*& missing) {
  _module = dlopen(libraryName, RTLD_NOW | RTLD_LOCAL);
  if (!_module) return LoadResult::LibraryMissing;
  for (int i = 0; i < kEntryPointCount; ++i) {
    _entryPoints[i] = dlsym(_module, kEntryPointNames[i]);
    if (!_entryPoints[i]) {
      missing = kEntryPointNames[i];
      return LoadResult::EntryPointMissing;
    }
  }
  _loaded = true;
  return LoadResult::Loaded;
}

// Starts the session on first use, and reads the process's module list
// again, so that a module loaded since the last reading is found. Modules
// seen before keep the debug information already read.
bool DwarfLibrary::readModuleList() {
  if (!_session) {
    _session = new Session;
    _session->callbacks.find_elf = entry<FindElf>(_entryPoints, kProcFindElf);
    _session->callbacks.find_debuginfo = entry<FindDebugInfo>(_entryPoints, kStandardFindDebugInfo);
    _session->callbacks.debuginfo_path = &_session->debugInfoPath;
    _session->dwfl = entry<Begin>(_entryPoints, kBegin)(&_session->callbacks);
  }
  if (!_session->dwfl) return false;
  entry<ReportBegin>(_entryPoints, kReportBegin)(_session->dwfl);
  entry<ProcReport>(_entryPoints, kProcReport)(_session->dwfl, getpid());
  entry<ReportEnd>(_entryPoints, kReportEnd)(_session->dwfl, nullptr, nullptr);
  return true;
}

// The module that holds `address`. The list is read again when no module
// holds it, since that module may have been loaded after the last reading.
void* DwarfLibrary::findModule(std::uintptr_t address) {
  const auto addrModule = entry<AddrModule>(_entryPoints, kAddrModule);
  if (_session && _session->dwfl) {
    if (Dwfl_Module* module = addrModule(_session->dwfl, address)) return module;
  }
  if (!readModuleList()) return nullptr;
  return addrModule(_session->dwfl, address);
}

bool DwarfLibrary::functionName(std::uintptr_t address, std::string& name) {
  if (!_loaded) return false;
  std::lock_guard<std::mutex> guard(_lock);
  const auto addrName = entry<ModuleAddrName>(_entryPoints, kModuleAddrName);
  auto* module = static_cast<Dwfl_Module*>(findModule(address));
  const char* symbol = module ? addrName(module, address) : nullptr;
  if ((!symbol || !*symbol) && module && readModuleList()) {
    // A module loaded since the last reading may sit in a gap between the
    // segments of one read before, which then seemed to hold the address.
    module = entry<AddrModule>(_entryPoints, kAddrModule)(_session->dwfl, address);
    symbol = module ? addrName(module, address) : nullptr;
  }
  if (!symbol || !*symbol) return false;
  name = symbol;
  return true;
}

bool DwarfLibrary::fileAndLine(std::uintptr_t address, std::string& file, int& line) {
  if (!_loaded) return false;
  std::lock_guard<std::mutex> guard(_lock);
  auto* module = static_cast<Dwfl_Module*>(findModule(address));
  if (!module) return false;
  Dwfl_Line* entryLine = entry<ModuleGetSrc>(_entryPoints, kModuleGetSrc)(module, address);
  if (!entryLine) return lineOfUnitWithoutIndex(module, address, file, line);
  int lineNumber = 0;
  const char* source = entry<LineInfo>(_entryPoints, kLineInfo)(entryLine, nullptr, &lineNumber,
                                                                nullptr, nullptr, nullptr);
  if (!source || lineNumber <= 0) return false;
  file = source;
  line = lineNumber;
  return true;
}

// libdw finds the compilation unit of an address through the module's
// address index (.debug_aranges), which clang does not write by default.
// Without it, the units are asked one by one whether they hold the address.
bool DwarfLibrary::lineOfUnitWithoutIndex(void* module, std::uintptr_t address, std::string& file,
                                          int& line) {
  const auto nextUnit = entry<ModuleNextCu>(_entryPoints, kModuleNextCu);
  Dwarf_Addr bias = 0;
  for (Dwarf_Die* unit = nextUnit(static_cast<Dwfl_Module*>(module), nullptr, &bias); unit;
       unit = nextUnit(static_cast<Dwfl_Module*>(module), unit, &bias)) {
    const Dwarf_Addr inUnit = address - bias;
    if (entry<HasPc>(_entryPoints, kHasPc)(unit, inUnit) <= 0) continue;
    Dwarf_Line* found = entry<GetSrcDie>(_entryPoints, kGetSrcDie)(unit, inUnit);
    if (!found) return false;
    int lineNumber = 0;
    const char* source = entry<LineSrc>(_entryPoints, kLineSrc)(found, nullptr, nullptr);
    if (!source || entry<LineNo>(_entryPoints, kLineNo)(found, &lineNumber) != 0 || lineNumber <= 0) {
      return false;
    }
    file = source;
    line = lineNumber;
    return true;
  }
  return false;
}

}  // namespace orvo::platform
