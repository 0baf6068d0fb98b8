// Crash reporter: the program of crash/CrashChild.cpp faults for real in a
// directory of its own, and the files it leaves, its message, its death and
// the minidump as lldb reads it are checked; then the report's pieces.
#include <fcntl.h>
#include <dwarf.h>
#include <gtest/gtest.h>
#include <orvo/core/CrashReporter.h>
#include <orvo/core/Thread.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/ptrace.h>
#include <sys/wait.h>
#include <ucontext.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <tuple>

#include "diagnostics/DiagnosticsSupport.h"
#include "diagnostics/crashwriter/CrashReport.h"
#include "diagnostics/crashwriter/CrashedProcess.h"
#include "diagnostics/crashwriter/FrameVariables.h"
#include "diagnostics/crashwriter/MinidumpWriter.h"
#include "platform/CrashHandler.h"
#include "runtime/ScriptedSystem.h"

namespace orvo {
namespace {

namespace fs = std::filesystem;

// The handler starts its writer with a clone that shares this process's
// memory and thread-local storage until the exec, which ThreadSanitizer's
// per-thread bookkeeping cannot follow: under it, the tests that run the
// handler inside the test process are skipped (crashed children still run).

const std::string kChildSource = fs::path(__FILE__).parent_path() / "crash/CrashChild.cpp";
const std::string kChildPattern = std::regex_replace(kChildSource, std::regex(R"([.+])"), R"(\$&)");

std::string fileText(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream text;
  text << in.rdbuf();
  return text.str();
}

template <class T>
T field(const std::string& bytes, std::size_t at) {
  T value{};
  if (at + sizeof value <= bytes.size()) std::memcpy(&value, bytes.data() + at, sizeof value);
  return value;
}

// A copy of the crashing program in a fresh directory, where it leaves its files.
class CrashedChild {
 public:
  explicit CrashedChild(const char* mode, bool traced = false) {
    char pattern[] = "/tmp/orvo_crash_XXXXXX";
    directory = mkdtemp(pattern);
    fs::create_directory(directory / "bin");
    program = directory / "bin/orvo_crash_child";
    fs::copy_file(ORVO_CRASH_CHILD, program);
    const std::string errors = (directory / "stderr.txt").string();
    const pid_t pid = fork();
    if (pid == 0) {
      if (traced) ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
      const int out = open(errors.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
      const int none = open("/dev/null", O_WRONLY);
      dup2(out, STDERR_FILENO);
      dup2(none, STDOUT_FILENO);
      execl(program.c_str(), program.c_str(), mode, nullptr);
      _exit(127);
    }
    // A tracer passes every signal on, as a debugger that is told to go on.
    bool execStop = traced;
    for (;;) {
      waitpid(pid, &status, 0);
      if (!WIFSTOPPED(status)) break;
      const int signal = execStop ? 0 : WSTOPSIG(status);
      execStop = false;
      ptrace(PTRACE_CONT, pid, nullptr, reinterpret_cast<void*>(static_cast<long>(signal)));
    }
    message = fileText(directory / "stderr.txt");
    if (!fs::exists(program.parent_path())) return;
    for (const auto& entry : fs::directory_iterator(program.parent_path())) {
      const std::string name = entry.path().filename().string();
      if (name.ends_with(".log")) report = entry.path();
      if (name.ends_with(".dmp")) dump = entry.path();
      if (name.starts_with("crash@")) ++crashFiles;
    }
  }
  ~CrashedChild() { fs::remove_all(directory); }

  fs::path directory, program, report, dump;
  std::string message;
  int status = 0;
  int crashFiles = 0;
};

// The minidump's directory is sound: known streams, each once, inside the
// file, and the thread list names the crashing thread first.
void checkMinidump(const std::string& bytes, const std::string& program) {
  ASSERT_EQ(bytes.substr(0, 4), "MDMP");
  const auto streams = field<std::uint32_t>(bytes, 8);
  const auto directory = field<std::uint32_t>(bytes, 12);
  std::set<std::uint32_t> types;
  std::uint32_t threadList = 0, exception = 0, modules = 0;
  for (std::uint32_t i = 0; i < streams; ++i) {
    const std::size_t entry = directory + i * 12;
    const auto type = field<std::uint32_t>(bytes, entry),
               size = field<std::uint32_t>(bytes, entry + 4);
    const auto rva = field<std::uint32_t>(bytes, entry + 8);
    if (type == 0) continue;
    EXPECT_TRUE(types.insert(type).second) << type;
    EXPECT_LE(std::uint64_t{rva} + size, bytes.size()) << type;
    const std::uint32_t entrySize = type == 3 ? 48 : type == 4 ? 108 : type == 5 ? 16 : 0;
    if (entrySize != 0) {
      EXPECT_EQ(size, 4 + entrySize * field<std::uint32_t>(bytes, rva)) << type;
    }
    if (type == 3) threadList = rva;
    if (type == 4) modules = rva;
    if (type == 6) exception = rva;
  }
  EXPECT_EQ(types, (std::set<std::uint32_t>{3, 4, 5, 6, 7, 0xF, 0x47670003, 0x47670004, 0x47670005,
                                            0x47670006, 0x47670008, 0x47670009}));
  EXPECT_EQ(field<std::uint32_t>(bytes, exception), field<std::uint32_t>(bytes, threadList + 4));
  const auto context = field<std::uint32_t>(bytes, threadList + 4 + 0x2C);
  EXPECT_EQ(field<std::uint32_t>(bytes, threadList + 4 + 0x28), 1232u);
  EXPECT_EQ(field<std::uint32_t>(bytes, context + 0x30), 0x0010000Fu);
  // The program is the first module, named in UTF-16, with its build id.
  const auto name = field<std::uint32_t>(bytes, modules + 4 + 0x14);
  std::string ascii;
  for (std::uint32_t i = 0; i < field<std::uint32_t>(bytes, name); i += 2)
    ascii += bytes[name + 4 + i];
  EXPECT_EQ(ascii, program);
  EXPECT_EQ(field<std::uint32_t>(bytes, modules + 4 + 0x4C), 24u);
}

TEST(CrashReporter, EachFaultLeavesAReportAMinidumpAndAMessageAndDiesByItsSignal) {
  // The child's mode, the signal it dies by and the exception its report names.
  const std::tuple<const char*, int, const char*> faults[] = {
      {"segv", SIGSEGV, "ACCESS_VIOLATION"},
      {"overflow", SIGSEGV, "STACK_OVERFLOW"},
      {"abort", SIGABRT, "UNKNOWN_ERROR"},
      {"divide", SIGFPE, "INT_DIVIDE_BY_ZERO"},
      {"illegal", SIGILL, "ILLEGAL_INSTRUCTION"},
      {"trap", SIGTRAP, "BREAKPOINT"},
      {"terminate", SIGABRT, "UNKNOWN_ERROR"},
      {"thread-segv", SIGSEGV, "ACCESS_VIOLATION"},
      {"thread-overflow", SIGSEGV, "STACK_OVERFLOW"},
      {"busy-segv", SIGSEGV, "ACCESS_VIOLATION"},
      {"double-segv", SIGSEGV, "ACCESS_VIOLATION"}};
  const std::regex name(R"(crash@\d{4}-\d\d-\d\d \d\d\.\d\d\.\d\d\.(log|dmp))");
  for (const auto& [mode, deathSignal, exception] : faults) {
    SCOPED_TRACE(mode);
    const CrashedChild child(mode);
    ASSERT_TRUE(WIFSIGNALED(child.status));
    EXPECT_EQ(WTERMSIG(child.status), deathSignal);
    EXPECT_EQ(child.crashFiles, 2);
    EXPECT_TRUE(std::regex_match(child.report.filename().string(), name));
    EXPECT_EQ(child.report.stem(), child.dump.stem());
    // std::terminate's own words may come first.
    EXPECT_TRUE(child.message.ends_with(crashwriter::crashMessage(
        child.report.string(), child.dump.string(), "crashes@example.org")))
        << child.message;
    const std::string report = fileText(child.report);
    EXPECT_EQ(report.rfind("\nProcess info:\nCmd line: " + child.program.string() + " " +
                               mode + "\nPlatform: Linux OS version ",
                           0),
              0u);
    EXPECT_NE(
        report.find(std::string("\n\nException: ") + exception + "\n\nRegisters:\nrax="),
        std::string::npos);
    EXPECT_NE(report.find("\nStacktrace:\n#1  0x"), std::string::npos);
    // The faulting frame: its function, parameters with their values, line and locals.
    const std::string how = std::strrchr(mode, '-') ? std::strrchr(mode, '-') + 1 : mode;
    const std::string address = "0x[0-9a-f]{16}", locals = R"(:\d+\n {8}speed = 7\n {8}place = )";
    const std::string frame =
        how == "overflow"
            ? R"(crashChildOverflow \(depth=\d+\) at )" + kChildPattern + R"(:\d+\n)"
            : R"(crashChildFault \(how=)" + address + " \"" + how + R"("\) at )" + kChildPattern +
                  locals + R"(\(Place\) )" + address + R"(\n {8}callback = )" + address +
                  R"(\n {8}nothing = 0x0{16}\n {8}alias = \(Place \*\) )" + address +
                  R"(\n {8}armed = 1\n#)";
    EXPECT_TRUE(std::regex_search(
        report, std::regex(R"(\n#\d+  0x[0-9a-f]{16} in \(anonymous namespace\)::)" + frame)))
        << report;
    EXPECT_NE(report.find("\n\nLoaded modules:\n0x"), std::string::npos);
    EXPECT_NE(report.find("  " + child.program.string() + " (0.0.0.0, "), std::string::npos);
    checkMinidump(fileText(child.dump), child.program.string());
  }
}

// Under a debugger, and where the files cannot be made, nothing is written
// and the fault goes on.
TEST(CrashReporter, WithoutAReportTheFaultGoesOn) {
  for (const auto& [mode, traced] : {std::pair{"segv", true}, std::pair{"homeless-segv", false}}) {
    SCOPED_TRACE(mode);
    const CrashedChild child(mode, traced);
    ASSERT_TRUE(WIFSIGNALED(child.status));
    EXPECT_EQ(WTERMSIG(child.status), SIGSEGV);
    EXPECT_EQ(child.crashFiles, 0);
    EXPECT_EQ(child.message, "");
  }
}

TEST(CrashReporter, LldbShowsTheCrashingThreadsFramesByName) {
  if (std::system("lldb-14 --version > /dev/null 2>&1") != 0) GTEST_SKIP() << "lldb-14 is missing";
  // The frame below the fault is named only if its stack is in the dump.
  const std::pair<const char*, const char*> cases[] = {
      {"segv", "crashChildFault\\(.*\n.*frame #1: 0x[0-9a-f]+ orvo_crash_child`main"},
      {"thread-overflow", "frame #1: 0x[0-9a-f]+ orvo_crash_child`.* at CrashChild.cpp:"}};
  for (const auto& [mode, frames] : cases) {
    const CrashedChild child(mode);
    const std::string output = (child.directory / "lldb.txt").string();
    const std::string command = "lldb-14 --batch -c '" + child.dump.string() + "' '" +
                                child.program.string() + "' -o 'thread backtrace' > '" + output +
                                "' 2>&1";
    ASSERT_EQ(std::system(command.c_str()), 0);
    const std::string backtrace = fileText(output);
    EXPECT_NE(backtrace.find("stop reason = signal SIGSEGV"), std::string::npos) << backtrace;
    EXPECT_TRUE(std::regex_search(backtrace, std::regex(frames))) << backtrace;
  }
}

// Installed in this process for a moment: every fatal signal goes to the
// handler on the alternate stack; then the default actions are back, so that
// other tests die as they expect. The handler, called by hand with a signal
// whose default action is to ignore it, has the writer report this very
// process.
TEST(CrashReporter, TheHandlerReportsThisProcessWithItsThreads) {
  if (kThreadSanitizer) GTEST_SKIP() << "the handler's clone is beyond ThreadSanitizer";
  setenv("ORVO_CRASH_WRITER", ORVO_CRASH_WRITER, 1);
  CrashReporter::setContactAddress("help@example.org");
  handled_exception_filter();
  ASSERT_TRUE(CrashReporter::isInstalled());
  void (*handler)(int, siginfo_t*, void*) = nullptr;
  for (const int signal : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT, SIGTRAP}) {
    struct sigaction action {};
    sigaction(signal, nullptr, &action);
    EXPECT_EQ(action.sa_flags & (SA_SIGINFO | SA_ONSTACK), SA_SIGINFO | SA_ONSTACK) << signal;
    handler = action.sa_sigaction;
    action.sa_handler = SIG_DFL;
    action.sa_flags = 0;
    sigaction(signal, &action, nullptr);
  }
  const fs::path directory = fs::read_symlink("/proc/self/exe").parent_path();
  std::set<fs::path> before;
  for (const auto& entry : fs::directory_iterator(directory)) before.insert(entry.path());
  ucontext_t context;
  getcontext(&context);
  context.uc_mcontext.fpregs = nullptr;  // a context may come without them
  siginfo_t info{};
  info.si_signo = SIGFPE;
  info.si_code = FPE_INTDIV;
  handler(SIGWINCH, &info, &context);
  handler(SIGWINCH, &info, &context);  // a fault in the handler is handed on
  // One on another thread waits out the writer's bound, then is handed on.
  platform::setCrashWriter(ORVO_CRASH_WRITER, 1);
  std::thread([&] { handler(SIGWINCH, &info, &context); }).join();
  platform::setCrashWriter(ORVO_CRASH_WRITER, 9000);
  fs::path report, dump;
  for (const auto& entry : fs::directory_iterator(directory)) {
    if (before.count(entry.path()) != 0) continue;
    (entry.path().extension() == ".log" ? report : dump) = entry.path();
  }
  const std::string text = fileText(report), bytes = fileText(dump);
  fs::remove(report), fs::remove(dump);
  EXPECT_NE(text.find("\nException: INT_DIVIDE_BY_ZERO\n"), std::string::npos) << text;
  char rip[32];
  std::snprintf(rip, sizeof rip, "rip=%016llx",
                static_cast<unsigned long long>(context.uc_mcontext.gregs[REG_RIP]));
  EXPECT_NE(text.find(rip), std::string::npos) << text;
  checkMinidump(bytes, fs::read_symlink("/proc/self/exe").string());
}

