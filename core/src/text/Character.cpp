#include <orvo/core/Character.h>

#include "text/CharacterStep.h"
#include "text/CodePageCodec.h"

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
  const char* step = begin;
  const char* next = begin;
  do {
    step = next;
    next = nextCharacter(step);
    if (next == step) break;  // A terminator inside the range.
  } while (next < position);
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
  const int length = charLength<unsigned char>(code);
  const unsigned unit = static_cast<unsigned>(code) & 0xFFFF;
  if (unit == 0) {
    buffer[0] = 0;
    return 0;
  }
  switch (length) {
    case 1:
      buffer[0] = static_cast<unsigned char>(unit & 0x7F);
      break;
    case 2:
      buffer[0] = static_cast<unsigned char>(0xC0 | ((unit >> 6) & 0x1F));
      buffer[1] = static_cast<unsigned char>(0x80 | (unit & 0x3F));
      break;
    default:
      buffer[0] = static_cast<unsigned char>(0xE0 | ((unit >> 12) & 0x0F));
      buffer[1] = static_cast<unsigned char>(0x80 | ((unit >> 6) & 0x3F));
      buffer[2] = static_cast<unsigned char>(0x80 | (unit & 0x3F));
      break;
  }
  buffer[length] = 0;
  return length;
}

int stringCharLength(const unsigned char* text) {
  // A continuation byte is never 0, so these reads stop at the terminator.
  const unsigned char lead = text[0];
  if ((lead & 0xF0) == 0xE0) {
    if (!isContinuation(text[1])) return 1;
    return isContinuation(text[2]) ? 3 : 2;
  }
  if ((lead & 0xE0) == 0xC0) return isContinuation(text[1]) ? 2 : 1;
  return 1;
}

unsigned char* stringChar(const unsigned char* text, int& code) {
  if (*text == 0) {
    code = 0;
    return const_cast<unsigned char*>(text);
  }
  const int length = stringCharLength(text);
  switch (length) {
    case 2:
      code = ((text[0] & 0x1F) << 6) | (text[1] & 0x3F);
      break;
    case 3:
      code = ((text[0] & 0x0F) << 12) | ((text[1] & 0x3F) << 6) | (text[2] & 0x3F);
      break;
    default:
      code = text[0] & 0x7F;
      break;
  }
  return const_cast<unsigned char*>(text + length);
}

int stringGetLastChar(const unsigned char* begin, const unsigned char*& position) {
  const unsigned char* p = --position;
  const int last = *p;
  if (p == begin || !isContinuation(*p)) return last;
  const unsigned char before = p[-1];
  if ((before & 0xE0) == 0xC0) {
    position = p - 1;
    return (last << 8) | before;
  }
  if (isContinuation(before) && p - 1 != begin && (p[-2] & 0xF0) == 0xE0) {
    position = p - 2;
    return (last << 16) | (before << 8) | p[-2];
  }
  return last;
}

int stringLength(const unsigned char* text) {
  int count = 0;
  for (const unsigned char* p = text; *p; p += stringCharLength(p)) ++count;
  return count;
}

}  // namespace orvo
