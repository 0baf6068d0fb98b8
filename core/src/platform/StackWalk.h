// StackWalk.h: the platform's ways of listing the return addresses of the
// calling thread, innermost first.
//
// Two walks: one through the unwinder, which reads the call-frame tables of
// every module and so steps over code built without frame pointers, and one
// along the chain of saved frame pointers, which costs a few loads a frame
// but stops at the first frame that does not keep the chain. Each walk reads
// the calling thread's own stack only, so any thread may walk at any time.
#pragma once

#include <cstddef>
#include <cstdint>

namespace orvo::platform {

// The part of a stack that a walk may read: [low, high).
struct StackBounds {
  std::uintptr_t low = 0;
  std::uintptr_t high = 0;

  bool contains(std::uintptr_t address, std::size_t bytes) const {
    return address >= low && address <= high && high - address >= bytes;
  }
};

// Receives one return address of a walk.
using AddressSink = void (*)(void* context, std::uintptr_t address);

// Hands every return address that the unwinder finds, from the caller of
// this function outwards, to `sink`.
void unwindStack(AddressSink sink, void* context);

// The stack region of the calling thread that holds `address`: the thread's
// own stack, or the alternate signal stack while a handler runs on it.
// False if `address` lies on neither (a stack that the program made itself).
bool stackBoundsOf(std::uintptr_t address, StackBounds& bounds);

// Walks the chain of saved frame pointers that starts at `frame` and hands
// the return address of each frame to `push`. A frame record is two words:
// the caller's frame pointer, then the return address. The walk stops before
// a record whose saved frame pointer does not lead further towards the base
// of the stack, is not aligned, or leaves `bounds`, so a broken chain ends
// the walk instead of faulting; the outermost record is never pushed.
template <class Push>
__attribute__((no_sanitize("address"))) inline void walkFramePointers(std::uintptr_t frame,
                                                                       const StackBounds& bounds,
                                                                       Push&& push) {
  constexpr std::size_t kRecordBytes = 2 * sizeof(std::uintptr_t);
  if (frame % alignof(std::uintptr_t) != 0 || !bounds.contains(frame, kRecordBytes)) return;
  for (std::uint32_t step = 0; step != 0xFFFFFFFFu; ++step) {
    const auto* record = reinterpret_cast<const std::uintptr_t*>(frame);
    const std::uintptr_t next = record[0];
    if (next <= frame) return;
    if (next % alignof(std::uintptr_t) != 0) return;
    if (!bounds.contains(next, kRecordBytes)) return;
    push(record[1]);
    frame = next;
  }
}

}  // namespace orvo::platform

namespace orvo::platform {

// The frame pointer of the function that this is inlined into.
__attribute__((always_inline)) inline std::uintptr_t currentFramePointer() {
  return reinterpret_cast<std::uintptr_t>(__builtin_frame_address(0));
}

}  // namespace orvo::platform
