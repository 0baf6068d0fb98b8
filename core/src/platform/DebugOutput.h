// DebugOutput.h: the channel that a debugger or a developer watches for the
// library's diagnostic text. On this platform it is standard error. Any
// thread may write; the texts of several threads may interleave.
#pragma once

namespace orvo::platform {

// Writes `text` as it is, with no line end added, and at once.
void writeToDebugger(const char* text);

}  // namespace orvo::platform
