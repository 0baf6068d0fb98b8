// ThreadIdentity.h: a number that tells the calling thread apart from every
// other thread alive at the same time, read in one instruction.
//
// It is the thread pointer, which the system sets for each thread. A thread
// that has ended may pass its number on to a thread started later, so state
// keyed by it must be let go before the thread ends (a ThreadSlot exit hook
// does that). Never 0.
#pragma once

#include <cstdint>

namespace orvo::platform {

inline std::uintptr_t currentThreadIdentity() noexcept {
  return reinterpret_cast<std::uintptr_t>(__builtin_thread_pointer());
}

}  // namespace orvo::platform
