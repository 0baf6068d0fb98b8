// The wire form of strings: a 32-bit count of UTF-16 units, then the units,
// little-endian. In memory a wchar_t holds a whole code point, so code points
// above U+FFFF travel as surrogate pairs and come back as one; a lone
// surrogate passes through as it is.
#include <orvo/core/String.h>

#include <algorithm>
#include <climits>
#include <new>

#include "io/ReadStep.h"
#include "text/StringBlock.h"
#include "text/TextScratch.h"

namespace orvo::detail {
namespace {

// Units on the stack before the scratch moves to the heap: small, since the
// caller may run on a small thread stack.
constexpr std::size_t kInlineUnits = 256;
// The first step of a read; later steps grow with what has arrived.
constexpr std::size_t kFirstReadUnits = 32 * 1024;

using Units = TextScratch<char16_t, kInlineUnits>;

bool needsPair(std::uint32_t c) { return c > 0xFFFF && c <= 0x10FFFF; }

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

// Reads `count` units in steps that grow with what has arrived, so that a
// count the device does not back costs no more memory than the bytes behind
// it.
bool readInSteps(InputStream& is, std::size_t count, Units& units) {
  while (units.size() < count) {
    const std::size_t step = nextReadStep(units.size(), count, kFirstReadUnits);
    const int bytes = static_cast<int>(step * 2);
    if (is.read(units.reserve(step), bytes) != bytes) return false;
    units.commit(step);
  }
  return true;
}

bool writeUnits(OutputStream& os, const wchar_t* text, int codePoints) {
  if (allInBasicPlane(text, codePoints)) {
    os << static_cast<std::int32_t>(codePoints);
    Units buffer;
    char16_t* out = buffer.reserve(static_cast<std::size_t>(codePoints));
    for (int i = 0; i < codePoints; ++i) out[i] = static_cast<char16_t>(text[i]);
    return os.write(out, codePoints * 2) == codePoints * 2;
  }
  long long units = codePoints;
  for (int i = 0; i < codePoints; ++i) units += needsPair(static_cast<std::uint32_t>(text[i]));
  if (units > INT_MAX / 2) return false;
  os << static_cast<std::int32_t>(units);

  Units buffer;
  char16_t* out = buffer.reserve(static_cast<std::size_t>(units));
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
  return os.write(buffer.data(), bytes) == bytes;
}

bool readUnits(InputStream& is, std::int32_t count, String& target) {
  const int available = is.available();
  if (count < 0 || count > INT_MAX / 2 || count * 2 > available) return false;
  if (count == 0) {
    target = String();
    return true;
  }

  Units buffer;
  if (!readInSteps(is, static_cast<std::size_t>(count), buffer)) return false;
  const char16_t* units = buffer.data();

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

}  // namespace

// A failed allocation is a failure of the value, like a short count.
bool writeStringUnits(OutputStream& os, const wchar_t* text, int codePoints) {
  try {
    return writeUnits(os, text, codePoints);
  } catch (const std::bad_alloc&) {
    return false;
  }
}

bool readStringUnits(InputStream& is, std::int32_t count, String& target) {
  try {
    return readUnits(is, count, target);
  } catch (const std::bad_alloc&) {
    return false;
  }
}

}  // namespace orvo::detail
