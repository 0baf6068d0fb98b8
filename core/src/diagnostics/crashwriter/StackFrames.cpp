#include "diagnostics/crashwriter/StackFrames.h"

#include "diagnostics/crashwriter/FrameVariables.h"
#include "diagnostics/crashwriter/Libdw.h"

#include <cxxabi.h>

#include <cstdlib>
#include <cstring>

namespace orvo::crashwriter {
namespace {

constexpr int kMostFrames = 256;

struct Walk {
  const CrashedProcess& process;
  const CpuContext& context;
  std::vector<std::uint64_t> addresses;
  std::vector<FrameRegisters> registers;
};

pid_t nextThread(Dwfl*, void* walk, void** thread) {
  if (*thread != nullptr) return 0;
  *thread = walk;
  return static_cast<pid_t>(static_cast<Walk*>(walk)->context.threadId);
}

bool readWord(Dwfl*, Dwarf_Addr address, Dwarf_Word* result, void* walk) {
  return static_cast<Walk*>(walk)->process.read(address, result, sizeof *result) == sizeof *result;
}

// The recorded registers, in the DWARF numbering of x86-64.
bool initialRegisters(Dwfl_Thread* thread, void* walk) {
  const CpuContext& c = static_cast<Walk*>(walk)->context;
  const Dwarf_Word registers[] = {c.rax, c.rdx, c.rcx, c.rbx, c.rsi, c.rdi, c.rbp, c.rsp, c.r8,
                                  c.r9,  c.r10, c.r11, c.r12, c.r13, c.r14, c.r15, c.rip};
  return dw.stateRegisters(thread, 0, 17, registers);
}

int onFrame(Dwfl_Frame* frame, void* walk) {
  Dwarf_Addr pc = 0;
  if (!dw.framePc(frame, &pc, nullptr) || pc == 0) return DWARF_CB_ABORT;
  auto& addresses = static_cast<Walk*>(walk)->addresses;
  addresses.push_back(pc);
  FrameRegisters& registers = static_cast<Walk*>(walk)->registers.emplace_back();
  for (int i = 0; i < FrameRegisters::kCount; ++i)
    registers.known[i] = dw.frameRegister(frame, i, &registers.values[i]) == 0;
  return addresses.size() < kMostFrames ? DWARF_CB_OK : DWARF_CB_ABORT;
}

// "ns::f(int) const" gives "ns::f": the parameters are printed apart.
std::string withoutParameterList(std::string name) {
  std::size_t close = name.rfind(')');
  if (close == std::string::npos) return name;
  int depth = 0;
  for (std::size_t i = close + 1; i-- > 0;) {
    depth += name[i] == ')' ? 1 : name[i] == '(' ? -1 : 0;
    if (depth == 0) return i == 0 ? name : name.substr(0, i);
  }
  return name;
}

std::string readableName(const char* symbol) {
  int status = 0;
  char* plain = abi::__cxa_demangle(symbol, nullptr, nullptr, &status);
  std::string name = status == 0 && plain != nullptr ? withoutParameterList(plain) : symbol;
  std::free(plain);
  return name;
}

// The line of `address` from the line table of its unit.
bool lineOfUnit(Dwfl_Module* module, Dwarf_Addr address, Frame& frame) {
  Dwarf_Addr bias = 0;
  Dwarf_Die* unit = unitOf(module, address, bias);
  Dwarf_Line* line = unit == nullptr ? nullptr : dw.unitLine(unit, address - bias);
  const char* file = line == nullptr ? nullptr : dw.lineSource(line, nullptr, nullptr);
  if (file == nullptr || dw.lineNumber(line, &frame.line) != 0) return false;
  frame.file = file;
  return true;
}

// Names the frame at `pc`, with its variables; a return address is looked
// up one byte back, in the call that it follows.
Frame describe(Dwfl* dwfl, std::uint64_t pc, bool returnAddress, const FrameRegisters& registers,
               const CrashedProcess& process) {
  Frame frame;
  frame.address = pc;
  const Dwarf_Addr lookup = returnAddress ? pc - 1 : pc;
  Dwfl_Module* module = dw.addrModule(dwfl, lookup);
  if (module == nullptr) return frame;
  if (const char* symbol = dw.addrName(module, lookup)) {
    frame.function = readableName(symbol);
    describeVariables(module, lookup, registers,
                      [&process](std::uint64_t address, void* into, std::size_t length) {
                        return process.read(address, into, length);
                      },
                      frame);
  }
  const char* file = nullptr;
  if (Dwfl_Line* line = dw.getSrc(module, lookup))
    file = dw.lineInfo(line, nullptr, &frame.line, nullptr, nullptr, nullptr);
  if (file != nullptr)
    frame.file = file;
  else
    lineOfUnit(module, lookup, frame);
  return frame;
}

}  // namespace

std::vector<Frame> crashedThreadFrames(const CrashedProcess& process) {
  const CpuContext& crashed = process.threads().front();
  if (!openLibdw()) return {Frame{crashed.rip, "", "", "", 0, {}}};  // the fault, unnamed
  static char* debugInfoPath = nullptr;  // libdw's default places
  static Dwfl_Callbacks callbacks{};
  callbacks.find_elf = dw.findElf;
  callbacks.find_debuginfo = dw.findDebugInfo;
  callbacks.debuginfo_path = &debugInfoPath;
  static const Dwfl_Thread_Callbacks threadCallbacks{nextThread,       nullptr, readWord,
                                                     initialRegisters, nullptr, nullptr};
  Walk walk{process, crashed, {}, {}};
  Dwfl* dwfl = dw.begin(&callbacks);  // libdw's calls take a null one and fail
  if (dw.procReport(dwfl, process.pid()) == 0 && dw.reportEnd(dwfl, nullptr, nullptr) == 0 &&
      dw.attachState(dwfl, nullptr, process.pid(), &threadCallbacks, &walk))
    dw.threadFrames(dwfl, static_cast<pid_t>(crashed.threadId), onFrame, &walk);
  if (walk.addresses.empty()) walk.addresses.push_back(crashed.rip);
  walk.registers.resize(walk.addresses.size());
  // A frame's canonical frame address is its caller's stack pointer.
  for (std::size_t i = 0; i + 1 < walk.registers.size(); ++i) {
    walk.registers[i].cfa = walk.registers[i + 1].values[7];
    walk.registers[i].cfaKnown = walk.registers[i + 1].known[7];
  }
  std::vector<Frame> frames;
  for (std::size_t i = 0; i < walk.addresses.size(); ++i)
    frames.push_back(describe(dwfl, walk.addresses[i], i > 0, walk.registers[i], process));
  dw.end(dwfl);
  return frames;
}

}  // namespace orvo::crashwriter
