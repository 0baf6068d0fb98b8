#include "platform/WideSearch.h"

#include <cwchar>

#include "platform/CpuFeatures.h"

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace orvo::platform {
namespace {

const wchar_t* findUnitPairPortable(const wchar_t* text, std::size_t count, wchar_t first, wchar_t second) {
  const wchar_t* const end = text + count;
  for (const wchar_t* p = text; p < end; ++p) {
    p = std::wmemchr(p, first, static_cast<std::size_t>(end - p));
    if (!p || p[1] == second) return p;
  }
  return nullptr;
}

#if defined(__x86_64__)
// A bit for each of the eight positions at `p` where `first` and `second`
// follow each other.
ORVO_AVX2_INLINE unsigned pairsAt(const wchar_t* p, __m256i firsts, __m256i seconds) {
  const __m256i units = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p));
  const __m256i next = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p + 1));
  const __m256i both = _mm256_and_si256(_mm256_cmpeq_epi32(units, firsts), _mm256_cmpeq_epi32(next, seconds));
  return static_cast<unsigned>(_mm256_movemask_ps(_mm256_castsi256_ps(both)));
}

// Sixteen positions a round, as two blocks of eight.
ORVO_AVX2 const wchar_t* findUnitPairAvx2(const wchar_t* text, std::size_t count, wchar_t first,
                                          wchar_t second) {
  const __m256i firsts = _mm256_set1_epi32(first), seconds = _mm256_set1_epi32(second);
  std::size_t i = 0;
  for (; count - i >= 16; i += 16) {
    const unsigned hits = pairsAt(text + i, firsts, seconds) | pairsAt(text + i + 8, firsts, seconds) << 8;
    if (hits != 0) return text + i + __builtin_ctz(hits);
  }
  if (count - i >= 8) {
    if (const unsigned hits = pairsAt(text + i, firsts, seconds)) return text + i + __builtin_ctz(hits);
    i += 8;
  }
  for (; i < count; ++i) {
    if (text[i] == first && text[i + 1] == second) return text + i;
  }
  return nullptr;
}
#endif

}  // namespace

const wchar_t* findUnitPair(const wchar_t* text, std::size_t count, wchar_t first, wchar_t second) {
#if defined(__x86_64__)
  if (hasAvx2()) return findUnitPairAvx2(text, count, first, second);
#endif
  return findUnitPairPortable(text, count, first, second);
}

}  // namespace orvo::platform
