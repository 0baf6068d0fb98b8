// SpinLock.h: the everyday lock of the library, one 32-bit word.
//
// A SpinLock guards a few instructions' worth of work on a list or a pointer.
// It needs no construction: a static SpinLock is usable before any constructor
// of the program has run, and a zero-filled one is free. It is not recursive:
// a thread that takes a lock it already holds spins forever.
//
//   static SpinLock tableLock;
//   {
//     SpinGuard guard(tableLock);
//     ... touch the table ...
//   }
//
// Threads: that is what it is for; a SpinLock may be taken on any thread.
// While the process has one thread, taking it is a plain read and write, as
// the C library does for its own mutexes; a signal handler that takes a lock
// its thread holds spins forever, as it would on any thread.
#pragma once

#include <atomic>
#include <cstdint>

#include <orvo/core/Export.h>
#include <orvo/core/ReferenceCount.h>

namespace orvo {

class SpinLock {
 public:
  constexpr SpinLock() noexcept = default;
  SpinLock(const SpinLock&) = delete;
  SpinLock& operator=(const SpinLock&) = delete;

  void lock() noexcept {
    // One atomic instruction when the lock is free; otherwise wait on plain
    // reads, so that waiters do not bounce the cache line between cores.
    while (take() != 0) {
      while (_word.load(std::memory_order_relaxed) != 0) pause();
    }
  }

  bool tryLock() noexcept {
    return _word.load(std::memory_order_relaxed) == 0 &&
           _word.exchange(1, std::memory_order_acquire) == 0;
  }

  void unlock() noexcept { _word.store(0, std::memory_order_release); }

  bool isLocked() const noexcept { return _word.load(std::memory_order_relaxed) != 0; }

 private:
  // Sets the word and answers what it was.
  std::uint32_t take() noexcept {
    if (detail::isSingleThreadedProcess()) {
      // Nobody else can set it: a plain read and write will do. The fence
      // keeps the guarded accesses after the write, where a signal handler
      // on this thread would expect them.
      const std::uint32_t was = _word.load(std::memory_order_relaxed);
      _word.store(1, std::memory_order_relaxed);
      std::atomic_signal_fence(std::memory_order_seq_cst);
      return was;
    }
    return _word.exchange(1, std::memory_order_acquire);
  }

  static void pause() noexcept {
#if defined(__x86_64__) || defined(__i386__)
    __builtin_ia32_pause();
#elif defined(__aarch64__)
    asm volatile("yield");
#endif
  }

  std::atomic<std::uint32_t> _word{0};
};

// Holds a SpinLock for the life of a scope, so that an exception cannot leave
// it taken.
class SpinGuard {
 public:
  explicit SpinGuard(SpinLock& lock) noexcept : _lock(&lock) { _lock->lock(); }
  ~SpinGuard() { _lock->unlock(); }
  SpinGuard(const SpinGuard&) = delete;
  SpinGuard& operator=(const SpinGuard&) = delete;

 private:
  SpinLock* _lock;
};

}  // namespace orvo
