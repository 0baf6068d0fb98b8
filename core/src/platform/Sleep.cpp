#include "platform/Sleep.h"

#include <errno.h>
#include <sched.h>
#include <time.h>

namespace orvo::platform {

void sleepMilliseconds(std::uint32_t ms) {
  if (ms == 0) {
    sched_yield();
    return;
  }
  timespec remaining{static_cast<time_t>(ms / 1000u), static_cast<long>(ms % 1000u) * 1000000L};
  // A signal handler cuts nanosleep short; the rest is slept afterwards.
  while (nanosleep(&remaining, &remaining) != 0 && errno == EINTR) {
  }
}

}  // namespace orvo::platform