bool hasAlternateStack() {
  stack_t stack{};
  sigaltstack(nullptr, &stack);
  return (stack.ss_flags & SS_DISABLE) == 0 && stack.ss_size >= 64u * 1024;
}

// An application's thread asks for one; the library's Threads have one.
TEST(CrashReporter, EachThreadCanHaveAnAlternateStack) {
  std::thread([] {
    EXPECT_FALSE(hasAlternateStack());
    EXPECT_TRUE(CrashReporter::giveThreadAlternateStack());
    EXPECT_TRUE(CrashReporter::giveThreadAlternateStack());
    EXPECT_TRUE(hasAlternateStack());
  }).join();
  Unknown::THandle<ScriptedSystem> system(new ScriptedSystem);
  std::atomic<int> seen{-1};
  system->script = [&seen](ScriptedSystem&) { seen = hasAlternateStack(); };
  Unknown::THandle<Thread> thread = Thread::createInstance();
  ASSERT_TRUE(thread->start(system.get()));
  while (seen < 0) std::this_thread::yield();
  thread->shutdown();
  EXPECT_EQ(seen, 1);
}

// A writer that is missing or hangs past the bound writes no report; paths
// that cannot be taken keep the writer there was.
TEST(CrashReporter, TheHandlerTellsWhetherItsWriterWroteTheReport) {
  if (kThreadSanitizer) GTEST_SKIP() << "the handler's clone is beyond ThreadSanitizer";
  const fs::path hanging = fs::temp_directory_path() / "orvo_hanging_writer.sh";
  std::ofstream(hanging) << "#!/bin/sh\nexec sleep 60\n";
  fs::permissions(hanging, fs::perms::owner_all);
  ucontext_t context;
  getcontext(&context);
  siginfo_t info{};
  info.si_signo = SIGILL;
  // The writer and whether it is taken; none of them writes a report (the
  // test above has the one that does, in this program's directory).
  const std::pair<std::string, bool> writers[] = {{"/nonexistent/orvo_crash_writer", true},
                                                  {hanging.string(), true},
                                                  {"", false},
                                                  {std::string(5000, 'w'), false}};
  for (const auto& [writer, taken] : writers) {
    platform::setCrashWriter(hanging.c_str(), 200);
    EXPECT_EQ(platform::setCrashWriter(writer.c_str(), 200), taken) << writer.substr(0, 40);
    EXPECT_FALSE(platform::reportCrash(&info, &context)) << writer.substr(0, 40);
  }
  platform::setCrashWriter(ORVO_CRASH_WRITER, 9000);
  fs::remove(hanging);
}

