// CpuFeatures.h: what the processor offers beyond the x86-64 baseline.
//
// The text hot paths have AVX2 versions; they are chosen at run time, so
// that the library still runs on any x86-64 processor. (AVX-512 was tried for
// the comparison scans: its 64-byte loads split across cache lines more
// often and came out slower.) Until the library's static initialisers have run, the
// portable paths are taken. Tests limit the choice to check each path
// against the others.
#pragma once

#include <atomic>

namespace orvo::platform {

enum class Simd : int { Portable = 0, Avx2 = 1 };

namespace detail {
extern std::atomic<int> simdInUse;
}

// Plain loads: they are asked on every conversion and comparison.
inline bool hasAvx2() { return detail::simdInUse.load(std::memory_order_relaxed) >= 1; }

// Uses at most `highest` of what the processor has; Simd::Avx2 lifts the
// limit again.
void limitSimd(Simd highest);

}  // namespace orvo::platform
