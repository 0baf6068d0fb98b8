// StringHelper.h: whole-string conversions among the three string forms.
//
// Wide text (String) is the pivot: the two 8-bit forms convert through it.
// UTF-8 is converted by the library itself; code-page text by the platform's
// converter for the active code page (CodePage.h). A character the target
// lacks becomes '?'; a broken source sequence becomes U+FFFD in wide text and
// '?' in code-page text. A null text, an empty one, or code-page text under a
// code page no converter knows gives the empty string.
//
// Threads: the functions keep no state of their own beyond the active code
// page and may run on all threads at once; the strings they return are the
// caller's (see String.h for sharing strings).
//
//   StringUtf8 bytes = StringHelper::wideToUtf8(L"caf\u00e9");   // 63 61 66 C3 A9
//   String text = StringHelper::utf8ToWide(bytes);
#pragma once

#include <orvo/core/Export.h>
#include <orvo/core/String.h>

namespace orvo {

class ORVO_API StringHelper {
 public:
  StringHelper() = delete;

  static StringAnsi wideToAnsi(const wchar_t* text);
  // Unlike Windows, Windows-1252 (also the default page) has no character
  // for the bytes 0x81, 0x8D, 0x8F, 0x90 and 0x9D here: each becomes U+FFFD.
  static String ansiToWide(const char* text);
  static StringUtf8 wideToUtf8(const wchar_t* text);
  static String utf8ToWide(const unsigned char* text);
  static StringAnsi utf8ToAnsi(const unsigned char* text);
  static StringUtf8 ansiToUtf8(const char* text);
};

// The 8-bit strings have no wire form of their own: they travel as String, so
// the count on the wire is one of UTF-16 units, whichever form was written.
template <class TyOs>
  requires std::derived_from<TyOs, OutputStream>
TyOs& operator<<(TyOs& os, const StringAnsi& text) {
  return os << StringHelper::ansiToWide(text.getBuffer());
}

template <class TyOs>
  requires std::derived_from<TyOs, OutputStream>
TyOs& operator<<(TyOs& os, const StringUtf8& text) {
  return os << StringHelper::utf8ToWide(text.getBuffer());
}

namespace detail {
template <class TyIs, class Text, class Convert>
TyIs& readThroughWide(TyIs& is, Text& text, Convert convert) {
  String wide;
  is >> wide;
  text = convert(wide.getBuffer());
  return is;
}
}  // namespace detail

template <class TyIs>
  requires std::derived_from<TyIs, InputStream>
TyIs& operator>>(TyIs& is, StringAnsi& text) {
  return detail::readThroughWide(is, text, &StringHelper::wideToAnsi);
}

template <class TyIs>
  requires std::derived_from<TyIs, InputStream>
TyIs& operator>>(TyIs& is, StringUtf8& text) {
  return detail::readThroughWide(is, text, &StringHelper::wideToUtf8);
}

}  // namespace orvo
