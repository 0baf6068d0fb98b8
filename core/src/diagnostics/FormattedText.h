// FormattedText.h: one message formatted once, for the log and the console.
//
// A text of up to 255 characters is formatted on the stack (1 KiB, so that
// a thread with a small stack or a signal stack can log); a longer one goes
// to the heap, whatever its length, formatted once into room for a bound of
// its length worked out beforehand. Nothing is cut. Make it on the stack, on
// the thread that uses it:
//
//   FormattedText text(format, args);
//   if (text.get()) deliver(text.get());
#pragma once

#include <cstdarg>
#include <cstddef>

#include "text/TextScratch.h"

namespace orvo {
namespace platform {
class TranslatedFormat;
}

class FormattedText {
 public:
  static constexpr std::size_t kStackCharacters = 256;

  FormattedText(const wchar_t* format, va_list args);
  FormattedText(const FormattedText&) = delete;
  FormattedText& operator=(const FormattedText&) = delete;

  // The text, or null if it could not be formatted or had no room.
  const wchar_t* get() const { return _length >= 0 ? _text.data() : nullptr; }
  // Its length in characters, or -1 with no text.
  int length() const { return _length; }

 private:
  int formatOnHeap(const platform::TranslatedFormat& format, va_list args);

  TextScratch<wchar_t, kStackCharacters> _text;
  int _length = -1;
};

}  // namespace orvo