// Found by its variable, else next to the module that holds the library's
// code: here the test program itself.
TEST(CrashReporter, TheWriterIsFoundByItsVariableOrNextToTheLibrary) {
  const fs::path beside = fs::read_symlink("/proc/self/exe").parent_path() / "orvo_crash_writer";
  fs::create_symlink(ORVO_CRASH_WRITER, beside);
  const std::pair<const char*, std::string> places[] = {{ORVO_CRASH_WRITER, ORVO_CRASH_WRITER},
                                                        {"/nonexistent/writer", ""},
                                                        {"", beside.string()}};
  // The library's own path may be relative to the working directory.
  const auto located = [] {
    const std::string path = platform::findCrashWriter();
    return path.empty() ? path : fs::absolute(path).lexically_normal().string();
  };
  for (const auto& [variable, found] : places) {
    setenv("ORVO_CRASH_WRITER", variable, 1);
    EXPECT_EQ(located(), found) << variable;
  }
  fs::remove(beside);
  EXPECT_EQ(located(), "");
  setenv("ORVO_CRASH_WRITER", ORVO_CRASH_WRITER, 1);
}

// The writer started by anything but a crash handler writes nothing.
TEST(CrashReporter, TheWriterRefusesWithoutACrashRecord) {
  EXPECT_EQ(WEXITSTATUS(std::system(ORVO_CRASH_WRITER " 2> /dev/null")), 2);
  EXPECT_EQ(WEXITSTATUS(std::system(ORVO_CRASH_WRITER " 0x10 2> /dev/null")), 1);
}

