// Character.h: one-character operations on text buffers in the three forms.
//
// Each primitive comes in three overloads, one per code unit: `char` for text
// in the active code page (see CodePage.h), `unsigned char` for UTF-8 and
// `wchar_t` for wide text. A "code" is an int holding one character; for the
// 8-bit forms it is a 16-bit UTF-16 unit, for wchar_t the code point itself.
// They work on plain terminated buffers and know nothing of strings; TString
// walks its text with them.
//
//   int code;
//   const unsigned char* next = stringChar(utf8Text, code);   // decode one
//   char bytes[3];
//   int n = charToString(bytes, 0x20AC);   // euro sign in the active page
//
// The code-page form follows the double-byte rule: a byte with its high bit
// set opens a two-byte character. The UTF-8 form walks the text as the
// library's UTF-8 conversion does (StringHelper::utf8ToWide), so that a
// StringUtf8 has exactly the characters its String has. No primitive steps
// past a terminator.
//
// Unlike the Windows design, whose wchar_t holds UTF-16: a four-byte UTF-8
// sequence is one character whose code is the code point above U+FFFF, and a
// broken sequence (a stray byte, an overlong or cut-off form, an encoded
// surrogate) is one character of code U+FFFD for each maximal broken part,
// not the low bits of its bytes.
//
// Threads: the primitives keep no state beyond the active code page
// (CodePage.h) and may run on all threads at once on buffers that no thread
// writes.
#pragma once

#include <cwchar>

#include <orvo/core/Export.h>

namespace orvo {

// Code units that the character `code` takes, without a terminator.
template <class T>
int charLength(int code);

// The active code page's answer; -1 if it cannot encode the code at all.
template <>
ORVO_API int charLength<char>(int code);

template <>
inline int charLength<unsigned char>(int code) {
  if ((code & 0xFF80) == 0) return 1;
  return (code & 0xF800) != 0 ? 3 : 2;
}

template <>
inline int charLength<wchar_t>(int) {
  return 1;
}

// Writes the character and a terminator; returns the units written without
// the terminator. `buffer` holds 3 bytes for char, 4 for UTF-8. The code 0
// writes only the terminator and returns 0; -1 means the active code page
// cannot encode the code (the buffer then holds an empty text).
ORVO_API int charToString(char* buffer, int code);
ORVO_API int charToString(unsigned char* buffer, int code);
inline int charToString(wchar_t* buffer, int code) {
  buffer[0] = static_cast<wchar_t>(code);
  if (code == 0) return 0;
  buffer[1] = 0;
  return 1;
}

// Units of the character at `text`.
inline int stringCharLength(const char* text) { return (*text & 0x80) != 0 ? 2 : 1; }
ORVO_API int stringCharLength(const unsigned char* text);
inline int stringCharLength(const wchar_t*) { return 1; }

// Decodes the character at `text` into `code` and returns the position behind
// it. At a terminator `code` is 0 and the position stays on the terminator. A
// character the code page cannot decode gives U+FFFD.
ORVO_API char* stringChar(const char* text, int& code);
ORVO_API unsigned char* stringChar(const unsigned char* text, int& code);
inline wchar_t* stringChar(const wchar_t* text, int& code) {
  code = static_cast<int>(*text);
  return const_cast<wchar_t*>(code == 0 ? text : text + 1);
}

// Steps `position` back over one character, which must lie behind `begin`.
// The code-page form answers the character's code; the UTF-8 form answers its
// bytes as a little-endian number, first byte lowest (below 128 only for an
// ASCII character).
ORVO_API int stringGetLastChar(const char* begin, const char*& position);
ORVO_API int stringGetLastChar(const unsigned char* begin, const unsigned char*& position);
inline int stringGetLastChar(const wchar_t*, const wchar_t*& position) {
  return static_cast<int>(*--position);
}

// Characters up to the terminator.
ORVO_API int stringLength(const char* text);
ORVO_API int stringLength(const unsigned char* text);
inline int stringLength(const wchar_t* text) { return static_cast<int>(std::wcslen(text)); }

}  // namespace orvo
