#include "platform/WideFormat.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
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

// Bounds the text of a format already in glibc's conventions by walking a
// copy of its arguments in the order glibc takes them. Every length it gives
// is at least what glibc writes; whatever it does not know ends the walk.
class LengthBound {
 public:
  explicit LengthBound(va_list args) { va_copy(_args, args); }
  ~LengthBound() { va_end(_args); }
  LengthBound(const LengthBound&) = delete;
  LengthBound& operator=(const LengthBound&) = delete;

  long long of(const wchar_t* p) {
    long long total = 0;
    while (*p && total <= kLimit) {
      if (*p++ != L'%') {
        ++total;
      } else if (*p == L'%') {
        ++total, ++p;
      } else {
        const long long conversion = conversionAt(p);
        if (conversion < 0) return -1;
        total += conversion;
      }
    }
    return total <= kLimit ? total : -1;
  }

 private:
  static constexpr long long kLimit = INT32_MAX / 2;
  enum class Size { Int, Long, LongLong, Max, Sizes, Difference, LongDouble };

  // A width or precision written in digits; saturates beyond the limit.
  static long long digits(const wchar_t*& p) {
    long long value = 0;
    for (; isDigit(*p); ++p) value = std::min(value * 10 + (*p - L'0'), kLimit + 1);
    return value;
  }

  // A width or precision: digits, or '*' for an int argument. -1 for none,
  // -2 for a positional argument, which the walk does not follow.
  long long amount(const wchar_t*& p, bool negativeIsNone) {
    if (*p == L'*') {
      ++p;
      if (isDigit(*p)) return -2;
      const long long value = va_arg(_args, int);
      return value >= 0 ? value : negativeIsNone ? -1 : -value;
    }
    if (!isDigit(*p)) return -1;
    const long long value = digits(p);
    return *p == L'$' ? -2 : value;
  }

  static Size sizeAt(const wchar_t*& p) {
    const wchar_t c = *p;
    const bool doubled = p[1] == c;
    switch (c) {
      case L'h': p += doubled ? 2 : 1; return Size::Int;
      case L'l': p += doubled ? 2 : 1; return doubled ? Size::LongLong : Size::Long;
      case L'q': ++p; return Size::LongLong;
      case L'L': ++p; return Size::LongDouble;
      case L'j': ++p; return Size::Max;
      case L'z': ++p; return Size::Sizes;
      case L't': ++p; return Size::Difference;
      default: return Size::Int;
    }
  }

  // One conversion from after its '%'; -1 if the walk cannot follow it.
  long long conversionAt(const wchar_t*& p) {
    bool grouping = false;
    for (; isFlag(*p); ++p) grouping = grouping || *p == L'\'';
    const long long width = amount(p, false);
    long long precision = -1;
    if (*p == L'.') {
      ++p;
      precision = isDigit(*p) || *p == L'*' ? amount(p, true) : 0;
    }
    if (width == -2 || precision == -2) return -1;
    const wchar_t* sizeStart = p;
    const Size size = sizeAt(p);
    const bool sized = p != sizeStart;
    const wchar_t conversion = *p;
    if (conversion == 0) return -1;
    ++p;
    const long long text = valueBound(conversion, sized, size, precision, grouping ? 2 : 1);
    return text < 0 ? -1 : std::max(text, width);
  }

  bool takeInteger(Size size) {
    switch (size) {
      case Size::Int: va_arg(_args, int); return true;
      case Size::Long: va_arg(_args, long); return true;
      case Size::LongLong: va_arg(_args, long long); return true;
      case Size::Max: va_arg(_args, std::intmax_t); return true;
      case Size::Sizes: va_arg(_args, std::size_t); return true;
      case Size::Difference: va_arg(_args, std::ptrdiff_t); return true;
      case Size::LongDouble: break;  // glibc's own reading of %Ld.
    }
    return false;
  }

  long long valueBound(wchar_t conversion, bool sized, Size size, long long precision, int grouping) {
    // The translation leaves %c and %s bare or with l; anything else is refused.
    const bool text = conversion == L'c' || conversion == L's';
    if (text && sized && size != Size::Long) return -1;
    switch (conversion) {
      case L'd': case L'i': case L'u': case L'o': case L'x': case L'X':
        // 22 octal digits hold 64 bits; sign and prefix take at most 3.
        return takeInteger(size) ? std::max(precision, 22LL) * grouping + 3 : -1;
      case L'c':
        if (sized) {
          va_arg(_args, std::wint_t);
        } else {
          va_arg(_args, int);
        }
        return 1;
      case L's':
        if (sized) return wideLength(va_arg(_args, const wchar_t*), precision);
        return narrowLength(va_arg(_args, const char*), precision);
      case L'p':
        if (sized) return -1;
        va_arg(_args, void*);
        return std::max(precision, 16LL) + 4;
      case L'f': case L'F': case L'e': case L'E': case L'g': case L'G': case L'a': case L'A':
        return floatBound(conversion, sized, size, precision < 0 ? 6 : precision, grouping);
      default:
        return -1;  // %n, glibc's %m, and anything unknown.
    }
  }

  long long floatBound(wchar_t conversion, bool sized, Size size, long long precision, int grouping) {
    int exponent = 0;
    bool finite = true;
    if (size == Size::LongDouble) {
      const long double value = va_arg(_args, long double);
      finite = std::isfinite(value);
      if (finite) exponent = value == 0 ? 0 : std::ilogb(value);
    } else if (!sized || size == Size::Long) {
      const double value = va_arg(_args, double);
      finite = std::isfinite(value);
      if (finite) exponent = value == 0 ? 0 : std::ilogb(value);
    } else {
      return -1;
    }
    // Exponent forms: a sign, precision (at most 16 hex digits when %a is
    // exact), point, and an exponent of up to five digits with its signs.
    if (conversion != L'f' && conversion != L'F') return (std::max(precision, 17LL) + 16) * grouping;
    if (!finite) return 5;
    // log10(2) < 0.30103; one more digit for a carry out of rounding.
    const long long integerDigits = exponent < 0 ? 2 : (exponent + 1LL) * 30103 / 100000 + 2;
    return 2 + integerDigits * grouping + precision;
  }

  // Each wide character comes from at least one byte.
  static long long narrowLength(const char* text, long long precision) {
    if (!text) return 6;  // "(null)"
    return static_cast<long long>(precision < 0 ? std::strlen(text) : strnlen(text, precision));
  }
  static long long wideLength(const wchar_t* text, long long precision) {
    if (!text) return 6;
    return static_cast<long long>(precision < 0 ? std::wcslen(text) : wcsnlen(text, precision));
  }

  va_list _args;
};

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
  return formatWide(buffer, capacity, TranslatedFormat(format), args);
}

int formatWide(wchar_t* buffer, std::size_t capacity, const TranslatedFormat& format, va_list args) {
  if (capacity == 0) return -1;
  const int length = std::vswprintf(buffer, capacity, format.get(), args);
  if (length < 0) buffer[0] = 0;
  return length;
}

int measureWide(const wchar_t* format, va_list args) { return measureWide(TranslatedFormat(format), args); }

int measureWide(const TranslatedFormat& translated, va_list args) {
  wchar_t* text = nullptr;
  std::size_t size = 0;
  std::FILE* stream = open_wmemstream(&text, &size);
  if (!stream) return -1;
  const int length = std::vfwprintf(stream, translated.get(), args);
  std::fclose(stream);
  std::free(text);
  return length;
}

int boundWide(const TranslatedFormat& format, va_list args) {
  return static_cast<int>(LengthBound(args).of(format.get()));
}

}  // namespace orvo::platform
