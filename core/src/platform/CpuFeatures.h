// CpuFeatures.h: what the processor offers beyond the x86-64 baseline.
//
// The UTF-8 codec has AVX2 loops and an AVX-512 validator (Utf8Vector.h),
// and String's search a two-unit filter (WideSearch.h); they are chosen at
// run time, so that the library still runs on any x86-64 processor. Until
// the library's static initialisers have run, the portable loops are taken.
// Tests limit the choice to check each path against the others. Shared by
// all threads: the choice is one atomic word.
#pragma once

#include <atomic>

namespace orvo::platform {

enum class Simd : int { Portable = 0, Avx2 = 1, Avx512 = 2 };

namespace detail {
extern std::atomic<int> simdInUse;
}

// Plain loads: they are asked on every conversion and comparison.
inline bool hasAvx2() { return detail::simdInUse.load(std::memory_order_relaxed) >= 1; }
// AVX-512 F and BW.
inline bool hasAvx512() { return detail::simdInUse.load(std::memory_order_relaxed) >= 2; }

// Uses at most `highest` of what the processor has; Simd::Avx512 lifts the
// limit again.
void limitSimd(Simd highest);

}  // namespace orvo::platform

// Marks a function that uses AVX2; it may run only where hasAvx2() says so.
#define ORVO_AVX2 __attribute__((target("avx2,popcnt")))
// Small helpers of those, kept inline so that vectors stay in registers.
#define ORVO_AVX2_INLINE inline __attribute__((target("avx2,popcnt"), always_inline))
