// FrameVariables.h: the parameters and local variables of a crashed thread's
// frame for the report, from the DWARF of its module, and the rules by which
// a value is rendered as text.
//
// Only variables that live in memory at a register-relative address (the
// frame base or a register plus an offset) can be shown; as soon as one of a
// frame's parameters, or one of its locals, lives elsewhere (a register, or
// nowhere at this point of the code) the list of that kind ends there.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

#include "diagnostics/crashwriter/CrashReport.h"
#include "diagnostics/crashwriter/Libdw.h"

namespace orvo::crashwriter {

// Reads process memory: the number of bytes copied to `into`.
using MemoryReader = std::function<std::size_t(std::uint64_t address, void* into, std::size_t)>;

// What rendering needs of a variable's type, seen through typedefs and
// qualifiers, with pointers and references counted.
struct ValueType {
  enum Kind { UserDefined, Enumeration, Function, Base, Other };
  Kind kind = Other;
  int pointers = 0;
  std::string name;        // of a user-defined type
  std::uint64_t size = 0;  // in bytes, of the type after the pointers
  int encoding = 0;        // DW_ATE_* of a base type
};

// The text of the value of `type` at `address`, at most 255 bytes; empty for
// kinds that have no rendering.
std::string renderValue(const ValueType& type, std::uint64_t address, const MemoryReader& read);

// The registers of one frame in DWARF's numbering of x86-64 (0 rax ... 16
// rip), and its canonical frame address, as far as the walk knew them.
struct FrameRegisters {
  static constexpr int kCount = 17;
  std::uint64_t values[kCount] = {};
  bool known[kCount] = {};
  std::uint64_t cfa = 0;  // the caller's stack pointer
  bool cfaKnown = false;
};

// Fills frame.parameters ("a=1, b=2") and frame.locals ("name = value") for
// the code at `address` (already module-relative lookups are done inside).
void describeVariables(Dwfl_Module* module, Dwarf_Addr address, const FrameRegisters& registers,
                       const MemoryReader& read, Frame& frame);

}  // namespace orvo::crashwriter
