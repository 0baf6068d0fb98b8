// The hexadecimal text form of a Buffer: two lower-case digits a byte.
#include <orvo/core/Buffer.h>
#include <orvo/core/String.h>

#include "text/HexDigits.h"
#include "text/StringBlock.h"

namespace orvo {

String Buffer::convertToHex() const {
  const long long characters = 2LL * bufferSize;
  StringBlock<wchar_t> block(characters);
  if (!block) return String();
  hex::writeBytes(buffer, bufferSize, block.text());
  return block.finish(static_cast<int>(characters));
}

bool Buffer::convertFromHex(const String& text) {
  const int length = text.getLength();
  if (length % 2 != 0) return false;
  setBufferSize(length / 2);
  if (bufferSize != length / 2) return false;  // No memory.
  const wchar_t* digits = text.getBuffer();
  for (int i = 0; i < bufferSize; ++i) {
    const int high = hex::digitValue(digits[2 * i]);
    const int low = hex::digitValue(digits[2 * i + 1]);
    if (high < 0 || low < 0) return false;
    buffer[i] = static_cast<unsigned char>(high << 4 | low);
  }
  return true;
}

}  // namespace orvo
