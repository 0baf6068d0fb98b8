// SystemTime.h: calendar time for identifiers, and facts that tell one
// machine and one run from another.
#pragma once

#include <cstdint>
#include <vector>

namespace orvo::platform {

using SystemTimeSource = std::uint64_t (*)();

// CLOCK_REALTIME in 100-nanosecond units since 15 October 1582, the epoch of
// RFC 4122 timestamps; replaceable by tests.
std::uint64_t systemTime100ns();
SystemTimeSource setSystemTimeSource(SystemTimeSource source);

// Bytes that differ between machines and between runs: memory and processor
// figures, clocks, the host name and the process id. Not secret, only varied.
std::vector<unsigned char> machineAndRunFacts();

}  // namespace orvo::platform
