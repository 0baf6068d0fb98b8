// Console.h: formatted, coloured text on the process's standard output.
//
// Console writes straight to standard output and reaches no LogListener.
// When standard output is a terminal, colours and the cursor become escape
// sequences; when it is a file or a pipe, only the text goes there. Text
// attributes are the console colour bits (1 blue, 2 green, 4 red, 8 bright,
// the same four bits shifted by 4 for the background): 14 is yellow and 7
// the default colour.
//
//   Console::setTextAttribute(14);
//   Console::output(L"\nRTTI: (%s) has been setup!", className);
//   Console::setTextAttribute(7);
//
// Nothing here takes a lock: output of several threads may interleave, and
// a colour set by one thread holds for all.
#pragma once

#include <cstdint>

#include <orvo/core/Export.h>
#include <orvo/core/Point.h>

namespace orvo {

struct ConsoleScreenBufferInfo {
  int sizeX;
  int sizeY;
  int cursorX;
  int cursorY;
  std::uint16_t attributes;
};

class ORVO_API Console {
 public:
  Console() = delete;

  // A process cannot be given a terminal of its own here: false, and the
  // standard streams stay as they are.
  static bool alloc();
  // Nothing to release; the standard streams stay open.
  static void free();

  // Formats a wide printf-style text ("%s" takes a wide string) and writes
  // it, whatever its length, as UTF-8. Reports nothing.
  static void output(const wchar_t* format, ...);

  // Sets the colour of the text that follows, from the low 16 bits. True
  // while standard output is open.
  static bool setTextAttribute(unsigned int attributes);

  // Moves the cursor to the column and row (0-based) given by the low 16
  // bits of x and y, read as signed. False if standard output is not a
  // terminal or the position is negative.
  static bool setCursorPosition(const TPoint<int>& position);

  // The terminal's size, the cursor and the current attribute. False, with
  // `info` unchanged, if standard output is not a terminal or the terminal
  // does not tell where its cursor is.
  static bool getScreenBufferInfo(ConsoleScreenBufferInfo& info);
};

}  // namespace orvo
