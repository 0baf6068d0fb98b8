#include "platform/CrashHandler.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <sched.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <time.h>
#include <ucontext.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <string>

#include "platform/CrashRecord.h"

#ifndef ORVO_CRASH_WRITER_FROM_LIBRARY
#define ORVO_CRASH_WRITER_FROM_LIBRARY "../libexec/orvo_crash_writer"
#endif

extern char** environ;

namespace orvo::platform {
namespace {

constexpr int kFatalSignals[] = {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT, SIGTRAP};
constexpr std::size_t kAlternateStackSize = 64 * 1024;
constexpr long kPollMs = 20;

// Everything the handler touches, prepared before any crash.
CrashRecord record{};
char writerPath[4096];
char recordArgument[32];
char* writerArguments[3] = {writerPath, recordArgument, nullptr};
alignas(16) char cloneStack[16 * 1024];
char statusText[8192];
std::atomic<int> handlerThread{0};  // the thread id of the first crash, 0 before
long writerBoundMs = 9000;  // how long the handler waits for the writer
std::once_flag installed;
bool installResult = false;

long rawCall(long number, long a = 0, long b = 0, long c = 0, long d = 0) {
  return syscall(number, a, b, c, d);
}

int currentThreadId() { return static_cast<int>(rawCall(SYS_gettid)); }

// A signal may cut the pause short; the waits that use it only get shorter.
void sleepMs(long ms) {
  const timespec pause{ms / 1000, (ms % 1000) * 1000000};
  nanosleep(&pause, nullptr);
}

// A non-zero TracerPid in /proc/self/status, read with plain system calls;
// the file is far shorter than the buffer.
bool isTraced() {
  const int file = open("/proc/self/status", O_RDONLY | O_CLOEXEC);
  const ssize_t length = read(file, statusText, sizeof statusText - 1);
  close(file);
  statusText[std::max<ssize_t>(length, 0)] = 0;
  const char* field = std::strstr(statusText, "TracerPid:");
  if (field == nullptr) return false;
  field += 10 + std::strspn(field + 10, " \t");
  return *field != '0';  // a process id never starts with 0
}

void fillRecord(const siginfo_t* info, const ucontext_t* context) {
  record.signal = info->si_signo;
  record.code = info->si_code;
  record.threadId = currentThreadId();
  record.faultAddress = reinterpret_cast<std::uint64_t>(info->si_addr);
  for (int i = 0; i < CrashRecord::kRegisterCount; ++i)
    record.registers[i] = static_cast<std::uint64_t>(context->uc_mcontext.gregs[i]);
  record.hasFloatingPoint = context->uc_mcontext.fpregs != nullptr;
  if (record.hasFloatingPoint)
    std::memcpy(record.floatingPoint, context->uc_mcontext.fpregs, sizeof record.floatingPoint);
}

// The child shares the memory of the crashed process until execve, its
// thread-local storage included, so it does nothing but restore the signal
// mask and exec, and it is left out of sanitizer instrumentation, which
// would keep its bookkeeping in that shared storage.
__attribute__((no_sanitize("address", "thread", "undefined"))) int startWriter(void*) {
  const sigset_t none{};
  syscall(SYS_rt_sigprocmask, SIG_SETMASK, &none, nullptr, sizeof(long));
  syscall(SYS_execve, writerPath, writerArguments, environ);
  syscall(SYS_exit, 127);
  return 127;
}

bool runWriter() {
  prctl(PR_SET_DUMPABLE, 1, 0, 0, 0);
  prctl(PR_SET_PTRACER, PR_SET_PTRACER_ANY, 0, 0, 0);  // under Yama's restrictions
  sigset_t all, previous;
  sigfillset(&all);
  rawCall(SYS_rt_sigprocmask, SIG_SETMASK, reinterpret_cast<long>(&all),
          reinterpret_cast<long>(&previous), sizeof(long));
  const pid_t child =
      clone(startWriter, cloneStack + sizeof cloneStack, CLONE_VM | CLONE_VFORK | SIGCHLD, nullptr);
  rawCall(SYS_rt_sigprocmask, SIG_SETMASK, reinterpret_cast<long>(&previous), 0, sizeof(long));
  if (child <= 0) return false;
  int status = 0;
  for (long waited = 0; waited <= writerBoundMs; waited += kPollMs) {
    const long done = rawCall(SYS_wait4, child, reinterpret_cast<long>(&status), WNOHANG | __WALL);
    if (done != 0) return done == child && status == 0;  // exited with 0
    sleepMs(kPollMs);
  }
  kill(child, SIGKILL);
  rawCall(SYS_wait4, child, reinterpret_cast<long>(&status), __WALL);
  return false;
}

// Hands the signal on: its default action takes over, and the signal comes
// again as soon as the handler returns, whatever sent it the first time.
void handOn(int signal) {
  struct sigaction standard {};
  standard.sa_handler = SIG_DFL;
  sigemptyset(&standard.sa_mask);
  sigaction(signal, &standard, nullptr);
  rawCall(SYS_tgkill, getpid(), currentThreadId(), signal);
}

// Only the first fault is reported. A fault on another thread meanwhile
// waits for the first to end the process; one in the handler goes on at once.
void onFatalSignal(int signal, siginfo_t* info, void* context) {
  int first = 0;
  if (handlerThread.compare_exchange_strong(first, currentThreadId()))
    reportCrash(info, context);
  else if (first != currentThreadId())
    sleepMs(writerBoundMs + 1000);
  handOn(signal);
}

bool isExecutable(const std::string& path) {
  return access(path.c_str(), X_OK) == 0;
}

std::string findWriter() {
  if (const char* chosen = std::getenv("ORVO_CRASH_WRITER"); chosen != nullptr && *chosen != 0)
    return isExecutable(chosen) ? chosen : std::string();
  Dl_info where{};
  if (dladdr(reinterpret_cast<void*>(&installCrashHandler), &where) == 0) return {};
  std::string directory = where.dli_fname;
  directory.resize(directory.rfind('/') + 1);  // empty without a slash
  // Next to the library in the build tree; where it is installed otherwise.
  for (const char* place : {"orvo_crash_writer", ORVO_CRASH_WRITER_FROM_LIBRARY})
    if (isExecutable(directory + place)) return directory + place;
  return {};
}

// The writer the handler starts: false, and the one before kept, if the
// path is empty or too long.
bool useWriter(const char* path) {
  const std::size_t length = std::strlen(path);
  if (length == 0 || length >= sizeof writerPath) return false;
  std::memcpy(writerPath, path, length + 1);
  return true;
}

struct AlternateStack {
  void* memory = nullptr;
  ~AlternateStack() {
    if (memory == nullptr) return;
    stack_t off{};
    off.ss_flags = SS_DISABLE;
    sigaltstack(&off, nullptr);
    munmap(memory, kAlternateStackSize);
  }
};

}  // namespace

std::string findCrashWriter() { return findWriter(); }

void setCrashContact(const char* address) {
  std::snprintf(record.contact, sizeof record.contact, "%s", address == nullptr ? "" : address);
}

bool giveThreadAlternateStack() {
  stack_t current{};
  // A smaller one (a sanitizer's, say) is replaced.
  if (sigaltstack(nullptr, &current) == 0 && (current.ss_flags & SS_DISABLE) == 0 &&
      current.ss_size >= kAlternateStackSize)
    return true;
  thread_local AlternateStack owned;
  owned.memory = mmap(nullptr, kAlternateStackSize, PROT_READ | PROT_WRITE,
                      MAP_PRIVATE | MAP_ANONYMOUS | MAP_STACK, -1, 0);
  if (owned.memory == MAP_FAILED) {
    owned.memory = nullptr;
    return false;
  }
  stack_t stack{};
  stack.ss_sp = owned.memory;
  stack.ss_size = kAlternateStackSize;
  return sigaltstack(&stack, nullptr) == 0;
}

bool prepareCrashReport() {
  static const bool prepared = [] {
    std::snprintf(recordArgument, sizeof recordArgument, "%p", static_cast<void*>(&record));
    record.magic = CrashRecord::kMagic;
    record.size = sizeof record;
    if (record.contact[0] == 0) setCrashContact("support@orvo.dev");
    return useWriter(findWriter().c_str());
  }();
  return prepared;
}

bool setCrashWriter(const char* path, long boundMs) {
  prepareCrashReport();
  writerBoundMs = boundMs;
  return useWriter(path);
}

bool reportCrash(const siginfo_t* info, const void* context) {
  if (isTraced()) return false;
  fillRecord(info, static_cast<const ucontext_t*>(context));
  return runWriter();
}

bool installCrashHandler() {
  std::call_once(installed, [] {
    if (!prepareCrashReport()) return;
    giveThreadAlternateStack();
    struct sigaction action {};
    action.sa_sigaction = onFatalSignal;
    action.sa_flags = SA_SIGINFO | SA_ONSTACK;
    sigemptyset(&action.sa_mask);
    for (const int signal : kFatalSignals) sigaction(signal, &action, nullptr);
    installResult = true;
  });
  return installResult;
}

}  // namespace orvo::platform
