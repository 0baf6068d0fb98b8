// The hexadecimal text form of a Buffer: two lower-case digits a byte.
#include <orvo/core/Buffer.h>
#include <orvo/core/String.h>

#include "text/StringBlock.h"

namespace orvo {
namespace {

// The value of a hexadecimal digit in either case, or -1.
int digitValue(wchar_t digit) {
  if (digit >= L'0' && digit <= L'9') return digit - L'0';
  if (digit >= L'a' && digit <= L'f') return digit - L'a' + 10;
  if (digit >= L'A' && digit <= L'F') return digit - L'A' + 10;
  return -1;
}

}  // namespace

String Buffer::convertToHex() const {
  static constexpr wchar_t kDigits[] = L"0123456789abcdef";
  const long long characters = 2LL * bufferSize;
  StringBlock<wchar_t> block(characters);
  if (!block) return String();
  wchar_t* target = block.text();
  for (int i = 0; i < bufferSize; ++i) {
    *target++ = kDigits[buffer[i] >> 4];
    *target++ = kDigits[buffer[i] & 0x0F];
  }
  return block.finish(static_cast<int>(characters));
}

bool Buffer::convertFromHex(const String& text) {
  const int length = text.getLength();
  if (length % 2 != 0) return false;
  setBufferSize(length / 2);
  if (bufferSize != length / 2) return false;  // No memory.
  const wchar_t* digits = text.getBuffer();
  for (int i = 0; i < bufferSize; ++i) {
    const int high = digitValue(digits[2 * i]);
    const int low = digitValue(digits[2 * i + 1]);
    if (high < 0 || low < 0) return false;
    buffer[i] = static_cast<unsigned char>(high << 4 | low);
  }
  return true;
}

}  // namespace orvo
