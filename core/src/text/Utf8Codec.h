// Utf8Codec.h: the library's own UTF-8 conversion of whole texts.
//
// UTF-8 to and from wide text is a hot path (file names, packets, logs), so it
// does not go through iconv. Decoding is strict: an overlong form, an encoded
// surrogate, a code point above U+10FFFF or a truncated sequence gives one
// U+FFFD for each maximal broken part, and decoding goes on behind it. On
// encoding, a lone surrogate or a value beyond U+10FFFF becomes U+FFFD.
//
// Each direction measures first and converts second, so that the caller can
// allocate the exact result once. The measuring pass also finds out whether
// the bytes are well-formed, which lets the converting pass skip all checks:
//
//   const utf8::Measure measure = utf8::measureDecoded(bytes, byteCount);
//   utf8::decode(bytes, byteCount, target, measure);   // measure.units chars
#pragma once

#include <cstddef>

namespace orvo::utf8 {

struct Measure {
  std::size_t units;  // Wide characters that decode writes.
  bool wellFormed;    // No broken sequence: nothing will be replaced.
};

// Measures the decoding of `length` bytes, which hold no zero byte.
Measure measureDecoded(const unsigned char* text, std::size_t length);
// Writes the wide text of `length` bytes, no terminator: exactly
// `measure.units` characters, with `measure` from measureDecoded.
void decode(const unsigned char* text, std::size_t length, wchar_t* target, const Measure& measure);

// Bytes that encode writes for `length` wide characters.
std::size_t encodedLength(const wchar_t* text, std::size_t length);
// Writes the UTF-8 of `length` wide characters, no terminator: exactly
// `targetLength` bytes, with `targetLength` from encodedLength.
void encode(const wchar_t* text, std::size_t length, unsigned char* target, std::size_t targetLength);

}  // namespace orvo::utf8
