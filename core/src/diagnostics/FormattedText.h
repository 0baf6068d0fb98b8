// FormattedText.h: one message formatted once, for the log and the console.
//
// The text is formatted into a stack buffer of 32768 wide characters, so a
// message of up to 32767 characters costs no allocation; a longer one goes to
// a Buffer on the heap. Nothing is cut. Make it on the stack:
//
//   FormattedText text(format, args);
//   if (text.get()) deliver(text.get());
#pragma once

#include <cstdarg>

#include <orvo/core/Buffer.h>

namespace orvo {

class FormattedText {
 public:
  static constexpr int kStackCharacters = 32768;

  FormattedText(const wchar_t* format, va_list args);
  FormattedText(const FormattedText&) = delete;
  FormattedText& operator=(const FormattedText&) = delete;

  // The text, or null if it could not be formatted.
  const wchar_t* get() const { return _text; }

 private:
  wchar_t _stack[kStackCharacters];
  Buffer _heap;
  const wchar_t* _text = nullptr;
};

}  // namespace orvo
