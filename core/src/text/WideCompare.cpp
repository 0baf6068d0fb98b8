#include "text/WideCompare.h"

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

// Both scans answer the first index where the units differ, or with
// `StopAtTerminator` also where `a` holds a terminator; `count` if there is
// no such index.
template <bool StopAtTerminator>
std::size_t scanPortable(const wchar_t* a, const wchar_t* b, std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) {
    if (a[i] != b[i] || (StopAtTerminator && a[i] == 0)) return i;
  }
  return count;
}

// The comparison's answer from the scan's stop.
int signAt(const wchar_t* a, const wchar_t* b, std::size_t at, std::size_t count) {
  if (at == count) return 0;
  const auto unitA = static_cast<std::uint32_t>(a[at]), unitB = static_cast<std::uint32_t>(b[at]);
  return (unitA > unitB) - (unitA < unitB);
}

#if defined(ORVO_X86_SIMD)

// Eight lanes that say where the scan may go on. A mismatch scan keeps the
// equality mask: all ones where the units are equal. A terminator scan takes
// min(a, a == b ? ~0 : 0), which is 0 exactly where the units differ or `a`
// is 0.
template <bool StopAtTerminator>
ORVO_AVX2_INLINE __m256i goOnLanes(__m256i unitsA, __m256i unitsB) {
  const __m256i equal = _mm256_cmpeq_epi32(unitsA, unitsB);
  return StopAtTerminator ? _mm256_min_epu32(unitsA, equal) : equal;
}

template <bool StopAtTerminator>
ORVO_AVX2_INLINE __m256i goOnLanes(const wchar_t* a, const wchar_t* b) {
  return goOnLanes<StopAtTerminator>(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(a)),
                                     _mm256_loadu_si256(reinterpret_cast<const __m256i*>(b)));
}

// Lanes where both of two go-on masks go on.
template <bool StopAtTerminator>
ORVO_AVX2_INLINE __m256i bothGoOn(__m256i x, __m256i y) {
  return StopAtTerminator ? _mm256_min_epu32(x, y) : _mm256_and_si256(x, y);
}

// One bit a lane where the scan must stop.
template <bool StopAtTerminator>
ORVO_AVX2_INLINE std::uint32_t stopLanes(__m256i goOn) {
  const __m256i stops = StopAtTerminator ? _mm256_cmpeq_epi32(goOn, _mm256_setzero_si256()) : goOn;
  const auto bits = static_cast<std::uint32_t>(_mm256_movemask_ps(_mm256_castsi256_ps(stops)));
  return StopAtTerminator ? bits : bits ^ 0xFF;
}

// Whether every lane goes on, by a flag test rather than a mask moved to a
// register.
template <bool StopAtTerminator>
ORVO_AVX2_INLINE bool allGoOn(__m256i goOn) {
  if constexpr (StopAtTerminator) {
    const __m256i stops = _mm256_cmpeq_epi32(goOn, _mm256_setzero_si256());
    return _mm256_testz_si256(stops, stops);
  } else {
    return _mm256_testc_si256(goOn, _mm256_set1_epi32(-1));
  }
}

// Fewer than nine units: one masked load per text, which reads nothing past
// `count`. The lanes beyond it read as 0 in both texts and are masked off.
template <bool StopAtTerminator>
ORVO_AVX2_INLINE std::size_t scanUpTo8(const wchar_t* a, const wchar_t* b, std::size_t count) {
  const __m256i inside =
      _mm256_cmpgt_epi32(_mm256_set1_epi32(static_cast<int>(count)), _mm256_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7));
  const __m256i goOn = goOnLanes<StopAtTerminator>(_mm256_maskload_epi32(reinterpret_cast<const int*>(a), inside),
                                                   _mm256_maskload_epi32(reinterpret_cast<const int*>(b), inside));
  const std::uint32_t stops = stopLanes<StopAtTerminator>(goOn) & ((1u << count) - 1);
  return stops != 0 ? static_cast<std::size_t>(__builtin_ctz(stops)) : count;
}

// The first stop among the eight units at `a` and `b`, or 8.
template <bool StopAtTerminator>
ORVO_AVX2_INLINE std::size_t stopIn8(const wchar_t* a, const wchar_t* b) {
  const std::uint32_t stops = stopLanes<StopAtTerminator>(goOnLanes<StopAtTerminator>(a, b));
  return stops != 0 ? static_cast<std::size_t>(__builtin_ctz(stops)) : 8;
}

