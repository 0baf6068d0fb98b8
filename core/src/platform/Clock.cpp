#include "platform/Clock.h"

#include <time.h>

#include <atomic>

namespace orvo::platform {
namespace {

std::atomic<MillisecondClock> replacementClock{nullptr};

}  // namespace

std::uint32_t systemMilliseconds() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  const std::uint64_t ms = static_cast<std::uint64_t>(now.tv_sec) * 1000u +
                           static_cast<std::uint64_t>(now.tv_nsec) / 1000000u;
  return static_cast<std::uint32_t>(ms);
}

std::uint32_t milliseconds() {
  const MillisecondClock clock = replacementClock.load(std::memory_order_acquire);
  return clock ? clock() : systemMilliseconds();
}

MillisecondClock setMillisecondClock(MillisecondClock clock) {
  return replacementClock.exchange(clock, std::memory_order_acq_rel);
}

}  // namespace orvo::platform
