#include "platform/WideFormat.h"

#include <cstdio>
#include <cstdlib>
#include <cwchar>

namespace orvo::platform {
namespace {

bool isFlag(wchar_t c) {
  return c == L'-' || c == L'+' || c == L' ' || c == L'#' || c == L'0' || c == L'\'';
}

bool isDigit(wchar_t c) { return c >= L'0' && c <= L'9'; }

bool isIntegerConversion(wchar_t c) {
  return c == L'd' || c == L'i' || c == L'u' || c == L'x' || c == L'X' || c == L'o';
}

using FormatWriter = TextScratch<wchar_t, 128>;

// Copies one conversion, starting after its '%', and returns the position
// after it. Flags, width and precision pass through; the size prefix and the
// conversion letter are rewritten.
const wchar_t* translateConversion(const wchar_t* p, FormatWriter& out) {
  while (isFlag(*p)) out.push(*p++);
  if (*p == L'*') out.push(*p++);
  while (isDigit(*p)) out.push(*p++);
  if (*p == L'.') {
    out.push(*p++);
    if (*p == L'*') out.push(*p++);
    while (isDigit(*p)) out.push(*p++);
  }

  enum class Size { None, Narrow, Wide, Int64, Int32, Pointer, Other };
  Size size = Size::None;
  const wchar_t* other = p;
  if (p[0] == L'I' && p[1] == L'6' && p[2] == L'4') {
    size = Size::Int64, p += 3;
  } else if (p[0] == L'I' && p[1] == L'3' && p[2] == L'2') {
    size = Size::Int32, p += 3;
  } else if (p[0] == L'I') {
    size = Size::Pointer, p += 1;
  } else if (p[0] == L'h' && (p[1] == L's' || p[1] == L'c' || p[1] == L'S' || p[1] == L'C')) {
    size = Size::Narrow, p += 1;
  } else if ((p[0] == L'l' || p[0] == L'w') &&
             (p[1] == L's' || p[1] == L'c' || p[1] == L'S' || p[1] == L'C')) {
    size = Size::Wide, p += 1;
  } else {
    while (*p == L'h' || *p == L'l' || *p == L'L' || *p == L'q' || *p == L'j' ||
           *p == L'z' || *p == L't') {
      ++p;
    }
    if (p != other) size = Size::Other;
  }

  const wchar_t conversion = *p;
  if (conversion == 0) return p;  // A format that ends inside a conversion.
  ++p;

  const bool text = conversion == L's' || conversion == L'S';
  const bool character = conversion == L'c' || conversion == L'C';
  if (text || character) {
    bool wide = conversion == L's' || conversion == L'c';
    if (size == Size::Narrow) wide = false;
    if (size == Size::Wide) wide = true;
    if (wide) out.push(L'l');
    out.push(text ? L's' : L'c');
    return p;
  }
  if (size == Size::Int64 && isIntegerConversion(conversion)) out.append(L"ll", 2);
  if (size == Size::Pointer && isIntegerConversion(conversion)) out.push(L'z');
  if (size == Size::Other) {
    for (const wchar_t* q = other; q != p - 1; ++q) out.push(*q);
  }
  out.push(conversion);
  return p;
}

}  // namespace

TranslatedFormat::TranslatedFormat(const wchar_t* format) {
  FormatWriter& out = _text;
  const wchar_t* p = format ? format : L"";
  while (*p) {
    if (*p != L'%') {
      out.push(*p++);
      continue;
    }
    out.push(*p++);
    if (*p == L'%') {
      out.push(*p++);
      continue;
    }
    p = translateConversion(p, out);
  }
  out.push(0);
}

int formatWide(wchar_t* buffer, std::size_t capacity, const wchar_t* format, va_list args) {
  if (capacity == 0) return -1;
  TranslatedFormat translated(format);
  const int length = std::vswprintf(buffer, capacity, translated.get(), args);
  if (length < 0) buffer[0] = 0;
  return length;
}

int measureWide(const wchar_t* format, va_list args) {
  TranslatedFormat translated(format);
  wchar_t* text = nullptr;
  std::size_t size = 0;
  std::FILE* stream = open_wmemstream(&text, &size);
  if (!stream) return -1;
  const int length = std::vfwprintf(stream, translated.get(), args);
  std::fclose(stream);
  std::free(text);
  return length;
}

}  // namespace orvo::platform
