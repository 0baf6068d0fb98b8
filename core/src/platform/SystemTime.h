// SystemTime.h: calendar time for identifiers and the calendar, the local
// time zone, and facts that tell one machine and one run from another.
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

// Seconds since 1970-01-01 00:00:00 UTC, from the C library's time().
std::int64_t unixTimeSeconds();

// Seconds to add to local standard time to get UTC (negative east of
// Greenwich), without daylight saving: the C library's `timezone`, read on
// each call. The zone is read from the environment once, when the library
// loads, and again only when the process calls tzset itself.
int localZoneBias();

}  // namespace orvo::platform