TEST(CrashReport, ExceptionNamesFollowTheSignalAndItsCode) {
  const std::uint64_t low = 0x7f0000100000, high = 0x7f0000200000, below = low - (1 << 20);
  const std::tuple<int, int, std::uint64_t, const char*> names[] = {
      {SIGSEGV, SEGV_MAPERR, 0, "ACCESS_VIOLATION"}, {SIGBUS, BUS_ADRERR, 0, "IN_PAGE_ERROR"},
      {SIGSEGV, SEGV_MAPERR, high - 8, "STACK_OVERFLOW"},
      {SIGSEGV, SEGV_MAPERR, below, "STACK_OVERFLOW"},
      {SIGSEGV, SEGV_ACCERR, high, "ACCESS_VIOLATION"},
      {SIGSEGV, SEGV_MAPERR, below - 1, "ACCESS_VIOLATION"},
      {SIGBUS, BUS_ADRALN, 0, "DATATYPE_MISALIGNMENT"}, {SIGFPE, FPE_INTOVF, 0, "INT_OVERFLOW"},
      {SIGFPE, FPE_INTDIV, 0, "INT_DIVIDE_BY_ZERO"}, {SIGFPE, FPE_FLTOVF, 0, "FLT_OVERFLOW"},
      {SIGFPE, FPE_FLTDIV, 0, "FLT_DIVIDE_BY_ZERO"}, {SIGFPE, FPE_FLTUND, 0, "FLT_UNDERFLOW"},
      {SIGFPE, FPE_FLTRES, 0, "FLT_INEXACT_RESULT"}, {SIGFPE, FPE_FLTSUB, 0, "UNKNOWN_ERROR"},
      {SIGFPE, FPE_FLTINV, 0, "FLT_INVALID_OPERATION"}, {SIGTRAP, TRAP_TRACE, 0, "SINGLE_STEP"},
      {SIGILL, ILL_PRVOPC, 0, "PRIV_INSTRUCTION"}, {SIGILL, ILL_ILLOPN, 0, "ILLEGAL_INSTRUCTION"},
      {SIGTRAP, TRAP_BRKPT, 0, "BREAKPOINT"}, {SIGABRT, SI_TKILL, 0, "UNKNOWN_ERROR"}};
  for (const auto& [signal, code, address, name] : names)
    EXPECT_STREQ(crashwriter::exceptionName(signal, code, address, low, high), name) << name;
}

