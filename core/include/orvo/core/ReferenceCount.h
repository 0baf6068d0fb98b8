// ReferenceCount.h: counting the holders of a shared block.
//
// Strings share their blocks by a count that every copy raises and every
// destruction lowers. Once a second thread may hold a copy, those changes
// take locked, atomic read-modify-write instructions. Before the process has
// started a second thread, nobody on another processor can see the count,
// and on x86-64 one unlocked read-modify-write instruction does: it cannot be
// split by anything on its own thread, a signal handler included (a plain
// read followed by a plain write could be). That turns the two locked
// instructions of a copy into ordinary ones in single-threaded programs, as
// the C++ runtime does for std::shared_ptr. Starting a thread orders
// everything before it, so the first change made after the switch to locked
// counting sees every change made before it.
//
//   std::atomic<int> holders{1};
//   detail::countUp(holders);
//   if (detail::countDown(holders)) free the block;
#pragma once

#include <atomic>

#if defined(__GLIBCXX__)
#include <ext/atomicity.h>
#endif

#if defined(__x86_64__) && defined(__GLIBCXX__) && defined(_GLIBCXX_RELEASE) && _GLIBCXX_RELEASE >= 11 && \
    (defined(__GNUC__) || defined(__clang__))
#define ORVO_UNLOCKED_COUNTS 1
#endif

namespace orvo::detail {

#if defined(ORVO_UNLOCKED_COUNTS)
// The count's storage, for the single instructions below.
inline int* countWord(std::atomic<int>& count) noexcept {
  static_assert(sizeof(std::atomic<int>) == sizeof(int) && std::atomic<int>::is_always_lock_free);
  return reinterpret_cast<int*>(&count);
}
#endif

inline void countUp(std::atomic<int>& count) noexcept {
#if defined(ORVO_UNLOCKED_COUNTS)
  if (__gnu_cxx::__is_single_threaded()) {
    asm volatile("addl $1, %0" : "+m"(*countWord(count)) : : "memory");
    return;
  }
#endif
  count.fetch_add(1, std::memory_order_relaxed);
}

// Lowers the count; true when it reached 0 and the caller must free.
inline bool countDown(std::atomic<int>& count) noexcept {
#if defined(ORVO_UNLOCKED_COUNTS)
  if (__gnu_cxx::__is_single_threaded()) {
    bool reachedZero;
    asm volatile("subl $1, %0" : "+m"(*countWord(count)), "=@ccz"(reachedZero) : : "memory");
    return reachedZero;
  }
#endif
  return count.fetch_sub(1, std::memory_order_acq_rel) == 1;
}

}  // namespace orvo::detail
