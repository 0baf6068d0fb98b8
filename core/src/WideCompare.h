// WideCompare.h: the scanning loops under String's comparison.
#pragma once

#include <cstddef>

namespace orvo {

// The first index below `count` at which `a` and `b` differ, or `count` if
// they are equal there. Both ranges must be readable for `count` units.
std::size_t firstMismatch(const wchar_t* a, const wchar_t* b, std::size_t count);

// The first index below `count` at which `a` and `b` differ or `a` holds a
// terminator. Both ranges must be readable for `count` units, and one of them
// must have a terminator at or before `count - 1`; if no such index is found
// the answer is `count - 1`.
std::size_t firstDifferenceOrEnd(const wchar_t* a, const wchar_t* b, std::size_t count);

}  // namespace orvo
