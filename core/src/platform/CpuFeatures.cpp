#include "platform/CpuFeatures.h"

namespace orvo::platform {
namespace {

int processorSimd() {
#if defined(__x86_64__) || defined(__i386__)
  // The runtime may not have run its own detection yet.
  __builtin_cpu_init();
  if (__builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw")) return 2;
  if (__builtin_cpu_supports("avx2")) return 1;
#endif
  return 0;
}

const int available = processorSimd();

}  // namespace

namespace detail {
std::atomic<int> simdInUse{available};
}

void limitSimd(Simd highest) {
  const int limit = static_cast<int>(highest);
  detail::simdInUse.store(available < limit ? available : limit, std::memory_order_relaxed);
}

}  // namespace orvo::platform