TEST(Minidump, StringsAreUtf16WithReplacementsForBadBytes) {
  using Units = std::vector<std::uint16_t>;
  EXPECT_EQ(crashwriter::utf16("/a"), (Units{'/', 'a'}));
  EXPECT_EQ(crashwriter::utf16("\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80"),
            (Units{0xE9, 0x20AC, 0xD83D, 0xDE00}));
  // Stray continuation, overlong, surrogate, beyond U+10FFFF, bad lead, cut short.
  EXPECT_EQ(crashwriter::utf16("\x80\xC1\xBF\xED\xA0\x80\xF4\x90\x80\x80\xF5x\xE2\x82"),
            (Units{0xFFFD, 0xFFFD, 0xFFFD, 0xFFFD, 0xFFFD, 0xFFFD, 0xFFFD, 0xFFFD, 0xFFFD, 0xFFFD,
                   0xFFFD, 'x', 0xFFFD, 0xFFFD}));
}

TEST(CrashReport, LinesKeepTheirFormat) {
  using crashwriter::Frame;
  EXPECT_EQ(crashwriter::commandLineText(std::string(300, 'x')),
            "Cmd line: " + std::string(256, 'x') + "\n");
  int version[4];
  crashwriter::moduleVersion("/usr/lib/libstdc++.so.6.0.30", version);
  EXPECT_EQ((std::vector<int>(version, version + 4)), (std::vector<int>{6, 0, 30, 0}));
  crashwriter::moduleVersion("/opt/x.so.1/program", version);
  EXPECT_EQ((std::vector<int>(version, version + 4)), (std::vector<int>{0, 0, 0, 0}));
  EXPECT_EQ(crashwriter::frameText(3, Frame{0x401000, "", "", "", 0, {}}),
            "#3  0x0000000000401000 in (unknown function)\n");
  EXPECT_EQ(
      crashwriter::frameText(1, Frame{0x10, std::string(210, 'f'), "", "a.cpp", 7, {"n = 1"}}),
      "#1  0x0000000000000010 in " + std::string(200, 'f') + " () at a.cpp:7\n        n = 1\n");
}

