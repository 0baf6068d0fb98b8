// CrashReport.h: the text report of a crash and the names of its files.
//
// The report's sections, in order: "\nProcess info:\n" (command line,
// platform, exception name, registers), "\nStacktrace:\n" (one numbered
// line per frame), "\n\nLoaded modules:\n" (base, path, version and size of
// each loaded ELF file). The frames come from a FrameSource, so that how the
// stack is walked and named is kept apart from the text around it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "diagnostics/crashwriter/CrashedProcess.h"

namespace orvo::crashwriter {

// One frame of the crashed thread, as far as it could be named.
struct Frame {
  std::uint64_t address = 0;
  std::string function;    // empty: unknown
  std::string parameters;  // "a=1, b=2", inside the parentheses
  std::string file;        // empty: no line information
  int line = 0;
  std::vector<std::string> locals;  // "name = value"
};

// The name of the fault by signal and si_code; a SIGSEGV whose address lies
// in or at most 1 MiB below the stack [stackLow, stackHigh) is a stack overflow.
const char* exceptionName(int signal, int code, std::uint64_t faultAddress, std::uint64_t stackLow,
                          std::uint64_t stackHigh);

// "Cmd line: ...", from /proc's NUL-separated command line, cut at 256.
std::string commandLineText(const std::string& procCommandLine);

// "a.b.c.d" from a shared object's file name ("libx.so.1.2.3" gives 1.2.3.0).
void moduleVersion(const std::string& path, int (&parts)[4]);

// "Stacktrace" lines of frames numbered from `first`.
std::string frameText(int number, const Frame& frame);

// The whole report of `process`, with the frames of its crashing thread.
std::string crashReport(const CrashedProcess& process, const std::vector<Frame>& frames);

// Creates a new, empty file "<directory>crash@<local time>.<extension>"
// exclusively, up to three tries; its path, or empty after three failures.
std::string createCrashFile(const std::string& directory, const char* extension);

// The message on standard error.
std::string crashMessage(const std::string& report, const std::string& dump, const char* contact);

}  // namespace orvo::crashwriter
