// CodePageCodec.h: text of any code page to and from wide text.
//
// The one place that chooses how a code page is converted: UTF-8 (65001) by
// the library's own codec, everything else through the platform's iconv
// converters. Code page 0, the system's own, is read as Windows-1252.
#pragma once

#include <cstddef>

#include "text/TextScratch.h"

namespace orvo::codepage {

constexpr int kSystemDefault = 1252;
constexpr int kUtf8 = 65001;

// The code page the active code page stands for: getCodePage() with 0
// resolved.
int activePage();

// Appends the wide text of `length` bytes of `codePage` text. Broken
// sequences become U+FFFD. False, with nothing appended, if no converter
// knows the code page.
bool toWide(int codePage, const char* text, std::size_t length, TextScratch<wchar_t>& out);
// Appends the `codePage` text of `length` wide characters; characters the
// page lacks become '?'. False if no converter knows the code page.
bool fromWide(int codePage, const wchar_t* text, std::size_t length, TextScratch<char>& out);
// True when the bytes 1 to 127 are the ASCII characters in `codePage`.
bool isAsciiCompatible(int codePage);

}  // namespace orvo::codepage
