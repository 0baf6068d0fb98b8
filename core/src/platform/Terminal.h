// Terminal.h: the process's standard output as a console.
//
// Standard output may be a terminal, which understands escape sequences and
// has a size and a cursor, or a file or a pipe, which takes plain text only.
#pragma once

#include <cstddef>

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

// The size of the terminal on standard output, in character cells.
bool terminalSize(int& columns, int& rows);

// Asks the terminal on standard output where its cursor is (0-based) and
// waits a short while for the answer. False if it gives none.
bool terminalCursor(int& column, int& row);

}  // namespace orvo::platform
