#include <orvo/core/Console.h>

#include <algorithm>
#include <atomic>
#include <cstdarg>
#include <cwchar>

#include "diagnostics/FormattedText.h"
#include "text/Utf8Codec.h"
#include "platform/Terminal.h"

namespace orvo {
namespace {

constexpr std::uint16_t kDefaultAttributes = 7;
std::atomic<std::uint16_t> currentAttributes{kDefaultAttributes};

// Encodes in slices on the stack, so that writing allocates nothing.
void writeWide(const wchar_t* text) {
  constexpr std::size_t kSlice = 256;
  unsigned char bytes[kSlice * 4];  // UTF-8 takes at most 4 bytes a character.
  const std::size_t length = std::wcslen(text);
  for (std::size_t done = 0; done < length; done += kSlice) {
    const std::size_t count = std::min(kSlice, length - done);
    const std::size_t written = utf8::encodedLength(text + done, count);
    utf8::encode(text + done, count, bytes, written);
    platform::writeStandardOutput(reinterpret_cast<const char*>(bytes), written);
  }
  platform::flushStandardOutput();
}

void writeFormatted(const wchar_t* format, va_list args) {
  const FormattedText text(format, args);
  if (text.get()) writeWide(text.get());
}

}  // namespace

bool Console::alloc() { return false; }

void Console::free() {}

void Console::output(const wchar_t* format, ...) {
  va_list args;
  va_start(args, format);
  writeFormatted(format, args);
  va_end(args);
}

bool Console::setTextAttribute(unsigned int attributes) {
  if (!platform::standardOutputIsOpen()) return false;
  const auto low = static_cast<std::uint16_t>(attributes & 0xFFFF);
  currentAttributes.store(low, std::memory_order_relaxed);
  if (platform::standardOutputIsTerminal()) platform::setTerminalAttributes(low);
  return true;
}

bool Console::setCursorPosition(const TPoint<int>& position) {
  const auto column = static_cast<std::int16_t>(position.x & 0xFFFF);
  const auto row = static_cast<std::int16_t>(position.y & 0xFFFF);
  if (column < 0 || row < 0 || !platform::standardOutputIsTerminal()) return false;
  platform::setTerminalCursor(column, row);
  return true;
}

bool Console::getScreenBufferInfo(ConsoleScreenBufferInfo& info) {
  int columns = 0;
  int rows = 0;
  int column = 0;
  int row = 0;
  if (!platform::standardOutputIsTerminal() || !platform::terminalSize(columns, rows) ||
      !platform::terminalCursor(column, row)) {
    return false;
  }
  info.sizeX = columns;
  info.sizeY = rows;
  info.cursorX = column;
  info.cursorY = row;
  info.attributes = currentAttributes.load(std::memory_order_relaxed);
  return true;
}

}  // namespace orvo
