#include "WideCompare.h"

#include <cstdint>

#include "platform/CpuFeatures.h"

#if defined(__x86_64__)
#include <immintrin.h>
#define ORVO_X86_SIMD 1
#endif

namespace orvo {
namespace {

std::size_t firstDifferenceScalar(const wchar_t* a, const wchar_t* b, std::size_t i, std::size_t count) {
  for (; i < count; ++i) {
    if (a[i] != b[i] || a[i] == 0) return i;
  }
  return count - 1;
}

#if defined(ORVO_X86_SIMD)

// Lanes that are zero where the scan must stop: min(a, a == b ? ~0 : 0) is 0
// exactly where the units differ or `a` holds a terminator.
__attribute__((target("avx2"), always_inline)) inline __m256i stops(const wchar_t* a, const wchar_t* b) {
  const __m256i unitsA = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(a));
  const __m256i unitsB = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(b));
  return _mm256_min_epu32(unitsA, _mm256_cmpeq_epi32(unitsA, unitsB));
}

__attribute__((target("avx2"), always_inline)) inline unsigned stopLanes(__m256i lanes) {
  return static_cast<unsigned>(
      _mm256_movemask_ps(_mm256_castsi256_ps(_mm256_cmpeq_epi32(lanes, _mm256_setzero_si256()))));
}

__attribute__((target("avx2"))) std::size_t firstDifferenceAvx2(const wchar_t* a, const wchar_t* b,
                                                                 std::size_t count) {
  std::size_t i = 0;
  for (; i + 32 <= count; i += 32) {
    const __m256i s0 = stops(a + i, b + i), s1 = stops(a + i + 8, b + i + 8);
    const __m256i s2 = stops(a + i + 16, b + i + 16), s3 = stops(a + i + 24, b + i + 24);
    const __m256i any = _mm256_min_epu32(_mm256_min_epu32(s0, s1), _mm256_min_epu32(s2, s3));
    if (stopLanes(any) == 0) continue;
    const std::uint64_t lanes = stopLanes(s0) | stopLanes(s1) << 8 |
                                static_cast<std::uint64_t>(stopLanes(s2)) << 16 |
                                static_cast<std::uint64_t>(stopLanes(s3)) << 24;
    return i + static_cast<std::size_t>(__builtin_ctzll(lanes));
  }
  for (; i + 8 <= count; i += 8) {
    const unsigned lanes = stopLanes(stops(a + i, b + i));
    if (lanes != 0) return i + static_cast<std::size_t>(__builtin_ctz(lanes));
  }
  return firstDifferenceScalar(a, b, i, count);
}

__attribute__((target("avx2"), always_inline)) inline __m256i equalLanes(const wchar_t* a, const wchar_t* b) {
  return _mm256_cmpeq_epi32(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(a)),
                            _mm256_loadu_si256(reinterpret_cast<const __m256i*>(b)));
}

__attribute__((target("avx2"), always_inline)) inline std::uint64_t differentLanes(__m256i equal) {
  return ~static_cast<std::uint64_t>(_mm256_movemask_ps(_mm256_castsi256_ps(equal))) & 0xFF;
}

__attribute__((target("avx2"))) std::size_t firstMismatchAvx2(const wchar_t* a, const wchar_t* b,
                                                               std::size_t count) {
  std::size_t i = 0;
  for (; i + 32 <= count; i += 32) {
    const __m256i e0 = equalLanes(a + i, b + i), e1 = equalLanes(a + i + 8, b + i + 8);
    const __m256i e2 = equalLanes(a + i + 16, b + i + 16), e3 = equalLanes(a + i + 24, b + i + 24);
    const __m256i all = _mm256_and_si256(_mm256_and_si256(e0, e1), _mm256_and_si256(e2, e3));
    if (_mm256_movemask_epi8(all) == -1) continue;
    return i + static_cast<std::size_t>(__builtin_ctzll(differentLanes(e0) | differentLanes(e1) << 8 |
                                                        differentLanes(e2) << 16 | differentLanes(e3) << 24));
  }
  for (; i + 8 <= count; i += 8) {
    const std::uint64_t different = differentLanes(equalLanes(a + i, b + i));
    if (different != 0) return i + static_cast<std::size_t>(__builtin_ctzll(different));
  }
  for (; i < count; ++i) {
    if (a[i] != b[i]) return i;
  }
  return count;
}

#endif

}  // namespace

std::size_t firstMismatch(const wchar_t* a, const wchar_t* b, std::size_t count) {
#if defined(ORVO_X86_SIMD)
  if (platform::hasAvx2()) return firstMismatchAvx2(a, b, count);
#endif
  for (std::size_t i = 0; i < count; ++i) {
    if (a[i] != b[i]) return i;
  }
  return count;
}

std::size_t firstDifferenceOrEnd(const wchar_t* a, const wchar_t* b, std::size_t count) {
#if defined(ORVO_X86_SIMD)
  if (platform::hasAvx2()) return firstDifferenceAvx2(a, b, count);
#endif
  return firstDifferenceScalar(a, b, 0, count);
}

}  // namespace orvo
