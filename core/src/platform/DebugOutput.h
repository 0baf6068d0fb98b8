// DebugOutput.h: the channel that a debugger or a developer watches for the
// library's diagnostic text. On this platform it is standard error.
#pragma once

namespace orvo::platform {

// Writes `text` as it is, with no line end added, and at once.
void writeToDebugger(const char* text);

}  // namespace orvo::platform
