// ReferenceCount.h: the count of the holders of a shared object or block.
//
// Unknown objects and string blocks count the handles that share them with a
// ReferenceCount: increment() for each new holder, decrement() for each one
// that lets go; decrement() answers true to the last one, who frees.
//
//   ReferenceCount holders{1};
//   holders.increment();
//   if (holders.decrement()) ... free the block ...
//
// Threads: increment, decrement and get may run on any threads at once; the
// decrement that reaches 0 sees every write that other holders made before
// their own decrement. While the process has one thread, nobody on another
// processor can see the count, so it is changed as a plain integer, as the
// C++ runtime does for std::shared_ptr. Starting the second thread orders
// everything before it, so the first atomic change sees every plain one. A
// signal handler that copies or drops a holder of the same object while its
// thread is changing the count may therefore lose a change, as with
// std::shared_ptr.
#pragma once

#include <atomic>
#include <cstdint>

#if defined(__has_include)
#if __has_include(<sys/single_threaded.h>)
#include <sys/single_threaded.h>  // glibc 2.32 and later
#define ORVO_HAS_SINGLE_THREADED_FLAG 1
#endif
#endif

namespace orvo {

namespace detail {

// True while the process has never run a second thread. Once false, it stays
// false.
inline bool isSingleThreadedProcess() noexcept {
#if defined(ORVO_HAS_SINGLE_THREADED_FLAG)
  return __libc_single_threaded != 0;
#else
  return false;
#endif
}

}  // namespace detail

class ReferenceCount {
 public:
  constexpr ReferenceCount(std::int32_t initial = 0) noexcept : _word(initial) {}
  ReferenceCount(const ReferenceCount&) = delete;
  ReferenceCount& operator=(const ReferenceCount&) = delete;

  void increment() noexcept {
    if (detail::isSingleThreadedProcess()) {
      ++_word;
      return;
    }
    shared().fetch_add(1, std::memory_order_relaxed);
  }

  // True when the count reached 0.
  bool decrement() noexcept {
    if (detail::isSingleThreadedProcess()) return --_word == 0;
    return shared().fetch_sub(1, std::memory_order_acq_rel) == 1;
  }

  std::int32_t get() const noexcept { return shared().load(std::memory_order_acquire); }

 private:
  std::atomic_ref<std::int32_t> shared() const noexcept { return std::atomic_ref<std::int32_t>(_word); }

  // A plain word, so that the single-threaded path may change it as one;
  // every access once there are more threads goes through std::atomic_ref.
  alignas(std::atomic_ref<std::int32_t>::required_alignment) mutable std::int32_t _word;
};

}  // namespace orvo
