// ErrnoText.h: the file layer's text for an errno value.
//
// The texts are those of the design's table, each bound to its constant's
// name (ENOENT, EISDIR, ...), so that they follow this system's numbers.
// The table covers the numbers 0 to 42; a number in that range that no
// named text is for gets "UNKNOWN: Unknown error(N).", any other number
// "UNKNOWN: Unknown error". A constant that this system lacks (STRUNCATE on
// Linux) has no number, and so its text is never given. No state; any
// thread may call it.
#pragma once

namespace orvo::io {

// A static text, never freed.
const wchar_t* errnoText(int code);

}  // namespace orvo::io
