// WideCompare.h: the scanning loops under String's comparison.
//
// Each comparison has a portable loop and an AVX2 one, chosen here, inline,
// so that a comparison costs one call, and a call the caller can end on.
#pragma once

#include <cstddef>

#include "platform/CpuFeatures.h"

namespace orvo {

namespace detail {
int compareUnitsPortable(const wchar_t* a, const wchar_t* b, std::size_t count);
int compareUnitsAvx2(const wchar_t* a, const wchar_t* b, std::size_t count);
int compareUnitsToTerminatorPortable(const wchar_t* a, const wchar_t* b, std::size_t count);
int compareUnitsToTerminatorAvx2(const wchar_t* a, const wchar_t* b, std::size_t count);
}  // namespace detail

// -1, 0 or 1 by the first of the `count` units where `a` and `b` differ,
// taken as unsigned numbers; 0 if they are equal. Both ranges must be
// readable for `count` units.
inline int compareUnits(const wchar_t* a, const wchar_t* b, std::size_t count) {
  return platform::hasAvx2() ? detail::compareUnitsAvx2(a, b, count) : detail::compareUnitsPortable(a, b, count);
}

// The same, but a terminator in `a` ends the comparison: equal units up to
// and including it give 0.
inline int compareUnitsToTerminator(const wchar_t* a, const wchar_t* b, std::size_t count) {
  return platform::hasAvx2() ? detail::compareUnitsToTerminatorAvx2(a, b, count)
                             : detail::compareUnitsToTerminatorPortable(a, b, count);
}

}  // namespace orvo
