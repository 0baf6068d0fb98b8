#include "diagnostics/crashwriter/CrashedProcess.h"

#include <dirent.h>
#include <elf.h>
#include <fcntl.h>
#include <sys/ptrace.h>
#include <sys/ucontext.h>
#include <sys/uio.h>
#include <sys/user.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sstream>

namespace orvo::crashwriter {
namespace {

constexpr std::uint64_t kPage = 4096;
constexpr long kStopWaitMs = 500;  // for each thread that ptrace stops

std::uint64_t roundUp(std::uint64_t value) { return (value + kPage - 1) & ~(kPage - 1); }

bool parseMapping(const char* line, Mapping& mapping) {
  char permissions[8] = {};
  unsigned long long start = 0, end = 0, offset = 0;
  const int length = static_cast<int>(std::strlen(line));
  int pathAt = length;  // no path: the empty end of the line
  if (std::sscanf(line, "%llx-%llx %7s %llx %*s %*s %n", &start, &end, permissions, &offset,
                  &pathAt) < 4)
    return false;
  mapping.start = start;
  mapping.end = end;
  mapping.offset = offset;
  mapping.permissions = permissions;
  mapping.path = line + std::min(pathAt, length);
  return true;
}

void readNotes(const CrashedProcess& process, std::uint64_t address, std::uint64_t size,
               std::vector<std::uint8_t>& buildId) {
  std::vector<std::uint8_t> notes(std::min<std::uint64_t>(size, 64 * 1024));
  notes.resize(process.read(address, notes.data(), notes.size()));
  for (std::size_t at = 0; at + 12 <= notes.size();) {
    std::uint32_t header[3];
    std::memcpy(header, notes.data() + at, sizeof header);
    const std::size_t name = at + 12, desc = name + ((header[0] + 3) & ~3u);
    const std::size_t next = desc + ((header[1] + 3) & ~3u);
    if (next > notes.size()) return;  // sizes are 32 bits: `next` cannot wrap
    if (header[2] == NT_GNU_BUILD_ID && header[0] == 4 &&
        std::memcmp(&notes[name], "GNU", 4) == 0) {
      buildId.assign(notes.begin() + static_cast<long>(desc),
                     notes.begin() + static_cast<long>(desc + header[1]));
      return;
    }
    at = next;
  }
}

template <class Registers>
void copyGeneral(CpuContext& context, const Registers& r) {
  context.rax = r.rax, context.rbx = r.rbx, context.rcx = r.rcx, context.rdx = r.rdx;
  context.rsi = r.rsi, context.rdi = r.rdi, context.rbp = r.rbp, context.rsp = r.rsp;
  context.r8 = r.r8, context.r9 = r.r9, context.r10 = r.r10, context.r11 = r.r11;
  context.r12 = r.r12, context.r13 = r.r13, context.r14 = r.r14, context.r15 = r.r15;
}

bool waitForStop(pid_t thread) {
  for (long waited = 0; waited < kStopWaitMs; waited += 5) {
    int status = 0;
    const pid_t done = waitpid(thread, &status, __WALL | WNOHANG);
    if (done == thread) return WIFSTOPPED(status);
    if (done < 0) return false;
    timespec pause{0, 5000000};
    nanosleep(&pause, nullptr);
  }
  return false;
}

}  // namespace

CpuContext contextOfRecord(const platform::CrashRecord& record) {
  struct Named {
    std::uint64_t r8, r9, r10, r11, r12, r13, r14, r15, rdi, rsi, rbp, rbx, rdx, rax, rcx, rsp;
  } named;
  static_assert(REG_R8 == 0 && REG_RSP == 15 && REG_RIP == 16 && REG_CSGSFS == 18);
  std::memcpy(&named, record.registers, sizeof named);
  CpuContext context;
  context.threadId = static_cast<std::uint32_t>(record.threadId);
  copyGeneral(context, named);
  context.rip = record.registers[REG_RIP];
  context.eflags = record.registers[REG_EFL];
  const std::uint64_t segments = record.registers[REG_CSGSFS];
  context.cs = static_cast<std::uint16_t>(segments);
  context.gs = static_cast<std::uint16_t>(segments >> 16);
  context.fs = static_cast<std::uint16_t>(segments >> 32);
  context.ss = static_cast<std::uint16_t>(segments >> 48);
  context.hasFloatingPoint = record.hasFloatingPoint != 0;
  std::memcpy(context.floatingPoint, record.floatingPoint, sizeof context.floatingPoint);
  std::memcpy(&context.mxcsr, context.floatingPoint + 24, sizeof context.mxcsr);
  return context;
}

CrashedProcess::CrashedProcess(pid_t pid, std::uint64_t recordAddress) : _pid(pid) {
  _ok = read(recordAddress, &_record, sizeof _record) == sizeof _record &&
        _record.magic == platform::CrashRecord::kMagic && _record.size == sizeof _record;
  if (!_ok) return;
  _record.contact[sizeof _record.contact - 1] = 0;
  _threads.push_back(contextOfRecord(_record));
  stopOtherThreads();
  readMappings();
  readModules();
}

CrashedProcess::~CrashedProcess() {
  for (const pid_t thread : _stopped) ptrace(PTRACE_DETACH, thread, nullptr, nullptr);
}

std::size_t CrashedProcess::read(std::uint64_t address, void* into, std::size_t length) const {
  std::size_t done = 0;
  while (done < length) {
    // One page at a time after a failure, so a hole ends the copy exactly.
    iovec local{static_cast<char*>(into) + done, length - done};
    iovec remote{reinterpret_cast<void*>(address + done), length - done};
    ssize_t got = process_vm_readv(_pid, &local, 1, &remote, 1, 0);
    if (got <= 0) {
      const std::size_t toPage = kPage - ((address + done) & (kPage - 1));
      local.iov_len = remote.iov_len = std::min(toPage, length - done);
      got = process_vm_readv(_pid, &local, 1, &remote, 1, 0);
      if (got <= 0) break;
    }
    done += static_cast<std::size_t>(got);
  }
  return done;
}

std::string CrashedProcess::procText(const char* name) const {
  const std::string path =
      name[0] == '/' ? std::string(name) : "/proc/" + std::to_string(_pid) + "/" + name;
  std::string text;
  const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);  // -1: reads nothing
  char chunk[4096];
  for (ssize_t got; (got = ::read(file, chunk, sizeof chunk)) > 0;)
    text.append(chunk, static_cast<std::size_t>(got));
  close(file);
  return text;
}

