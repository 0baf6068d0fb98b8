// CodePageConverter.h: code-page text to and from wide text through iconv.
//
// Each thread keeps its own open converters for the last few code pages it
// used, so only the first conversion in a code page on a thread pays for
// opening one. A code page iconv does not know is remembered as such, too.
// UTF-8 (65001) is not handled here: the library converts it itself.
//
//   if (auto* converter = platform::CodePageConverter::forCodePage(936)) {
//     TextScratch<wchar_t> wide;
//     converter->toWide(bytes, byteCount, wide);
//   }
#pragma once

#include <cstddef>

#include "text/TextScratch.h"

namespace orvo::platform {

class CodePageConverter {
 public:
  // This thread's converter for `codePage`, or null if iconv has no charset
  // for the number. The pointer is good until the thread asks for another
  // code page.
  static CodePageConverter* forCodePage(int codePage);

  // True when the bytes 1 to 127 stand for the same ASCII characters both
  // ways, so that callers may skip the converter for them.
  bool isAsciiCompatible() const { return _asciiCompatible; }

  // Appends the wide text of `length` bytes. Each broken sequence becomes
  // U+FFFD and the conversion goes on behind it.
  void toWide(const char* text, std::size_t length, TextScratch<wchar_t>& out);
  // Appends the code-page text of `length` wide characters. A character the
  // page lacks becomes '?'.
  void fromWide(const wchar_t* text, std::size_t length, TextScratch<char>& out);

  CodePageConverter(const CodePageConverter&) = delete;
  CodePageConverter& operator=(const CodePageConverter&) = delete;

 private:
  friend class ConverterCache;
  CodePageConverter() = default;
  void open(int codePage);
  void close();
  bool isOpen() const { return _toWide != nullptr; }
  bool probeAscii();

  int _codePage = -1;
  void* _toWide = nullptr;    // iconv_t, code page to WCHAR_T
  void* _fromWide = nullptr;  // iconv_t, WCHAR_T to code page
  bool _asciiCompatible = false;
};

}  // namespace orvo::platform
