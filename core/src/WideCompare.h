// WideCompare.h: the scanning loops under String's comparison.
//
// Each scan has a portable loop and an AVX2 one, chosen here, inline, so
// that a comparison costs one call.
#pragma once

#include <cstddef>

#include "platform/CpuFeatures.h"

namespace orvo {

namespace detail {
std::size_t firstMismatchPortable(const wchar_t* a, const wchar_t* b, std::size_t count);
std::size_t firstMismatchAvx2(const wchar_t* a, const wchar_t* b, std::size_t count);
std::size_t firstDifferenceOrEndPortable(const wchar_t* a, const wchar_t* b, std::size_t count);
std::size_t firstDifferenceOrEndAvx2(const wchar_t* a, const wchar_t* b, std::size_t count);
}  // namespace detail

// The first index below `count` at which `a` and `b` differ, or `count` if
// they are equal there. Both ranges must be readable for `count` units.
inline std::size_t firstMismatch(const wchar_t* a, const wchar_t* b, std::size_t count) {
  return platform::hasAvx2() ? detail::firstMismatchAvx2(a, b, count)
                             : detail::firstMismatchPortable(a, b, count);
}

// The first index below `count` at which `a` and `b` differ or `a` holds a
// terminator. Both ranges must be readable for `count` units, and one of them
// must have a terminator at or before `count - 1`; if no such index is found
// the answer is `count - 1`.
inline std::size_t firstDifferenceOrEnd(const wchar_t* a, const wchar_t* b, std::size_t count) {
  return platform::hasAvx2() ? detail::firstDifferenceOrEndAvx2(a, b, count)
                             : detail::firstDifferenceOrEndPortable(a, b, count);
}

}  // namespace orvo
