// HugePages.h: memory for texts of megabytes, taken from the system in huge
// pages where the kernel offers them.
//
// A block of ordinary pages that is written for the first time costs the
// kernel one fault per 4 KiB page. glibc gives large freed blocks back to the
// system, so a program that writes a text of 8 MB again and again pays some
// 2,000 faults each time, which on a virtual machine take longer than writing
// the text. A block that the kernel may back with transparent huge pages
// faults once per 2 MiB instead. Where the kernel offers none
// (`hugePagesAvailable` is false), callers keep to the heap.
//
// Any thread may call these functions; a block belongs to its caller.
#pragma once

#include <cstddef>

namespace orvo::platform {

inline constexpr std::size_t kHugePageBytes = std::size_t{2} << 20;

// True if the kernel backs marked blocks with huge pages; read once.
bool hugePagesAvailable();

// True if a block of `bytes` is worth mapping on its own: a huge page or
// more, where the kernel offers huge pages. The size alone decides, so that
// whoever frees a block knows the way it was taken.
inline bool wantsHugePages(std::size_t bytes) { return bytes >= kHugePageBytes && hugePagesAvailable(); }

// A block of `bytes`, aligned to a huge page and marked for huge pages; null
// if the system refuses. Its pages read as zero until written.
void* mapHugeBlock(std::size_t bytes);

// The block with its size changed to `newBytes`, its content kept, perhaps
// moved; null if the system refuses, and then the block is unchanged.
void* resizeHugeBlock(void* block, std::size_t bytes, std::size_t newBytes);

// Gives a block back; `bytes` is the size it was mapped or last resized to.
void unmapHugeBlock(void* block, std::size_t bytes);

}  // namespace orvo::platform
