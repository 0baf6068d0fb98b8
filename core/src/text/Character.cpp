#include <orvo/core/Character.h>

#include <cstdint>

#include "text/CharacterStep.h"
#include "text/CodePageCodec.h"
#include "text/Utf8Codec.h"

namespace orvo {
namespace {

constexpr int kReplacement = 0xFFFD;

bool isContinuation(unsigned char byte) { return (byte & 0xC0) == 0x80; }

// Appends the active code page's bytes for the code's low 16 bits and returns
// their number, or -1 if no converter knows the page.
int encodeInActivePage(int code, TextScratch<char>& bytes) {
  const wchar_t unit = static_cast<wchar_t>(code & 0xFFFF);
  if (unit == 0) return 0;
  const int page = codepage::activePage();
  if (unit < 0x80 && codepage::isAsciiCompatible(page)) {
    bytes.push(static_cast<char>(unit));
    return 1;
  }
  if (!codepage::fromWide(page, &unit, 1, bytes)) return -1;
  return static_cast<int>(bytes.size());
}

}  // namespace

// --- Code-page text -------------------------------------------------------

template <>
int charLength<char>(int code) {
  TextScratch<char> bytes;
  return encodeInActivePage(code, bytes);
}

int charToString(char* buffer, int code) {
  TextScratch<char> bytes;
  const int length = encodeInActivePage(code, bytes);
  // The buffer holds two bytes and a terminator; a longer form (a shift
  // sequence of a stateful page) counts as one the page refuses.
  if (length < 0 || length > 2) {
    buffer[0] = 0;
    return -1;
  }
  for (int i = 0; i < length; ++i) buffer[i] = bytes.data()[i];
  buffer[length] = 0;
  return length;
}

char* stringChar(const char* text, int& code) {
  if (*text == 0) {
    code = 0;
    return const_cast<char*>(text);
  }
  const char* next = nextCharacter(text);
  const int page = codepage::activePage();
  const auto first = static_cast<unsigned char>(*text);
  if (first < 0x80 && codepage::isAsciiCompatible(page)) {
    code = first;
    return const_cast<char*>(next);
  }
  TextScratch<wchar_t> converted;
  code = kReplacement;
  if (codepage::toWide(page, text, static_cast<std::size_t>(next - text), converted) &&
      converted.size() > 0) {
    code = static_cast<int>(converted.data()[0]);
  }
  return const_cast<char*>(next);
}

int stringGetLastChar(const char* begin, const char*& position) {
  // Character boundaries are only known from the start of the text.
  // A terminator inside the range ends the walk: the step stays on it.
  const char* step = begin;
  const char* next = nextCharacter(step);
  while (next != step && next < position) {
    step = next;
    next = nextCharacter(step);
  }
  position = step;
  int code;
  stringChar(step, code);
  return code;
}

int stringLength(const char* text) {
  int count = 0;
  for (const char* p = text; *p; p = nextCharacter(p)) {
    // A lead byte right before the terminator is no character.
    if ((*p & 0x80) != 0 && p[1] == 0) break;
    ++count;
  }
  return count;
}

// --- UTF-8 ----------------------------------------------------------------

int charToString(unsigned char* buffer, int code) {
  const unsigned unit = static_cast<unsigned>(code) & 0xFFFF;
  const unsigned char* end = unit == 0 ? buffer : utf8::encodeCodePoint(unit, buffer);
  const auto length = static_cast<int>(end - buffer);
  buffer[length] = 0;
  return length;
}

// The UTF-8 walk follows the codec's decoder (Utf8Codec.h), so that
// characters counted here are the characters a conversion gives.

int stringCharLength(const unsigned char* text) {
  std::uint32_t code;
  const std::size_t length = utf8::decodeCharacter(text, code);
  return length == 0 ? 1 : static_cast<int>(length);
}

unsigned char* stringChar(const unsigned char* text, int& code) {
  std::uint32_t decoded;
  const std::size_t length = utf8::decodeCharacter(text, decoded);
  code = static_cast<int>(decoded);
  return const_cast<unsigned char*>(text + length);
}

int stringGetLastChar(const unsigned char* begin, const unsigned char*& position) {
  // Every byte that is no continuation starts a character. The last one
  // before `position` (at most three continuations back) starts the last
  // character if its sequence reaches `position`; otherwise the last byte is
  // a stray continuation, a character of its own.
  const unsigned char* const end = position;
  const unsigned char* start = end - 1;
  while (start > begin && end - start < 4 && isContinuation(*start)) --start;
  std::uint32_t code;
  if (static_cast<std::size_t>(end - start) != utf8::decodeCharacter(start, code)) start = end - 1;
  position = start;
  // The character's bytes as a little-endian number, first byte lowest.
  std::uint32_t bytes = 0;
  for (const unsigned char* p = end; p > start;) bytes = bytes << 8 | *--p;
  return static_cast<int>(bytes);
}

int stringLength(const unsigned char* text) {
  int count = 0;
  for (const unsigned char* p = text; *p; p += stringCharLength(p)) ++count;
  return count;
}

}  // namespace orvo
