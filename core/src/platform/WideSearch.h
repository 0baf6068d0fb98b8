// WideSearch.h: where a wide needle may begin, for String's find.
//
// A needle's first unit alone is a poor filter in ordinary text (every
// 'e' of a haystack is a false start for "end"), and each false start costs
// the C library's wmemchr a call. Looking for the first two units together
// turns almost all of them away; with AVX2 that takes eight positions at a
// time and finds "needle" near the end of 1,000 letters in a quarter of the
// time std::wstring::find takes (bench/strings.cpp).
// Without AVX2 the wmemchr loop remains. Shared by all threads: it keeps no
// state.
#pragma once

#include <cstddef>

namespace orvo::platform {

// The first p in [text, text + count) where p[0] is `first` and p[1] is
// `second`, or null. Reads text[count], which must exist.
const wchar_t* findUnitPair(const wchar_t* text, std::size_t count, wchar_t first, wchar_t second);

}  // namespace orvo::platform
