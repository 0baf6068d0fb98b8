// CrashReporter.h: the last-chance handler of a process.
//
// An application calls handled_exception_filter() once, early in main. From
// then on a fatal fault (SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT, SIGTRAP,
// and std::terminate, which aborts) leaves two files in the directory of the
// executable, "crash@<local time>.log" (a text report) and
// "crash@<local time>.dmp" (a minidump that debuggers such as lldb open),
// prints on standard error where they are, and the process dies by the
// original signal. Under a debugger nothing is written and the fault goes to
// the debugger. The files are written by a small program shipped with the
// library (orvo_crash_writer, found next to the library, in the installed
// libexec directory, or at $ORVO_CRASH_WRITER), so that a crash while another thread holds
// the allocator's lock still ends in a report.
//
// A stack overflow can only be reported on a thread with an alternate signal
// stack. These threads have one: the thread that calls
// handled_exception_filter(), and every thread of the library's Thread class.
// Any other thread of the application gives itself one with
// CrashReporter::giveThreadAlternateStack().
// All functions may be called from any thread.
#pragma once

#include <orvo/core/Export.h>

namespace orvo {

// Installs the crash handler; later calls do nothing. Nothing is installed
// if the crash writer program cannot be found.
ORVO_API void handled_exception_filter();

class ORVO_API CrashReporter {
 public:
  // True once handled_exception_filter() has installed the handler.
  static bool isInstalled();
  // The address that the message on standard error asks the user to send
  // the report to (at most 255 bytes are kept).
  static void setContactAddress(const char* address);
  // Gives the calling thread an alternate signal stack, freed when the
  // thread ends. True if the thread has one now.
  static bool giveThreadAlternateStack();
};

}  // namespace orvo
