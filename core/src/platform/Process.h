// Process.h: process-wide services of the platform layer.
#pragma once

#include <cstdint>

namespace orvo::platform {

std::uint32_t processId();

// Registers `step(argument)` to run at process exit (or when this library is
// unloaded), after every step registered later, as atexit does.
void atExit(void (*step)(void*), void* argument);

}  // namespace orvo::platform
