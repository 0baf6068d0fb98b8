// MinidumpWriter.h: the minidump of a crashed process, in the published
// format with the Linux streams: system info (AMD64, Linux), misc info (the
// pid), the thread list with each stopped thread's full context and its
// stack memory, the exception naming the crashing thread, the module list
// with build ids, the memory list, and the raw texts of cpuinfo, status,
// os-release, cmdline, maps and auxv. Every piece starts at a multiple of 8.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "diagnostics/crashwriter/CrashedProcess.h"

namespace orvo::crashwriter {

// The whole file's bytes.
std::vector<std::uint8_t> buildMinidump(const CrashedProcess& process, std::uint32_t timeStamp);

// The UTF-16 code units of UTF-8 text, as minidump strings hold them; each
// byte that starts no valid sequence becomes U+FFFD.
std::vector<std::uint16_t> utf16(const std::string& text);

// The stream types the file holds, in the order of the directory.
enum MinidumpStream : std::uint32_t {
  kThreadListStream = 3,
  kModuleListStream = 4,
  kMemoryListStream = 5,
  kExceptionStream = 6,
  kSystemInfoStream = 7,
  kMiscInfoStream = 0xF,
  kLinuxCpuInfoStream = 0x47670003,
  kLinuxProcStatusStream = 0x47670004,
  kLinuxLsbReleaseStream = 0x47670005,
  kLinuxCmdLineStream = 0x47670006,
  kLinuxAuxvStream = 0x47670008,
  kLinuxMapsStream = 0x47670009,
};

}  // namespace orvo::crashwriter
