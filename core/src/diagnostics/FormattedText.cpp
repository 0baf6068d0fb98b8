#include "diagnostics/FormattedText.h"

#include <new>

#include "platform/WideFormat.h"

namespace orvo {

FormattedText::FormattedText(const wchar_t* format, va_list args) {
  try {
    va_list attempt;
    va_copy(attempt, args);
    int length = platform::formatWide(_text.reserve(kStackCharacters), kStackCharacters, format, attempt);
    va_end(attempt);
    // Too long for the stack, or not formattable at all.
    if (length < 0) length = formatOnHeap(format, args);
    _formatted = length >= 0;
    // Without memory for a long text or a long format there is no text.
  } catch (const std::bad_alloc&) {}
}

// Measures, then formats into room for exactly the text. -1 if the text
// cannot be formatted.
int FormattedText::formatOnHeap(const wchar_t* format, va_list args) {
  va_list measuring;
  va_copy(measuring, args);
  const int needed = platform::measureWide(format, measuring);
  va_end(measuring);
  if (needed < 0) return -1;
  const std::size_t characters = static_cast<std::size_t>(needed) + 1;
  return platform::formatWide(_text.reserve(characters), characters, format, args);
}

}  // namespace orvo
