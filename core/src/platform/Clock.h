// Clock.h: the runtime's millisecond clock.
//
// The clock is CLOCK_MONOTONIC in milliseconds, truncated to 32 bits, so it
// wraps about every 49.7 days; users take differences in unsigned arithmetic.
// Tests replace it with a clock of their own to drive the scheduler exactly.
#pragma once

#include <cstdint>

namespace orvo::platform {

using MillisecondClock = std::uint32_t (*)();

// The clock in force: the system clock unless a test replaced it.
std::uint32_t milliseconds();

// CLOCK_MONOTONIC in milliseconds, wrapping at 2^32.
std::uint32_t systemMilliseconds();

// Puts `clock` in force (null restores the system clock) and returns the one
// that was in force.
MillisecondClock setMillisecondClock(MillisecondClock clock);

}  // namespace orvo::platform
