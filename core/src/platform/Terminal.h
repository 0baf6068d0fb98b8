// Terminal.h: the process's standard output as a console.
//
// Standard output may be a terminal, which understands escape sequences and
// has a size and a cursor, or a file or a pipe, which takes plain text only.
// The escape sequences of the terminal are made here and nowhere else.
// Nothing here takes a lock: writes of several threads may interleave.
#pragma once

#include <cstddef>
#include <cstdint>

namespace orvo::platform {

// True if standard output is an open descriptor.
bool standardOutputIsOpen();

// True if standard output is a terminal.
bool standardOutputIsTerminal();

// Writes `count` bytes to standard output through the C library's stream,
// so that they keep their order with printf.
void writeStandardOutput(const char* bytes, std::size_t count);
// Sends what the stream holds on to the device.
void flushStandardOutput();

// Sets the colour and style of the text that follows on the terminal, from
// console text attributes: the foreground colour in bits 0-3 (1 blue,
// 2 green, 4 red, 8 bright), the background in bits 4-7, 0x8000 underscore,
// 0x4000 reverse video. Grey on black, the console's default, is the
// terminal's own default look.
void setTerminalAttributes(std::uint16_t attributes);

// Moves the terminal's cursor to `column` and `row`, counted from 0.
void setTerminalCursor(int column, int row);

// The size of the terminal on standard output, in character cells.
bool terminalSize(int& columns, int& rows);

// Asks the terminal on standard output where its cursor is (0-based) and
// waits a short while for the answer. False if it gives none.
bool terminalCursor(int& column, int& row);

}  // namespace orvo::platform