const Mapping* CrashedProcess::mappingOf(std::uint64_t address) const {
  for (const Mapping& mapping : _mappings)
    if (address >= mapping.start && address < mapping.end) return &mapping;
  return nullptr;
}

bool CrashedProcess::stackOf(std::uint64_t stackPointer, std::uint64_t& low,
                             std::uint64_t& high) const {
  // A guard page is mapped but unreadable: the stack is the mapping above.
  const Mapping* holder = mappingOf(stackPointer);
  if (holder != nullptr && holder->permissions.find('r') == std::string::npos) holder = nullptr;
  if (holder == nullptr)
    for (const Mapping& mapping : _mappings)
      if (mapping.start > stackPointer && mapping.start - stackPointer <= (1u << 20)) {
        holder = &mapping;
        break;
      }
  if (holder == nullptr) return false;
  low = holder->start;
  high = holder->end;
  return true;
}

void CrashedProcess::readMappings() {
  std::istringstream lines(procText("maps"));
  for (std::string line; std::getline(lines, line);) {
    Mapping mapping;
    if (parseMapping(line.c_str(), mapping)) _mappings.push_back(mapping);
  }
}

bool CrashedProcess::readElfModule(const Mapping& mapping, Module& module) const {
  Elf64_Ehdr header;
  if (read(mapping.start, &header, sizeof header) != sizeof header ||
      std::memcmp(header.e_ident, ELFMAG, SELFMAG) != 0 || header.e_ident[EI_CLASS] != ELFCLASS64 ||
      header.e_phentsize != sizeof(Elf64_Phdr) || header.e_phnum == 0 || header.e_phnum > 256)
    return false;
  std::vector<Elf64_Phdr> programHeaders(header.e_phnum);
  const std::size_t bytes = programHeaders.size() * sizeof(Elf64_Phdr);
  if (read(mapping.start + header.e_phoff, programHeaders.data(), bytes) != bytes) return false;
  std::uint64_t low = ~0ull, high = 0;
  for (const Elf64_Phdr& segment : programHeaders)
    if (segment.p_type == PT_LOAD) {
      low = std::min<std::uint64_t>(low, segment.p_vaddr);
      high = std::max<std::uint64_t>(high, segment.p_vaddr + segment.p_memsz);
    }
  if (high <= low) return false;
  const std::uint64_t bias = mapping.start - (low & ~(kPage - 1));
  module.base = mapping.start;
  module.size = roundUp(high - (low & ~(kPage - 1)));
  module.path = mapping.path;
  for (const Elf64_Phdr& segment : programHeaders)
    if (segment.p_type == PT_NOTE && module.buildId.empty())
      readNotes(*this, bias + segment.p_vaddr, segment.p_memsz, module.buildId);
  return true;
}

void CrashedProcess::readModules() {
  for (const Mapping& mapping : _mappings) {
    if (mapping.offset != 0 || mapping.path.empty() || mapping.path[0] != '/') continue;
    bool known = false;
    for (const Module& module : _modules) known = known || module.path == mapping.path;
    Module module;
    if (!known && readElfModule(mapping, module)) _modules.push_back(std::move(module));
  }
}

void CrashedProcess::stopOtherThreads() {
  DIR* tasks = opendir(("/proc/" + std::to_string(_pid) + "/task").c_str());
  if (tasks == nullptr) return;
  while (const dirent* entry = readdir(tasks)) {
    const pid_t thread = static_cast<pid_t>(std::atoi(entry->d_name));
    if (thread <= 0 || thread == _record.threadId) continue;
    if (ptrace(PTRACE_SEIZE, thread, nullptr, nullptr) != 0) continue;
    _stopped.push_back(thread);
    user_regs_struct general{};
    user_fpregs_struct floating{};
    if (ptrace(PTRACE_INTERRUPT, thread, nullptr, nullptr) != 0 || !waitForStop(thread) ||
        ptrace(PTRACE_GETREGS, thread, nullptr, &general) != 0)
      continue;
    CpuContext context;
    context.threadId = static_cast<std::uint32_t>(thread);
    copyGeneral(context, general);
    context.rip = general.rip;
    context.eflags = general.eflags;
    context.cs = static_cast<std::uint16_t>(general.cs);
    context.ss = static_cast<std::uint16_t>(general.ss);
    context.ds = static_cast<std::uint16_t>(general.ds);
    context.es = static_cast<std::uint16_t>(general.es);
    context.fs = static_cast<std::uint16_t>(general.fs);
    context.gs = static_cast<std::uint16_t>(general.gs);
    if (ptrace(PTRACE_GETFPREGS, thread, nullptr, &floating) == 0) {
      static_assert(sizeof floating == sizeof context.floatingPoint);
      std::memcpy(context.floatingPoint, &floating, sizeof floating);
      context.mxcsr = floating.mxcsr;
      context.hasFloatingPoint = true;
    }
    _threads.push_back(context);
  }
  closedir(tasks);
}

}  // namespace orvo::crashwriter
