// WideFormat.h: the one way the library formats wide text.
//
// The library's format strings follow the conventions it was designed with:
// in a wide format "%s" takes a wide string, "%S" a narrow one, "%c" a wide
// character, "%C" a narrow one, and "%I64d" a 64-bit integer. glibc reads them
// otherwise, so every wide formatting call goes through these functions, which
// rewrite the format to glibc's conventions first. Nothing else calls
// vswprintf. The functions keep no state; any thread may call them.
#pragma once

#include <cstdarg>
#include <cstddef>

#include "text/TextScratch.h"

namespace orvo::platform {

// A format rewritten to glibc's conventions. A format of up to 127
// characters stays on the stack (512 bytes), so that formatting a message
// allocates nothing; a longer one goes to the heap.
class TranslatedFormat {
 public:
  explicit TranslatedFormat(const wchar_t* format);
  TranslatedFormat(const TranslatedFormat&) = delete;
  TranslatedFormat& operator=(const TranslatedFormat&) = delete;

  const wchar_t* get() const { return _text.data(); }

 private:
  TextScratch<wchar_t, 128> _text;
};

// Writes the formatted text into `buffer` of `capacity` wide characters,
// terminator included. Returns the length, or -1 if the text does not fit or
// cannot be formatted; the buffer then holds an empty string.
int formatWide(wchar_t* buffer, std::size_t capacity, const wchar_t* format, va_list args);
int formatWide(wchar_t* buffer, std::size_t capacity, const TranslatedFormat& format, va_list args);

// The length that formatWide would produce given room enough, or -1 if the
// text cannot be formatted at all.
int measureWide(const wchar_t* format, va_list args);
int measureWide(const TranslatedFormat& format, va_list args);

// A length the formatted text never exceeds, found by walking the arguments
// without formatting them, or -1 for a format the walk does not cover
// (positional arguments, %n, unusual size prefixes, a bound beyond int).
// It lets a caller format once into room known to be enough: glibc is slow
// to fail when the room is too small.
int boundWide(const TranslatedFormat& format, va_list args);

}  // namespace orvo::platform
