// WideFormat.h: the one way the library formats wide text.
//
// The library's format strings follow the conventions it was designed with:
// in a wide format "%s" takes a wide string, "%S" a narrow one, "%c" a wide
// character, "%C" a narrow one, and "%I64d" a 64-bit integer. glibc reads them
// otherwise, so every wide formatting call goes through these functions, which
// rewrite the format to glibc's conventions first. Nothing else calls
// vswprintf.
#pragma once

#include <cstdarg>
#include <cstddef>
#include <string>

namespace orvo::platform {

// A format rewritten to glibc's conventions. Short formats live on the stack,
// so that formatting a message allocates nothing.
class TranslatedFormat {
 public:
  explicit TranslatedFormat(const wchar_t* format);
  TranslatedFormat(const TranslatedFormat&) = delete;
  TranslatedFormat& operator=(const TranslatedFormat&) = delete;

  const wchar_t* get() const { return _heap.empty() ? _inline : _heap.c_str(); }

 private:
  static constexpr std::size_t kInlineCapacity = 256;
  wchar_t _inline[kInlineCapacity];
  std::wstring _heap;
};

// Writes the formatted text into `buffer` of `capacity` wide characters,
// terminator included. Returns the length, or -1 if the text does not fit or
// cannot be formatted; the buffer then holds an empty string.
int formatWide(wchar_t* buffer, std::size_t capacity, const wchar_t* format, va_list args);

// The length that formatWide would produce given room enough, or -1 if the
// text cannot be formatted at all.
int measureWide(const wchar_t* format, va_list args);

}  // namespace orvo::platform
