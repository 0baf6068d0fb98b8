#include "platform/CpuFeatures.h"

namespace orvo::platform {
namespace {

bool processorHasAvx2() {
#if defined(__x86_64__) || defined(__i386__)
  // The runtime may not have run its own detection yet.
  __builtin_cpu_init();
  return __builtin_cpu_supports("avx2") != 0;
#else
  return false;
#endif
}

const bool processorAvx2 = processorHasAvx2();

}  // namespace

namespace detail {
std::atomic<bool> avx2InUse{processorAvx2};
}

void switchOffAvx2(bool off) { detail::avx2InUse.store(processorAvx2 && !off, std::memory_order_relaxed); }

}  // namespace orvo::platform
