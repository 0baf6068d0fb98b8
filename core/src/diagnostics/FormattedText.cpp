#include "diagnostics/FormattedText.h"

#include <climits>

#include "platform/WideFormat.h"

namespace orvo {

FormattedText::FormattedText(const wchar_t* format, va_list args) {
  va_list attempt;
  va_copy(attempt, args);
  const int length = platform::formatWide(_stack, kStackCharacters, format, attempt);
  va_end(attempt);
  if (length >= 0) {
    _text = _stack;
    return;
  }

  // Too long for the stack, or not formattable at all: measuring tells which.
  va_list measuring;
  va_copy(measuring, args);
  const int needed = platform::measureWide(format, measuring);
  va_end(measuring);
  if (needed < 0 || needed >= INT_MAX / static_cast<int>(sizeof(wchar_t)) - 1) return;

  const int characters = needed + 1;
  const int bytes = characters * static_cast<int>(sizeof(wchar_t));
  if (_heap.setBufferSize(bytes) != bytes) return;
  auto* text = static_cast<wchar_t*>(_heap.getBuffer());
  if (platform::formatWide(text, static_cast<std::size_t>(characters), format, args) >= 0) _text = text;
}

}  // namespace orvo
