// StringConvert.h: a text of any form, ready to become a string of any form.
//
// A StringConvert holds one pointer to text it does not own, and converts it
// on demand to whichever string type it is assigned to, through StringHelper:
//
//   void setTitle(const String& title);
//   setTitle(StringConvert(utf8Bytes));
//   StringAnsi name = StringConvert(L"label");
//
// One made with a null pointer gives the empty string of every type.
//
// Threads: it only reads the text, which must stay alive and unchanged while
// a conversion runs; conversions may run on all threads at once.
#pragma once

#include <orvo/core/Export.h>
#include <orvo/core/String.h>

namespace orvo {

class ORVO_API StringConvert {
 public:
  StringConvert(const char* text) : ansi(text) {}
  StringConvert(const unsigned char* text) : utf8(text) {}
  StringConvert(const wchar_t* text) : wide(text) {}

  operator StringUtf8() const;
  operator StringAnsi() const;
  operator String() const;

 private:
  const char* ansi = nullptr;
  const unsigned char* utf8 = nullptr;
  const wchar_t* wide = nullptr;
};

}  // namespace orvo
