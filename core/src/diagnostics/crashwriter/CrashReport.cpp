#include "diagnostics/crashwriter/CrashReport.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/ucontext.h>
#include <sys/utsname.h>
#include <time.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <ctime>

namespace orvo::crashwriter {
namespace {

std::string format(const char* pattern, ...) __attribute__((format(printf, 1, 2)));
std::string format(const char* pattern, ...) {
  char line[1024];
  va_list arguments;
  va_start(arguments, pattern);
  std::vsnprintf(line, sizeof line, pattern, arguments);
  va_end(arguments);
  return line;
}

std::string platformText() {
  utsname names{};
  uname(&names);
  int version[3] = {};
  std::sscanf(names.release, "%d.%d.%d", &version[0], &version[1], &version[2]);
  return format("Platform: Linux OS version %d.%d build %d %s\n\n", version[0], version[1],
                version[2], names.version);
}

std::string registerText(const CpuContext& c) {
  using U = unsigned long long;
  return "Registers:\n" +
         format("rax=%016llx rbx=%016llx rcx=%016llx rdx=%016llx rsi=%016llx rdi=%016llx\n",
                U{c.rax}, U{c.rbx}, U{c.rcx}, U{c.rdx}, U{c.rsi}, U{c.rdi}) +
         format("r8=%016llx r9=%016llx r10=%016llx r11=%016llx r12=%016llx r13=%016llx\n", U{c.r8},
                U{c.r9}, U{c.r10}, U{c.r11}, U{c.r12}, U{c.r13}) +
         format("r14=%016llx r15=%016llx\n", U{c.r14}, U{c.r15}) +
         format("rip=%016llx rsp=%016llx rbp=%016llx efl=%08x\n", U{c.rip}, U{c.rsp}, U{c.rbp},
                static_cast<unsigned>(c.eflags)) +
         format("cd=%04x  ss=%04x  ds=%04x  es=%04x  fs=%04x  gs=%04x\n", c.cs, c.ss, c.ds, c.es,
                c.fs, c.gs);
}

}  // namespace

const char* exceptionName(int signal, int code, std::uint64_t faultAddress, std::uint64_t stackLow,
                          std::uint64_t stackHigh) {
  switch (signal) {
    case SIGSEGV:
      return faultAddress < stackHigh && faultAddress + (1u << 20) >= stackLow ? "STACK_OVERFLOW"
                                                                               : "ACCESS_VIOLATION";
    case SIGBUS:
      return code == BUS_ADRALN ? "DATATYPE_MISALIGNMENT" : "IN_PAGE_ERROR";
    case SIGFPE:
      switch (code) {
        case FPE_INTDIV:
          return "INT_DIVIDE_BY_ZERO";
        case FPE_INTOVF:
          return "INT_OVERFLOW";
        case FPE_FLTDIV:
          return "FLT_DIVIDE_BY_ZERO";
        case FPE_FLTOVF:
          return "FLT_OVERFLOW";
        case FPE_FLTUND:
          return "FLT_UNDERFLOW";
        case FPE_FLTRES:
          return "FLT_INEXACT_RESULT";
        case FPE_FLTINV:
          return "FLT_INVALID_OPERATION";
        default:
          return "UNKNOWN_ERROR";
      }
    case SIGILL:
      return code == ILL_PRVOPC ? "PRIV_INSTRUCTION" : "ILLEGAL_INSTRUCTION";
    case SIGTRAP:
      return code == TRAP_TRACE ? "SINGLE_STEP" : "BREAKPOINT";
    default:
      return "UNKNOWN_ERROR";
  }
}

std::string commandLineText(const std::string& procCommandLine) {
  std::string line = procCommandLine;
  while (!line.empty() && line.back() == 0) line.pop_back();
  for (char& c : line)
    if (c == 0) c = ' ';
  return format("Cmd line: %.256s\n", line.c_str());
}

void moduleVersion(const std::string& path, int (&parts)[4]) {
  parts[0] = parts[1] = parts[2] = parts[3] = 0;
  const std::size_t so = path.rfind(".so.");
  if (so == std::string::npos || path.find('/', so) != std::string::npos) return;
  std::sscanf(path.c_str() + so + 4, "%d.%d.%d.%d", &parts[0], &parts[1], &parts[2], &parts[3]);
}

std::string frameText(int number, const Frame& frame) {
  const unsigned long long address = frame.address;
  std::string text =
      frame.function.empty()
          ? format("#%d  0x%016llx in (unknown function)", number, address)
          : format("#%d  0x%016llx in %.200s (", number, address, frame.function.c_str()) +
                frame.parameters + ")";
  text += frame.file.empty() ? "\n" : format(" at %s:%d\n", frame.file.c_str(), frame.line);
  for (const std::string& local : frame.locals) text += "        " + local + "\n";
  return text;
}

std::string crashReport(const CrashedProcess& process, const std::vector<Frame>& frames) {
  const platform::CrashRecord& record = process.record();
  const CpuContext& crashed = process.threads().front();
  std::uint64_t stackLow = 0, stackHigh = 0;
  process.stackOf(crashed.rsp, stackLow, stackHigh);
  std::string text =
      "\nProcess info:\n" + commandLineText(process.procText("cmdline")) + platformText() +
      "Exception: " +
      exceptionName(record.signal, record.code, record.faultAddress, stackLow, stackHigh) + "\n\n" +
      registerText(crashed) + "\nStacktrace:\n";
  for (std::size_t i = 0; i < frames.size(); ++i)
    text += frameText(static_cast<int>(i) + 1, frames[i]);
  text += "\n\nLoaded modules:\n";
  for (const Module& module : process.modules()) {
    int version[4];
    moduleVersion(module.path, version);
    text +=
        format("0x%016llx  %s (%d.%d.%d.%d, %llu bytes)\n",
               static_cast<unsigned long long>(module.base), module.path.c_str(), version[0],
               version[1], version[2], version[3], static_cast<unsigned long long>(module.size));
  }
  return text;
}

std::string createCrashFile(const std::string& directory, const char* extension) {
  for (int attempt = 0; attempt < 3; ++attempt) {
    const time_t now = time(nullptr);
    tm local{};
    localtime_r(&now, &local);
    char stamp[64];
    std::strftime(stamp, sizeof stamp, "%Y-%m-%d %H.%M.%S", &local);
    const std::string path = format("%s%s%s.%s", directory.c_str(), "crash@", stamp, extension);
    const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
    if (file >= 0) {
      close(file);
      return path;
    }
  }
  return {};
}

std::string crashMessage(const std::string& report, const std::string& dump, const char* contact) {
  return "This application has halted due to an unexpected error.\n"
         "A crash report and minidump file were saved to disk, you can find them here:\n" +
         report + "\n" + dump + "\nPlease send the log file to " + contact +
         " to help us analyse\nand solve this problem.\n\n"
         "NOTE: The crash report and minidump files can contain some sensitive information\n"
         "(filenames, partial file content, usernames and passwords etc.)\n";
}

}  // namespace orvo::crashwriter
