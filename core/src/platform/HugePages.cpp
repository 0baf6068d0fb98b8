#include "platform/HugePages.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>

namespace orvo::platform {
namespace {

std::size_t pageRounded(std::size_t bytes) {
  const std::size_t page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
  return (bytes + page - 1) / page * page;
}

// The setting reads like "always [madvise] never", the chosen word in brackets.
bool readHugePagesSetting() {
  const int file = open("/sys/kernel/mm/transparent_hugepage/enabled", O_RDONLY | O_CLOEXEC);
  if (file < 0) return false;
  char setting[64] = {};
  const ssize_t got = read(file, setting, sizeof setting - 1);
  close(file);
  if (got <= 0) return false;
  return std::strstr(setting, "[always]") != nullptr || std::strstr(setting, "[madvise]") != nullptr;
}

}  // namespace

bool hugePagesAvailable() {
  static const bool available = readHugePagesSetting();
  return available;
}

void* mapHugeBlock(std::size_t bytes) {
  const std::size_t length = pageRounded(bytes);
  // Mapped with a huge page to spare, so that an aligned start can be cut out.
  void* raw = mmap(nullptr, length + kHugePageBytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (raw == MAP_FAILED) return nullptr;
  char* const first = static_cast<char*>(raw);
  const std::uintptr_t address = reinterpret_cast<std::uintptr_t>(first);
  char* const start = first + ((kHugePageBytes - address % kHugePageBytes) % kHugePageBytes);
  char* const end = first + length + kHugePageBytes;
  if (start > first) munmap(first, static_cast<std::size_t>(start - first));
  if (end > start + length) munmap(start + length, static_cast<std::size_t>(end - (start + length)));
  madvise(start, length, MADV_HUGEPAGE);
  return start;
}

void* resizeHugeBlock(void* block, std::size_t bytes, std::size_t newBytes) {
  const std::size_t length = pageRounded(bytes), newLength = pageRounded(newBytes);
  if (newLength == length) return block;
  void* moved = mremap(block, length, newLength, MREMAP_MAYMOVE);
  return moved == MAP_FAILED ? nullptr : moved;
}

void unmapHugeBlock(void* block, std::size_t bytes) { munmap(block, pageRounded(bytes)); }

}  // namespace orvo::platform
