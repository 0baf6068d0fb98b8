// Mutex.h: the recursive lock for work of unbounded length.
//
// Unlike SpinLock, a Mutex may be held across calls into other code and may be
// taken again by the thread that holds it; each lock needs its unlock. Hold it
// through a MutexGuard:
//
//   Mutex mutex;
//   { MutexGuard guard(mutex); ... }
//
// Threads: any thread may lock it; only the thread that holds it unlocks.
#pragma once

#include <mutex>

#include <orvo/core/Export.h>

namespace orvo {

class Mutex {
 public:
  Mutex() = default;
  Mutex(const Mutex&) = delete;
  Mutex& operator=(const Mutex&) = delete;

  void lock() { _mutex.lock(); }
  bool tryLock() { return _mutex.try_lock(); }
  void unlock() { _mutex.unlock(); }

 private:
  std::recursive_mutex _mutex;
};

// Holds a Mutex for the life of a scope.
class MutexGuard {
 public:
  explicit MutexGuard(Mutex& mutex) : _mutex(&mutex) { _mutex->lock(); }
  ~MutexGuard() { _mutex->unlock(); }
  MutexGuard(const MutexGuard&) = delete;
  MutexGuard& operator=(const MutexGuard&) = delete;

 private:
  Mutex* _mutex;
};

}  // namespace orvo
