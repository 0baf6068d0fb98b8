// HexDigits.h: the library's one table of hexadecimal digits.
//
// Every hexadecimal text the library makes (Buffer, Uuid, MD5) is two
// lower-case digits a byte, high digit first; every one it reads accepts
// either case.
#pragma once

#include <cstdint>

namespace orvo::hex {

inline constexpr wchar_t kDigits[] = L"0123456789abcdef";

// Writes two digits for each of `count` bytes; returns the end of the text.
inline wchar_t* writeBytes(const std::uint8_t* bytes, int count, wchar_t* text) {
  for (int i = 0; i < count; ++i) {
    *text++ = kDigits[bytes[i] >> 4];
    *text++ = kDigits[bytes[i] & 0x0F];
  }
  return text;
}

// The value of a digit in either case, or -1.
inline int digitValue(wchar_t digit) {
  if (digit >= L'0' && digit <= L'9') return digit - L'0';
  if (digit >= L'a' && digit <= L'f') return digit - L'a' + 10;
  if (digit >= L'A' && digit <= L'F') return digit - L'A' + 10;
  return -1;
}

}  // namespace orvo::hex
