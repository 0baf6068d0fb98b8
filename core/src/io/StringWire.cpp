// The wire form of strings: a 32-bit count of UTF-16 units, then the units,
// little-endian. In memory a wchar_t holds a whole code point, so code points
// above U+FFFF travel as surrogate pairs and come back as one; a lone
// surrogate passes through as it is.
#include <orvo/core/String.h>

#include <climits>
#include <memory>

#include "text/StringBlock.h"

namespace orvo::detail {
namespace {

constexpr int kStackUnits = 4096;

bool needsPair(std::uint32_t c) { return c > 0xFFFF && c <= 0x10FFFF; }

// Room for `units` UTF-16 units: on the stack up to 8 KiB, else on the heap.
class UnitBuffer {
 public:
  explicit UnitBuffer(long long units) {
    if (units > kStackUnits) {
      _heap.reset(new (std::nothrow) char16_t[static_cast<std::size_t>(units)]);
      _units = _heap.get();
    }
  }
  char16_t* get() const { return _units; }

 private:
  char16_t _stack[kStackUnits];
  std::unique_ptr<char16_t[]> _heap;
  char16_t* _units = _stack;
};

// Branch-free scans, so that the compiler can vectorise the common case of
// text without pairs.
bool allInBasicPlane(const wchar_t* text, int count) {
  std::uint32_t high = 0;
  for (int i = 0; i < count; ++i) high |= static_cast<std::uint32_t>(text[i]) & 0xFFFF0000u;
  return high == 0;
}

bool noSurrogates(const char16_t* units, int count) {
  unsigned int found = 0;
  for (int i = 0; i < count; ++i) found |= static_cast<unsigned int>(units[i] - 0xD800u) < 0x800u;
  return found == 0;
}

}  // namespace

bool writeStringUnits(OutputStream& os, const wchar_t* text, int codePoints) {
  if (allInBasicPlane(text, codePoints)) {
    os << static_cast<std::int32_t>(codePoints);
    UnitBuffer buffer(codePoints);
    char16_t* out = buffer.get();
    if (!out) return false;
    for (int i = 0; i < codePoints; ++i) out[i] = static_cast<char16_t>(text[i]);
    return os.write(out, codePoints * 2) == codePoints * 2;
  }
  long long units = codePoints;
  for (int i = 0; i < codePoints; ++i) units += needsPair(static_cast<std::uint32_t>(text[i]));
  if (units > INT_MAX / 2) return false;
  os << static_cast<std::int32_t>(units);

  UnitBuffer buffer(units);
  char16_t* out = buffer.get();
  if (!out) return false;
  for (int i = 0; i < codePoints; ++i) {
    const auto c = static_cast<std::uint32_t>(text[i]);
    if (needsPair(c)) {
      *out++ = static_cast<char16_t>(0xD800 + ((c - 0x10000) >> 10));
      *out++ = static_cast<char16_t>(0xDC00 + ((c - 0x10000) & 0x3FF));
    } else {
      // Beyond Unicode a value cannot travel: it becomes U+FFFD.
      *out++ = static_cast<char16_t>(c <= 0x10FFFF ? c : 0xFFFD);
    }
  }
  const int bytes = static_cast<int>(units) * 2;
  return os.write(buffer.get(), bytes) == bytes;
}

bool readStringUnits(InputStream& is, std::int32_t count, String& target) {
  const int available = is.available();
  if (count < 0 || count > INT_MAX / 2 || count * 2 > available) return false;
  if (count == 0) {
    target = String();
    return true;
  }

  UnitBuffer buffer(count);
  char16_t* units = buffer.get();
  if (!units || is.read(units, count * 2) != count * 2) return false;

  if (noSurrogates(units, count)) {
    StringBlock<wchar_t> block(count);
    if (!block) return false;
    wchar_t* out = block.text();
    for (int i = 0; i < count; ++i) out[i] = static_cast<wchar_t>(units[i]);
    target = block.finish();
    return true;
  }

  int codePoints = count;
  for (int i = 0; i + 1 < count; ++i) {
    if (units[i] >= 0xD800 && units[i] <= 0xDBFF && units[i + 1] >= 0xDC00 && units[i + 1] <= 0xDFFF) {
      --codePoints;
      ++i;
    }
  }
  StringBlock<wchar_t> block(codePoints);
  if (!block) return false;
  wchar_t* out = block.text();
  for (int i = 0; i < count; ++i) {
    const std::uint32_t unit = units[i];
    if (unit >= 0xD800 && unit <= 0xDBFF && i + 1 < count && units[i + 1] >= 0xDC00 && units[i + 1] <= 0xDFFF) {
      *out++ = static_cast<wchar_t>(0x10000 + ((unit - 0xD800) << 10) + (units[i + 1] - 0xDC00));
      ++i;
    } else {
      *out++ = static_cast<wchar_t>(unit);
    }
  }
  target = block.finish();
  return true;
}

}  // namespace orvo::detail
