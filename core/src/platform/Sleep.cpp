#include "platform/Sleep.h"

#include <chrono>
#include <thread>

namespace orvo::platform {

// sleep_for sleeps on after a signal handler has run; yield is sched_yield.
void sleepMilliseconds(std::uint32_t ms) {
  if (ms == 0) {
    std::this_thread::yield();
  } else {
    std::this_thread::sleep_for(std::chrono::milliseconds(ms));
  }
}

}  // namespace orvo::platform
