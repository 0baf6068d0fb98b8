// ReferenceCount.h: counting the holders of a shared block.
//
// Strings share their blocks by a count that every copy raises and every
// destruction lowers. Those changes must be atomic once a second thread may
// hold a copy; before the process has started one, nobody else can see the
// count, and a plain read and write is enough. That is the choice the C++
// runtime makes for std::shared_ptr, and it turns the two locked instructions
// of a copy into ordinary ones in single-threaded programs. Starting a thread
// orders everything before it, so the first copy made after the switch to
// atomic counting sees every plain write made before it.
//
//   std::atomic<int> holders{1};
//   countUp(holders);
//   if (countDown(holders) == 0) free the block;
#pragma once

#include <atomic>

#if defined(__GLIBCXX__)
#include <ext/atomicity.h>
#endif

namespace orvo::detail {

// Whether the process has never started a second thread. Where the runtime
// cannot tell, the answer is false and counting stays atomic.
inline bool processIsSingleThreaded() noexcept {
#if defined(__GLIBCXX__) && defined(_GLIBCXX_RELEASE) && _GLIBCXX_RELEASE >= 11
  return __gnu_cxx::__is_single_threaded();
#else
  return false;
#endif
}

inline void countUp(std::atomic<int>& count) noexcept {
  if (processIsSingleThreaded()) {
    count.store(count.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
  } else {
    count.fetch_add(1, std::memory_order_relaxed);
  }
}

// Lowers the count and answers what it is now; at 0 the caller frees.
inline int countDown(std::atomic<int>& count) noexcept {
  if (processIsSingleThreaded()) {
    const int now = count.load(std::memory_order_relaxed) - 1;
    count.store(now, std::memory_order_relaxed);
    return now;
  }
  return count.fetch_sub(1, std::memory_order_acq_rel) - 1;
}

}  // namespace orvo::detail