// A live child that maps files which are not 64-bit ELF objects from their
// start: they are mappings, never modules; the record is found only where
// the handler left it, and the child's thread is stopped while it is read.
TEST(CrashedProcess, ModulesAreTheElfObjectsMappedFromTheirStart) {
  static platform::CrashRecord record{};
  record.magic = platform::CrashRecord::kMagic;
  record.size = sizeof record;
  const fs::path plain = fs::temp_directory_path() / "orvo_crash_plain.bin",
                 elf32 = fs::temp_directory_path() / "orvo_crash_elf32.bin";
  std::string header(4096, '\0');
  std::ofstream(plain) << header;
  header.replace(0, 5, "\x7f" "ELF\x01");
  std::ofstream(elf32) << header;
  int ready[2];
  ASSERT_EQ(pipe(ready), 0);
  const pid_t child = fork();
  if (child == 0) {
    for (const fs::path& path : {plain, elf32})
      mmap(nullptr, 4096, PROT_READ, MAP_PRIVATE, open(path.c_str(), O_RDONLY), 0);
    (void)!write(ready[1], "!", 1);
    pause();
    _exit(0);
  }
  char signal;
  ASSERT_EQ(read(ready[0], &signal, 1), 1);
  {
    const crashwriter::CrashedProcess wrong(child, reinterpret_cast<std::uintptr_t>(&record) + 8);
    EXPECT_FALSE(wrong.ok());
    const crashwriter::CrashedProcess process(child, reinterpret_cast<std::uintptr_t>(&record));
    ASSERT_TRUE(process.ok());
    EXPECT_GE(process.threads().size(), 2u);  // the record's and the stopped thread(s)
    std::set<std::string> mapped, modules;
    for (const auto& mapping : process.mappings()) mapped.insert(mapping.path);
    for (const auto& module : process.modules()) modules.insert(module.path);
    EXPECT_EQ(mapped.count(plain.string()) + mapped.count(elf32.string()), 2u);
    EXPECT_EQ(modules.count(plain.string()) + modules.count(elf32.string()), 0u);
    EXPECT_EQ(process.modules().front().path, fs::read_symlink("/proc/self/exe").string());
    EXPECT_EQ(process.modules().front().buildId.size(), 20u);
  }
  kill(child, SIGKILL);
  waitpid(child, nullptr, 0);
  close(ready[0]), close(ready[1]);
  fs::remove(plain), fs::remove(elf32);
}

