#include "platform/CpuFeatures.h"

namespace orvo::platform {
namespace {

int processorSimd() {
#if defined(__x86_64__) || defined(__i386__)
  // The runtime may not have run its own detection yet.
  __builtin_cpu_init();
  // Each level needs the one below: 0, 1 for AVX2, 2 with AVX-512 F and BW.
  const int avx2 = __builtin_cpu_supports("avx2") != 0;
  const int avx512 = (__builtin_cpu_supports("avx512f") != 0) & (__builtin_cpu_supports("avx512bw") != 0);
  return avx2 + (avx2 & avx512);
#else
  return 0;
#endif
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
