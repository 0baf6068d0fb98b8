// Libdw.h: the entry points of elfutils' libdw that the crash writer uses.
// libdw is opened at run time, so that the writer runs where it is missing;
// the types come from its own declarations. One table per process, filled
// once by openLibdw(); the writer is single-threaded.
#pragma once

#include <elfutils/libdw.h>
#include <elfutils/libdwfl.h>

namespace orvo::crashwriter {

struct Libdw {
  decltype(&dwfl_begin) begin;
  decltype(&dwfl_end) end;
  decltype(&dwfl_linux_proc_find_elf) findElf;
  decltype(&dwfl_standard_find_debuginfo) findDebugInfo;
  decltype(&dwfl_linux_proc_report) procReport;
  decltype(&dwfl_report_end) reportEnd;
  decltype(&dwfl_attach_state) attachState;
  decltype(&dwfl_thread_state_registers) stateRegisters;
  decltype(&dwfl_getthread_frames) threadFrames;
  decltype(&dwfl_frame_pc) framePc;
  decltype(&dwfl_frame_reg) frameRegister;
  decltype(&dwfl_addrmodule) addrModule;
  decltype(&dwfl_module_addrname) addrName;
  decltype(&dwfl_module_getsrc) getSrc;
  decltype(&dwfl_lineinfo) lineInfo;
  decltype(&dwfl_module_nextcu) nextUnit;
  decltype(&dwfl_module_addrdie) addrDie;
  decltype(&dwarf_haspc) hasPc;
  decltype(&dwarf_getsrc_die) unitLine;
  decltype(&dwarf_linesrc) lineSource;
  decltype(&dwarf_lineno) lineNumber;
  decltype(&dwarf_tag) tag;
  decltype(&dwarf_child) child;
  decltype(&dwarf_siblingof) sibling;
  decltype(&dwarf_diename) name;
  decltype(&dwarf_attr_integrate) attribute;
  decltype(&dwarf_formref_die) referencedDie;
  decltype(&dwarf_formudata) unsignedValue;
  decltype(&dwarf_getlocation_addr) location;
};

// The table, valid once openLibdw() has returned true.
extern Libdw dw;

// Opens libdw and looks up every entry point; false if any is missing.
bool openLibdw();

// The compilation unit that holds `address` of `module`, and the module's
// bias; null if none. libdw's own look-up goes through .debug_aranges, which
// clang does not write by default; without it each unit is asked in turn.
Dwarf_Die* unitOf(Dwfl_Module* module, Dwarf_Addr address, Dwarf_Addr& bias);

}  // namespace orvo::crashwriter