// Nine to 32 units: blocks of eight in order, the last one ending at
// `count` and overlapping the one before. Units looked at twice give the
// same answer both times, so the first block with a stop holds the first
// stop. Short texts mostly differ early, so each block has its own exit; the
// blocks at fixed offsets are chosen by branches, not computed, so that
// their loads need not wait for `count`.
template <bool StopAtTerminator>
ORVO_AVX2_INLINE std::size_t scanUpTo32(const wchar_t* a, const wchar_t* b, std::size_t count) {
  std::size_t stop = stopIn8<StopAtTerminator>(a, b);
  if (stop < 8) return stop;
  if (count > 16) {
    if ((stop = stopIn8<StopAtTerminator>(a + 8, b + 8)) < 8) return 8 + stop;
    if (count > 24 && (stop = stopIn8<StopAtTerminator>(a + 16, b + 16)) < 8) return 16 + stop;
  }
  const std::size_t last = count - 8;
  stop = stopIn8<StopAtTerminator>(a + last, b + last);
  return stop < 8 ? last + stop : count;
}

// Looks for a stop in the 32 units at `a` and `b`; `at` gets its offset.
template <bool StopAtTerminator>
ORVO_AVX2_INLINE bool findStopIn32(const wchar_t* a, const wchar_t* b, std::size_t& at) {
  const __m256i g0 = goOnLanes<StopAtTerminator>(a, b);
  const __m256i g1 = goOnLanes<StopAtTerminator>(a + 8, b + 8);
  const __m256i g2 = goOnLanes<StopAtTerminator>(a + 16, b + 16);
  const __m256i g3 = goOnLanes<StopAtTerminator>(a + 24, b + 24);
  const __m256i all = bothGoOn<StopAtTerminator>(bothGoOn<StopAtTerminator>(g0, g1),
                                                 bothGoOn<StopAtTerminator>(g2, g3));
  // Laid out for going on: the branch is taken on every round of a long scan.
  if (__builtin_expect(allGoOn<StopAtTerminator>(all), 1)) return false;
  const std::uint64_t stops = stopLanes<StopAtTerminator>(g0) | stopLanes<StopAtTerminator>(g1) << 8 |
                              stopLanes<StopAtTerminator>(g2) << 16 |
                              static_cast<std::uint64_t>(stopLanes<StopAtTerminator>(g3)) << 24;
  at = static_cast<std::size_t>(__builtin_ctzll(stops));
  return true;
}

template <bool StopAtTerminator>
ORVO_AVX2_INLINE std::size_t scanAvx2(const wchar_t* a, const wchar_t* b, std::size_t count) {
  if (count <= 8) return scanUpTo8<StopAtTerminator>(a, b, count);
  if (count <= 32) return scanUpTo32<StopAtTerminator>(a, b, count);
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
  return count;
}

#endif

}  // namespace

namespace detail {

int compareUnitsPortable(const wchar_t* a, const wchar_t* b, std::size_t count) {
  return signAt(a, b, scanPortable<false>(a, b, count), count);
}

int compareUnitsToTerminatorPortable(const wchar_t* a, const wchar_t* b, std::size_t count) {
  return signAt(a, b, scanPortable<true>(a, b, count), count);
}

#if defined(ORVO_X86_SIMD)
ORVO_AVX2 int compareUnitsAvx2(const wchar_t* a, const wchar_t* b, std::size_t count) {
  return signAt(a, b, scanAvx2<false>(a, b, count), count);
}

ORVO_AVX2 int compareUnitsToTerminatorAvx2(const wchar_t* a, const wchar_t* b, std::size_t count) {
  return signAt(a, b, scanAvx2<true>(a, b, count), count);
}

#else
// Never chosen: there is no AVX2 where this is compiled.
int compareUnitsAvx2(const wchar_t* a, const wchar_t* b, std::size_t count) {
  return compareUnitsPortable(a, b, count);
}

int compareUnitsToTerminatorAvx2(const wchar_t* a, const wchar_t* b, std::size_t count) {
  return compareUnitsToTerminatorPortable(a, b, count);
}

#endif

}  // namespace detail
}  // namespace orvo
