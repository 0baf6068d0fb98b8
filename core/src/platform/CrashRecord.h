// CrashRecord.h: what the signal handler of a crashed process leaves for the
// crash writer. The handler fills one static record with plain stores; the
// writer, a process of its own, reads it out of the crashed process's memory
// at the address it is given on its command line. The layout is shared by
// both sides, built from the same source, so it has no version beyond the
// magic and the size check.
#pragma once

#include <cstdint>

namespace orvo::platform {

struct CrashRecord {
  static constexpr std::uint64_t kMagic = 0x4853524343564F52ull;  // "ROVCCRSH"
  static constexpr int kRegisterCount = 23;  // glibc's gregs of x86-64
  static constexpr int kContactSize = 256;

  std::uint64_t magic;
  std::uint32_t size;   // sizeof(CrashRecord) of the process that filled it
  std::int32_t signal;  // the signal's number
  std::int32_t code;    // si_code
  std::int32_t threadId;
  std::uint64_t faultAddress;  // si_addr
  // gregs of the interrupted context, in glibc's order (REG_R8 = 0 ...).
  std::uint64_t registers[kRegisterCount];
  std::uint32_t hasFloatingPoint;  // 0 when the context had no FXSAVE area
  std::uint32_t reserved;
  std::uint8_t floatingPoint[512];  // FXSAVE image
  char contact[kContactSize];       // the address the message names
};

}  // namespace orvo::platform
