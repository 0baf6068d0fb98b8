#include "diagnostics/FormattedText.h"

#include <new>

#include "platform/WideFormat.h"

namespace orvo {

// A bound of the length found first lets the text be formatted once: into
// the stack when it fits there, else into the heap with room for the bound.
// Only a format the bound cannot follow, or a text glibc refuses, pays for
// a failed attempt and a measuring pass.
FormattedText::FormattedText(const wchar_t* format, va_list args) {
  try {
    const platform::TranslatedFormat translated(format);
    va_list walk;
    va_copy(walk, args);
    const int bound = platform::boundWide(translated, walk);
    va_end(walk);
    const std::size_t room =
        bound >= static_cast<int>(kStackCharacters) ? static_cast<std::size_t>(bound) + 1 : kStackCharacters;
    va_list attempt;
    va_copy(attempt, args);
    int length = platform::formatWide(_text.reserve(room), room, translated, attempt);
    va_end(attempt);
    if (length < 0) length = formatOnHeap(translated, args);
    _length = length < 0 ? -1 : length;
    // Without memory for a long text or a long format there is no text.
  } catch (const std::bad_alloc&) {}
}

// Measures, then formats into room for exactly the text. -1 if the text
// cannot be formatted.
int FormattedText::formatOnHeap(const platform::TranslatedFormat& format, va_list args) {
  va_list measuring;
  va_copy(measuring, args);
  const int needed = platform::measureWide(format, measuring);
  va_end(measuring);
  if (needed < 0) return -1;
  const std::size_t characters = static_cast<std::size_t>(needed) + 1;
  return platform::formatWide(_text.reserve(characters), characters, format, args);
}

}  // namespace orvo
