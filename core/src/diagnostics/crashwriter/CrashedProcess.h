// CrashedProcess.h: what the crash writer learns about the crashed process,
// its parent: the record its handler left, the threads and their registers,
// the memory map, the loaded ELF modules and the /proc texts. Other threads
// are stopped with ptrace while the object lives and let go when it ends.
// One object belongs to one thread.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>
#include <vector>

#include "platform/CrashRecord.h"

namespace orvo::crashwriter {

// The registers of one thread, by name.
struct CpuContext {
  std::uint32_t threadId = 0;
  std::uint64_t rax = 0, rbx = 0, rcx = 0, rdx = 0, rsi = 0, rdi = 0, rbp = 0, rsp = 0;
  std::uint64_t r8 = 0, r9 = 0, r10 = 0, r11 = 0, r12 = 0, r13 = 0, r14 = 0, r15 = 0;
  std::uint64_t rip = 0, eflags = 0;
  std::uint16_t cs = 0, ss = 0, ds = 0, es = 0, fs = 0, gs = 0;
  std::uint32_t mxcsr = 0;
  bool hasFloatingPoint = false;
  std::uint8_t floatingPoint[512] = {};  // FXSAVE image
};

struct Mapping {
  std::uint64_t start = 0, end = 0, offset = 0;
  std::string permissions, path;
};

struct Module {
  std::uint64_t base = 0;  // where the ELF header is mapped
  std::uint64_t size = 0;  // of the PT_LOAD span, whole pages
  std::string path;
  std::vector<std::uint8_t> buildId;
};

class CrashedProcess {
 public:
  // Reads everything of process `pid`, whose handler's record is at
  // `recordAddress`. ok() says whether the record could be read.
  CrashedProcess(pid_t pid, std::uint64_t recordAddress);
  ~CrashedProcess();
  CrashedProcess(const CrashedProcess&) = delete;
  CrashedProcess& operator=(const CrashedProcess&) = delete;

  bool ok() const { return _ok; }
  pid_t pid() const { return _pid; }
  const platform::CrashRecord& record() const { return _record; }
  // The crashing thread first, then each other thread that could be stopped.
  const std::vector<CpuContext>& threads() const { return _threads; }
  const std::vector<Mapping>& mappings() const { return _mappings; }
  const std::vector<Module>& modules() const { return _modules; }

  // Copies process memory at `address`; the bytes copied, fewer where the
  // range leaves readable memory.
  std::size_t read(std::uint64_t address, void* into, std::size_t length) const;
  // The whole text of /proc/<pid>/<name>, or of another absolute path.
  std::string procText(const char* name) const;
  // The mapping that holds `address`, or null.
  const Mapping* mappingOf(std::uint64_t address) const;
  // [low, high) of the stack a thread with this stack pointer runs on: the
  // mapping holding it, or the one just above when it has run off its end.
  bool stackOf(std::uint64_t stackPointer, std::uint64_t& low, std::uint64_t& high) const;

 private:
  void readMappings();
  void readModules();
  void stopOtherThreads();
  bool readElfModule(const Mapping& mapping, Module& module) const;

  pid_t _pid;
  bool _ok = false;
  platform::CrashRecord _record{};
  std::vector<CpuContext> _threads;
  std::vector<pid_t> _stopped;
  std::vector<Mapping> _mappings;
  std::vector<Module> _modules;
};

// The registers of the record, the state at the faulting instruction.
CpuContext contextOfRecord(const platform::CrashRecord& record);

}  // namespace orvo::crashwriter
