#include "WideCompare.h"

#include <cstdint>

#include "platform/CpuFeatures.h"

#if defined(__x86_64__)
#include <immintrin.h>
#define ORVO_X86_SIMD 1
#define ORVO_AVX2 __attribute__((target("avx2")))
#define ORVO_AVX2_INLINE inline __attribute__((target("avx2"), always_inline))
#endif

namespace orvo {
namespace {

// Both scans: the first index where the units differ, or with
// `StopAtTerminator` also where `a` holds a terminator.
template <bool StopAtTerminator>
std::size_t scanPortable(const wchar_t* a, const wchar_t* b, std::size_t i, std::size_t count) {
  for (; i < count; ++i) {
    if (a[i] != b[i] || (StopAtTerminator && a[i] == 0)) return i;
  }
  return StopAtTerminator ? count - 1 : count;
}

#if defined(ORVO_X86_SIMD)

// Eight lanes, zero where the scan must stop. For a terminator,
// min(a, a == b ? ~0 : 0) is 0 exactly where the units differ or `a` is 0.
template <bool StopAtTerminator>
ORVO_AVX2_INLINE __m256i goOnLanes(const wchar_t* a, const wchar_t* b) {
  const __m256i unitsA = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(a));
  const __m256i equal = _mm256_cmpeq_epi32(unitsA, _mm256_loadu_si256(reinterpret_cast<const __m256i*>(b)));
  return StopAtTerminator ? _mm256_min_epu32(unitsA, equal) : equal;
}

ORVO_AVX2_INLINE std::uint64_t stopLanes(__m256i goOn) {
  return static_cast<std::uint64_t>(
      _mm256_movemask_ps(_mm256_castsi256_ps(_mm256_cmpeq_epi32(goOn, _mm256_setzero_si256()))));
}

// Looks for a stop in the 32 units at `a` and `b`; `at` gets its offset.
template <bool StopAtTerminator>
ORVO_AVX2_INLINE bool findStopIn32(const wchar_t* a, const wchar_t* b, std::size_t& at) {
  const __m256i g0 = goOnLanes<StopAtTerminator>(a, b);
  const __m256i g1 = goOnLanes<StopAtTerminator>(a + 8, b + 8);
  const __m256i g2 = goOnLanes<StopAtTerminator>(a + 16, b + 16);
  const __m256i g3 = goOnLanes<StopAtTerminator>(a + 24, b + 24);
  const __m256i all = _mm256_min_epu32(_mm256_min_epu32(g0, g1), _mm256_min_epu32(g2, g3));
  // A flag test, not a mask moved to a register, and laid out for going on:
  // the branch is taken on every round of a long scan.
  const __m256i stops = _mm256_cmpeq_epi32(all, _mm256_setzero_si256());
  if (__builtin_expect(_mm256_testz_si256(stops, stops), 1)) return false;
  at = static_cast<std::size_t>(
      __builtin_ctzll(stopLanes(g0) | stopLanes(g1) << 8 | stopLanes(g2) << 16 | stopLanes(g3) << 24));
  return true;
}

template <bool StopAtTerminator>
ORVO_AVX2 std::size_t scanAvx2(const wchar_t* a, const wchar_t* b, std::size_t count) {
  const std::size_t notFound = StopAtTerminator ? count - 1 : count;
  if (count < 32) {
    if (count < 8) return scanPortable<StopAtTerminator>(a, b, 0, count);
    // Eight at a time, the last eight overlapping those before.
    for (std::size_t i = 0;; i += 8) {
      if (i + 8 > count) i = count - 8;
      const std::uint64_t lanes = stopLanes(goOnLanes<StopAtTerminator>(a + i, b + i));
      if (lanes != 0) return i + static_cast<std::size_t>(__builtin_ctzll(lanes));
      if (i + 8 == count) return notFound;
    }
  }
  // The first 32, then on from where `a` is 32-byte aligned, as loads across
  // cache lines cost twice; the last 32 overlap those before. Units looked at
  // twice have no stop, so the first stop found is the first of all.
  std::size_t at;
  if (findStopIn32<StopAtTerminator>(a, b, at)) return at;
  std::size_t i = 32 - ((reinterpret_cast<std::uintptr_t>(a) & 31) >> 2);
  for (; i + 32 <= count; i += 32) {
    if (findStopIn32<StopAtTerminator>(a + i, b + i, at)) return i + at;
  }
  if (i < count && findStopIn32<StopAtTerminator>(a + count - 32, b + count - 32, at)) return count - 32 + at;
  return notFound;
}

#endif

}  // namespace

namespace detail {

std::size_t firstMismatchPortable(const wchar_t* a, const wchar_t* b, std::size_t count) {
  return scanPortable<false>(a, b, 0, count);
}

std::size_t firstDifferenceOrEndPortable(const wchar_t* a, const wchar_t* b, std::size_t count) {
  return scanPortable<true>(a, b, 0, count);
}

#if defined(ORVO_X86_SIMD)
std::size_t firstMismatchAvx2(const wchar_t* a, const wchar_t* b, std::size_t count) {
  return scanAvx2<false>(a, b, count);
}

std::size_t firstDifferenceOrEndAvx2(const wchar_t* a, const wchar_t* b, std::size_t count) {
  return scanAvx2<true>(a, b, count);
}

#else
// Never chosen: there is no AVX2 where this is compiled.
std::size_t firstMismatchAvx2(const wchar_t* a, const wchar_t* b, std::size_t count) {
  return firstMismatchPortable(a, b, count);
}

std::size_t firstDifferenceOrEndAvx2(const wchar_t* a, const wchar_t* b, std::size_t count) {
  return firstDifferenceOrEndPortable(a, b, count);
}

#endif

}  // namespace detail
}  // namespace orvo
