// CrashHandler.h: the signal side of the crash reporter.
//
// The handler runs inside a process that may be in any state: another thread
// may hold the allocator's lock, the heap may be broken. So it only does
// async-signal-safe work on memory prepared at installation: it stores the
// faulting context in a static CrashRecord, starts the crash writer program
// with a raw clone that execs at once (no atfork handlers, no locks), lets it
// trace the process, waits for it for at most 9 s and then hands the signal
// on with its default action, so the process dies by the original signal.
// All heavy work (files, minidump, report) happens in the writer, a fresh
// process with a clean heap.
//
// Installation and the alternate stacks may be asked for from any thread;
// installation happens once per process.
#pragma once

#include <signal.h>

#include <string>

namespace orvo::platform {

// Installs the handler for SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT and
// SIGTRAP and gives the calling thread an alternate signal stack. False if
// no crash writer program was found (nothing is installed then).
bool installCrashHandler();

// Prepares what reportCrash needs (the writer's path and arguments, the
// record), without touching any signal's action. False if no crash writer
// program was found.
bool prepareCrashReport();

// What the handler does before it hands a fault on: unless a debugger
// traces the process, records the fault of `info` at `context` (a
// ucontext_t) and runs the crash writer on it, waiting at most 9 s. True if
// the writer wrote both files. Async-signal-safe once prepared.
bool reportCrash(const siginfo_t* info, const void* context);

// The contact address named by the message on standard error; cut to fit.
void setCrashContact(const char* address);

// Gives the calling thread an alternate signal stack of its own, so that a
// stack overflow there is reported too; freed when the thread ends. True if
// the thread has one now.
bool giveThreadAlternateStack();

// Where the crash writer program is: $ORVO_CRASH_WRITER, else next to the
// shared library (the build tree), else in the libexec directory of the
// installation, found from the library. Empty if none is executable.
std::string findCrashWriter();

// Makes the handler start the program at `path` and wait for it at most
// `boundMs` (9000 unless set): for tests, which need writers that fail or
// hang. False, and the writer kept, if the path is empty or too long.
bool setCrashWriter(const char* path, long boundMs);

}  // namespace orvo::platform
