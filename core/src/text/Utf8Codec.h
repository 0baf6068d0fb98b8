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
//
// The same rules serve the one-character walk over terminated UTF-8
// (decodeCharacter), so that a StringUtf8 counts and decodes exactly the
// characters its conversion to String gives. encodeCodePoint is the library's
// one UTF-8 encoder of a single character.
#pragma once

#include <cstddef>
#include <cstdint>

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

// Decodes the character at `text`, a terminated text, by the rules of
// decode: `code` gets the code point, or U+FFFD for a broken sequence.
// Answers the bytes it takes, 0 at the terminator.
std::size_t decodeCharacter(const unsigned char* text, std::uint32_t& code);

// A code point that UTF-8 can carry: not a surrogate, not beyond U+10FFFF.
inline bool isScalarValue(std::uint32_t code) { return code <= 0x10FFFF && (code < 0xD800 || code > 0xDFFF); }

// Writes the one to four bytes of `code` and returns the position behind
// them; a value that is not a scalar value is written as U+FFFD.
inline unsigned char* encodeCodePoint(std::uint32_t code, unsigned char* out) {
  if (code < 0x80) {
    *out = static_cast<unsigned char>(code);
    return out + 1;
  }
  if (!isScalarValue(code)) code = 0xFFFD;
  if (code < 0x800) {
    out[0] = static_cast<unsigned char>(0xC0 | (code >> 6));
    out[1] = static_cast<unsigned char>(0x80 | (code & 0x3F));
    return out + 2;
  }
  if (code < 0x10000) {
    out[0] = static_cast<unsigned char>(0xE0 | (code >> 12));
    out[1] = static_cast<unsigned char>(0x80 | ((code >> 6) & 0x3F));
    out[2] = static_cast<unsigned char>(0x80 | (code & 0x3F));
    return out + 3;
  }
  out[0] = static_cast<unsigned char>(0xF0 | (code >> 18));
  out[1] = static_cast<unsigned char>(0x80 | ((code >> 12) & 0x3F));
  out[2] = static_cast<unsigned char>(0x80 | ((code >> 6) & 0x3F));
  out[3] = static_cast<unsigned char>(0x80 | (code & 0x3F));
  return out + 4;
}

// Decodes the character at `p` of text that measureDecoded found
// well-formed, with no checks, and returns the position behind it.
inline const unsigned char* decodeWellFormedCharacter(const unsigned char* p, wchar_t*& out) {
  const unsigned lead = p[0];
  if (lead < 0x80) {
    *out++ = static_cast<wchar_t>(lead);
    return p + 1;
  }
  if (lead < 0xE0) {
    *out++ = static_cast<wchar_t>(((lead & 0x1F) << 6) | (p[1] & 0x3F));
    return p + 2;
  }
  if (lead < 0xF0) {
    *out++ = static_cast<wchar_t>(((lead & 0x0F) << 12) | ((p[1] & 0x3F) << 6) | (p[2] & 0x3F));
    return p + 3;
  }
  *out++ = static_cast<wchar_t>(((lead & 0x07) << 18) | ((p[1] & 0x3F) << 12) | ((p[2] & 0x3F) << 6) |
                                (p[3] & 0x3F));
  return p + 4;
}

}  // namespace orvo::utf8