// Values by their type, read from this process's memory.
TEST(CrashReport, ValuesAreRenderedByTheirType) {
  using Kind = crashwriter::ValueType::Kind;
  const char textBuffer[300] = "the text";  // the text is read 255 bytes at a time
  const char* text = textBuffer;
  const std::string longText(300, 'l');
  const char* longPointer = longText.c_str();
  const std::uint64_t word = 0xDEADBEEF00;
  const std::int32_t negative = -5;
  const float single = 1.5f;
  const double twice = 2.25;
  const void* const* twoLevels = nullptr;
  const auto at = [](const void* p) { return reinterpret_cast<std::uint64_t>(p); };
  const auto shown = [&at](const void* p) {
    char hex[32];
    std::snprintf(hex, sizeof hex, "0x%016llx", static_cast<unsigned long long>(at(p)));
    return std::string(hex);
  };
  // The type, the value's address and what it renders as.
  const std::tuple<crashwriter::ValueType, std::uint64_t, std::string> cases[] = {
      {{Kind::UserDefined, 0, "Point", 8, 0}, at(&word), "(Point) " + shown(&word)},
      {{Kind::UserDefined, 1, "Point", 8, 0}, at(&text), "(Point *) " + shown(text)},
      {{Kind::UserDefined, 2, "Point", 8, 0}, at(&twoLevels), "(Point **) " + shown(&twoLevels)},
      {{Kind::Enumeration, 0, "", 4, 0}, at(&negative), "-5"},
      {{Kind::Function, 1, "", 0, 0}, at(&text), shown(text)},
      {{Kind::Base, 1, "", 1, DW_ATE_signed_char}, at(&text), shown(text) + " \"the text\""},
      {{Kind::Base, 1, "", 1, DW_ATE_signed_char}, at(&longPointer),
       (shown(longPointer) + " \"" + longText).substr(0, 255)},
      {{Kind::Base, 1, "", 4, DW_ATE_signed}, at(&text), shown(text)},
      {{Kind::Base, 0, "", 2, DW_ATE_unsigned}, at(&word), "ef00"},
      {{Kind::Base, 0, "", 4, DW_ATE_signed}, at(&negative), "-5"},
      {{Kind::Base, 0, "", 4, DW_ATE_float}, at(&single), "1.500000"},
      {{Kind::Base, 0, "", 4, DW_ATE_unsigned}, at(&negative), "fffffffb"},
      {{Kind::Base, 0, "", 8, DW_ATE_float}, at(&twice), "2.250000"},
      {{Kind::Base, 0, "", 8, DW_ATE_signed}, at(&word), "DEADBEEF00"},
      {{Kind::Base, 0, "", 16, DW_ATE_float}, at(&word), ""},
      {{Kind::Other, 0, "", 4, 0}, at(&word), ""}};
  const crashwriter::MemoryReader read = [](std::uint64_t address, void* into, std::size_t size) {
    std::memcpy(into, reinterpret_cast<const void*>(address), size);
    return size;
  };
  for (const auto& [type, address, expected] : cases)
    EXPECT_EQ(crashwriter::renderValue(type, address, read), expected) << expected;
}

}  // namespace
}  // namespace orvo
