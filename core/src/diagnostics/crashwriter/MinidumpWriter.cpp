#include "diagnostics/crashwriter/MinidumpWriter.h"

#include <cpuid.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <string>

namespace orvo::crashwriter {
namespace {

constexpr std::uint32_t kSignature = 0x504D444D;  // "MDMP"
constexpr std::uint32_t kVersion = 0xA793;
constexpr std::uint32_t kDirectorySlots = 14;
constexpr std::uint32_t kContextSize = 1232;
constexpr std::uint32_t kThreadSize = 48;
constexpr std::uint32_t kModuleSize = 108;
constexpr std::uint32_t kMemoryDescriptorSize = 16;
constexpr std::uint32_t kContextFlags = 0x0010000F;  // AMD64: control, integer, segments, float
constexpr std::uint64_t kStackCap = 256 * 1024;

// The file under construction: pieces are reserved at the end, 8-aligned and
// zeroed, and filled in place.
class Layout {
 public:
  std::uint32_t reserve(std::size_t size) {
    bytes.resize((bytes.size() + 7) & ~std::size_t{7});
    const auto at = static_cast<std::uint32_t>(bytes.size());
    bytes.resize(bytes.size() + size);
    return at;
  }
  std::uint32_t append(const void* data, std::size_t size) {
    const std::uint32_t at = reserve(size);
    if (size != 0) std::memcpy(&bytes[at], data, size);
    return at;
  }
  template <class T>
  void put(std::uint32_t at, T value) {
    std::memcpy(&bytes[at], &value, sizeof value);
  }
  // A length-prefixed UTF-16LE string with its terminator.
  std::uint32_t string(const std::string& utf8) {
    const std::vector<std::uint16_t> units = utf16(utf8);
    const std::uint32_t at = reserve(4 + units.size() * 2 + 2);
    put<std::uint32_t>(at, static_cast<std::uint32_t>(units.size() * 2));
    if (!units.empty()) std::memcpy(&bytes[at + 4], units.data(), units.size() * 2);
    return at;
  }
  std::vector<std::uint8_t> bytes;
};

struct Directory {
  Layout& file;
  std::uint32_t used = 0;
  void add(std::uint32_t type, std::uint32_t rva, std::size_t size) {
    const std::uint32_t entry = 0x20 + used++ * 12;
    file.put<std::uint32_t>(entry, type);
    file.put<std::uint32_t>(entry + 4, static_cast<std::uint32_t>(size));
    file.put<std::uint32_t>(entry + 8, rva);
  }
};

std::uint32_t writeContext(Layout& file, const CpuContext& c) {
  const std::uint32_t at = file.reserve(kContextSize);
  file.put<std::uint32_t>(at + 0x30, kContextFlags);
  file.put<std::uint32_t>(at + 0x34, c.mxcsr);
  const std::uint16_t segments[] = {c.cs, c.ds, c.es, c.fs, c.gs, c.ss};
  for (int i = 0; i < 6; ++i) file.put<std::uint16_t>(at + 0x38 + i * 2, segments[i]);
  file.put<std::uint32_t>(at + 0x44, static_cast<std::uint32_t>(c.eflags));
  const std::uint64_t general[] = {c.rax, c.rcx, c.rdx, c.rbx, c.rsp, c.rbp, c.rsi, c.rdi, c.r8,
                                   c.r9,  c.r10, c.r11, c.r12, c.r13, c.r14, c.r15, c.rip};
  for (int i = 0; i < 17; ++i) file.put<std::uint64_t>(at + 0x78 + i * 8, general[i]);
  if (c.hasFloatingPoint) std::memcpy(&file.bytes[at + 0x100], c.floatingPoint, 512);
  return at;
}

struct Range {
  std::uint64_t start;
  std::uint32_t size, rva;
};

// The stack from just below the red zone up to the end of its mapping.
Range writeStack(Layout& file, const CrashedProcess& process, std::uint64_t stackPointer) {
  std::uint64_t low = 0, high = 0;
  if (!process.stackOf(stackPointer, low, high)) return {0, 0, 0};
  const std::uint64_t start = std::max(low, (stackPointer - 128) & ~std::uint64_t{15});
  const std::uint64_t end = std::min(high, start + kStackCap);
  if (end <= start) return {0, 0, 0};
  std::vector<std::uint8_t> copy(end - start);
  copy.resize(process.read(start, copy.data(), copy.size()));
  return {start, static_cast<std::uint32_t>(copy.size()), file.append(copy.data(), copy.size())};
}

void writeSystemInfo(Layout& file, Directory& directory) {
  const std::uint32_t at = file.reserve(56);
  unsigned a = 0, b = 0, c = 0, d = 0;
  __get_cpuid(0, &a, &b, &c, &d);
  const unsigned vendor[] = {b, d, c};
  std::memcpy(&file.bytes[at + 0x20], vendor, 12);
  __get_cpuid(1, &a, &b, &c, &d);
  unsigned family = (a >> 8) & 0xF, model = (a >> 4) & 0xF;
  if (family == 0xF) family += (a >> 20) & 0xFF;
  if (family >= 6) model |= ((a >> 16) & 0xF) << 4;
  file.put<std::uint32_t>(at + 0x2C, a);
  file.put<std::uint32_t>(at + 0x30, d);
  if (__get_cpuid(0x80000001, &a, &b, &c, &d)) file.put<std::uint32_t>(at + 0x34, b);
  file.put<std::uint16_t>(at, 9);  // AMD64
  file.put<std::uint16_t>(at + 2, static_cast<std::uint16_t>(family));
  file.put<std::uint16_t>(at + 4, static_cast<std::uint16_t>((model << 8) | (a & 0xF)));
  const long processors = sysconf(_SC_NPROCESSORS_CONF);
  file.put<std::uint8_t>(at + 6, static_cast<std::uint8_t>(processors > 255 ? 255
                                                           : processors < 1 ? 1
                                                                            : processors));
  utsname names{};
  uname(&names);
  unsigned version[3] = {};
  std::sscanf(names.release, "%u.%u.%u", &version[0], &version[1], &version[2]);
  for (int i = 0; i < 3; ++i) file.put<std::uint32_t>(at + 8 + i * 4, version[i]);
  file.put<std::uint32_t>(at + 0x14, 0x8201);  // Linux
  const std::string description =
      std::string(names.sysname) + " " + names.release + " " + names.version + " " + names.machine;
  file.put<std::uint32_t>(at + 0x18, file.string(description));
  directory.add(kSystemInfoStream, at, 56);
}

void writeMiscInfo(Layout& file, Directory& directory, const CrashedProcess& process) {
  const std::uint32_t at = file.reserve(24);
  file.put<std::uint32_t>(at, 24);
  file.put<std::uint32_t>(at + 4, 1);  // the pid is valid
  file.put<std::uint32_t>(at + 8, static_cast<std::uint32_t>(process.pid()));
  directory.add(kMiscInfoStream, at, 24);
}

void writeThreadsAndMemory(Layout& file, Directory& directory, const CrashedProcess& process) {
  const std::vector<CpuContext>& threads = process.threads();
  const std::uint32_t list = file.reserve(4 + threads.size() * kThreadSize);
  file.put<std::uint32_t>(list, static_cast<std::uint32_t>(threads.size()));
  std::vector<Range> stacks;
  std::uint32_t crashContext = 0;
  for (std::size_t i = 0; i < threads.size(); ++i) {
    const std::uint32_t entry = list + 4 + static_cast<std::uint32_t>(i) * kThreadSize;
    const std::uint32_t context = writeContext(file, threads[i]);
    if (i == 0) crashContext = context;
    const Range stack = writeStack(file, process, threads[i].rsp);
    if (stack.size != 0) stacks.push_back(stack);
    file.put<std::uint32_t>(entry, threads[i].threadId);
    file.put<std::uint64_t>(entry + 0x18, stack.start);
    file.put<std::uint32_t>(entry + 0x20, stack.size);
    file.put<std::uint32_t>(entry + 0x24, stack.rva);
    file.put<std::uint32_t>(entry + 0x28, kContextSize);
    file.put<std::uint32_t>(entry + 0x2C, context);
  }
  directory.add(kThreadListStream, list, 4 + threads.size() * kThreadSize);

  const platform::CrashRecord& record = process.record();
  const std::uint32_t exception = file.reserve(168);
  file.put<std::uint32_t>(exception, static_cast<std::uint32_t>(record.threadId));
  file.put<std::uint32_t>(exception + 8, static_cast<std::uint32_t>(record.signal));
  file.put<std::uint32_t>(exception + 0xC, static_cast<std::uint32_t>(record.code));
  file.put<std::uint64_t>(exception + 0x18, record.faultAddress);
  file.put<std::uint32_t>(exception + 0xA0, kContextSize);
  file.put<std::uint32_t>(exception + 0xA4, crashContext);
  directory.add(kExceptionStream, exception, 168);

  const std::uint32_t memory = file.reserve(4 + stacks.size() * kMemoryDescriptorSize);
  file.put<std::uint32_t>(memory, static_cast<std::uint32_t>(stacks.size()));
  for (std::size_t i = 0; i < stacks.size(); ++i) {
    const std::uint32_t entry = memory + 4 + static_cast<std::uint32_t>(i) * kMemoryDescriptorSize;
    file.put<std::uint64_t>(entry, stacks[i].start);
    file.put<std::uint32_t>(entry + 8, stacks[i].size);
    file.put<std::uint32_t>(entry + 12, stacks[i].rva);
  }
  directory.add(kMemoryListStream, memory, 4 + stacks.size() * kMemoryDescriptorSize);
}

void writeModules(Layout& file, Directory& directory, const CrashedProcess& process) {
  const std::vector<Module>& modules = process.modules();
  const std::uint32_t list = file.reserve(4 + modules.size() * kModuleSize);
  file.put<std::uint32_t>(list, static_cast<std::uint32_t>(modules.size()));
  for (std::size_t i = 0; i < modules.size(); ++i) {
    const std::uint32_t entry = list + 4 + static_cast<std::uint32_t>(i) * kModuleSize;
    file.put<std::uint64_t>(entry, modules[i].base);
    file.put<std::uint32_t>(entry + 8, static_cast<std::uint32_t>(modules[i].size));
    file.put<std::uint32_t>(entry + 0x14, file.string(modules[i].path));
    if (modules[i].buildId.empty()) continue;
    std::vector<std::uint8_t> codeView = {0x4C, 0x45, 0x70, 0x42};  // "LEpB"
    codeView.insert(codeView.end(), modules[i].buildId.begin(), modules[i].buildId.end());
    file.put<std::uint32_t>(entry + 0x4C, static_cast<std::uint32_t>(codeView.size()));
    file.put<std::uint32_t>(entry + 0x50, file.append(codeView.data(), codeView.size()));
  }
  directory.add(kModuleListStream, list, 4 + modules.size() * kModuleSize);
}

void writeText(Layout& file, Directory& directory, std::uint32_t type, const std::string& text) {
  if (!text.empty()) directory.add(type, file.append(text.data(), text.size()), text.size());
}

}  // namespace

std::vector<std::uint16_t> utf16(const std::string& text) {
  std::vector<std::uint16_t> units;
  for (std::size_t i = 0; i < text.size();) {
    const auto lead = static_cast<unsigned char>(text[i]);
    const int extra = lead < 0x80   ? 0
                      : lead < 0xC2 ? -1
                      : lead < 0xE0 ? 1
                      : lead < 0xF0 ? 2
                      : lead < 0xF5 ? 3
                                    : -1;
    char32_t code = extra == 0   ? lead
                    : extra == 1 ? lead & 0x1F
                    : extra == 2 ? lead & 0x0F
                                 : lead & 0x07;
    bool valid = extra >= 0 && i + static_cast<std::size_t>(extra) < text.size() + (extra == 0);
    for (int k = 1; valid && k <= extra; ++k) {
      const auto next = static_cast<unsigned char>(text[i + static_cast<std::size_t>(k)]);
      valid = (next & 0xC0) == 0x80;
      code = (code << 6) | (next & 0x3F);
    }
    const char32_t least[] = {0, 0x80, 0x800, 0x10000};
    valid = valid && code >= least[extra < 0 ? 0 : extra] && code <= 0x10FFFF &&
            (code < 0xD800 || code > 0xDFFF);
    if (!valid) {
      units.push_back(0xFFFD);
      ++i;
      continue;
    }
    i += static_cast<std::size_t>(extra) + 1;
    if (code >= 0x10000) {
      units.push_back(static_cast<std::uint16_t>(0xD800 + ((code - 0x10000) >> 10)));
      units.push_back(static_cast<std::uint16_t>(0xDC00 + ((code - 0x10000) & 0x3FF)));
    } else {
      units.push_back(static_cast<std::uint16_t>(code));
    }
  }
  return units;
}

std::vector<std::uint8_t> buildMinidump(const CrashedProcess& process, std::uint32_t timeStamp) {
  Layout file;
  file.reserve(0x20 + kDirectorySlots * 12);
  Directory directory{file};
  writeSystemInfo(file, directory);
  writeMiscInfo(file, directory, process);
  writeThreadsAndMemory(file, directory, process);
  writeModules(file, directory, process);
  writeText(file, directory, kLinuxCpuInfoStream, process.procText("/proc/cpuinfo"));
  writeText(file, directory, kLinuxProcStatusStream, process.procText("status"));
  writeText(file, directory, kLinuxLsbReleaseStream, process.procText("/etc/os-release"));
  writeText(file, directory, kLinuxCmdLineStream, process.procText("cmdline"));
  writeText(file, directory, kLinuxAuxvStream, process.procText("auxv"));
  writeText(file, directory, kLinuxMapsStream, process.procText("maps"));
  file.put<std::uint32_t>(0, kSignature);
  file.put<std::uint32_t>(4, kVersion);
  file.put<std::uint32_t>(8, kDirectorySlots);
  file.put<std::uint32_t>(12, 0x20);
  file.put<std::uint32_t>(20, timeStamp);
  return std::move(file.bytes);
}

}  // namespace orvo::crashwriter
