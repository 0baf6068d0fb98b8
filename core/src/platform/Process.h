// Process.h: process-wide services of the platform layer. Any thread may
// call them.
#pragma once

#include <cstdint>

namespace orvo::platform {

std::uint32_t processId();

// Registers `step(argument)` to run at process exit, or when this library is
// unloaded if that comes first, after every step registered later, as
// atexit does. Every exit step of the library goes through here.
void atExit(void (*step)(void*), void* argument);

}  // namespace orvo::platform
