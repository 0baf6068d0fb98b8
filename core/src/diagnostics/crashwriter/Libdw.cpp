#include "diagnostics/crashwriter/Libdw.h"

#include <dlfcn.h>

#include <cstddef>

namespace orvo::crashwriter {
namespace {

// In the order of the table's members.
const char* const kNames[] = {
    "dwfl_begin",           "dwfl_end",           "dwfl_linux_proc_find_elf",
    "dwfl_standard_find_debuginfo", "dwfl_linux_proc_report", "dwfl_report_end",
    "dwfl_attach_state",    "dwfl_thread_state_registers", "dwfl_getthread_frames",
    "dwfl_frame_pc",        "dwfl_frame_reg",     "dwfl_addrmodule",
    "dwfl_module_addrname", "dwfl_module_getsrc", "dwfl_lineinfo",
    "dwfl_module_nextcu",   "dwfl_module_addrdie", "dwarf_haspc",
    "dwarf_getsrc_die",     "dwarf_linesrc",      "dwarf_lineno",
     "dwarf_tag",          "dwarf_child",
    "dwarf_siblingof",      "dwarf_diename",      "dwarf_attr_integrate",
    "dwarf_formref_die",    "dwarf_formudata",    "dwarf_getlocation_addr"};
static_assert(sizeof(Libdw) == sizeof kNames);

}  // namespace

Libdw dw;

bool openLibdw() {
  void* library = dlopen("libdw.so.1", RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) return false;
  void** slots = reinterpret_cast<void**>(&dw);
  for (std::size_t i = 0; i < sizeof kNames / sizeof kNames[0]; ++i)
    if ((slots[i] = dlsym(library, kNames[i])) == nullptr) return false;
  return true;
}

Dwarf_Die* unitOf(Dwfl_Module* module, Dwarf_Addr address, Dwarf_Addr& bias) {
  if (Dwarf_Die* unit = dw.addrDie(module, address, &bias)) return unit;
  Dwarf_Die* unit = dw.nextUnit(module, nullptr, &bias);
  while (unit != nullptr && dw.hasPc(unit, address - bias) <= 0)
    unit = dw.nextUnit(module, unit, &bias);
  return unit;
}

}  // namespace orvo::crashwriter
