#include <orvo/core/Console.h>

#include <algorithm>
#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <cwchar>
#include <string>


#include "diagnostics/FormattedText.h"
#include "text/Utf8Codec.h"
#include "platform/Terminal.h"

namespace orvo {
namespace {

constexpr std::uint16_t kDefaultAttributes = 7;
constexpr std::uint16_t kReverseVideo = 0x4000;
constexpr std::uint16_t kUnderscore = 0x8000;

std::atomic<std::uint16_t> currentAttributes{kDefaultAttributes};

// The console numbers its colours with blue in bit 0 and red in bit 2;
// the terminal's colour numbers have them the other way round.
constexpr int kTerminalColour[8] = {0, 4, 2, 6, 1, 5, 3, 7};

// The escape sequence that sets `attributes`. Grey text and a black ground,
// the console's defaults, become the terminal's own defaults, so that 7
// resets the terminal to its usual look.
void writeColourSequence(std::uint16_t attributes) {
  const int foreground = attributes & 0x0F;
  const int background = (attributes >> 4) & 0x0F;
  std::string sequence = "\x1b[0";
  if (foreground != kDefaultAttributes) {
    sequence += ';' + std::to_string((foreground & 8 ? 90 : 30) + kTerminalColour[foreground & 7]);
  }
  if (background != 0) {
    sequence += ';' + std::to_string((background & 8 ? 100 : 40) + kTerminalColour[background & 7]);
  }
  if (attributes & kUnderscore) sequence += ";4";
  if (attributes & kReverseVideo) sequence += ";7";
  sequence += 'm';
  platform::writeStandardOutput(sequence.data(), sequence.size());
  platform::flushStandardOutput();
}

// Encodes in slices on the stack, so that writing allocates nothing.
void writeWide(const wchar_t* text) {
  constexpr std::size_t kSlice = 1024;
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

// Up to 32767 characters the text stays on the stack; from 32768 on it goes
// to the heap. Nothing is cut.
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
  if (platform::standardOutputIsTerminal()) writeColourSequence(low);
  return true;
}

bool Console::setCursorPosition(const TPoint<int>& position) {
  const auto column = static_cast<std::int16_t>(position.x & 0xFFFF);
  const auto row = static_cast<std::int16_t>(position.y & 0xFFFF);
  if (column < 0 || row < 0 || !platform::standardOutputIsTerminal()) return false;
  char sequence[32];
  const int length = std::snprintf(sequence, sizeof sequence, "\x1b[%d;%dH", row + 1, column + 1);
  platform::writeStandardOutput(sequence, static_cast<std::size_t>(length));
  platform::flushStandardOutput();
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
