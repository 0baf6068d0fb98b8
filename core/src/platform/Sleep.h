// Sleep.h: blocking the calling thread for a while, or offering its time
// slice. Any thread may call it.
#pragma once

#include <cstdint>

namespace orvo::platform {

// Blocks the calling thread for `ms` milliseconds (longer if a signal handler
// runs). With 0 it does not block: it offers the rest of its time slice to
// other threads that are ready to run and goes on at once if there are none.
void sleepMilliseconds(std::uint32_t ms);

}  // namespace orvo::platform
