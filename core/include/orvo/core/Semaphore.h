// Semaphore.h: the one object on which a thread can sleep with a time-out.
//
// A Semaphore counts signals. wait() takes one, sleeping up to a time-out for
// it; it succeeds only against a real count, so a signal is consumed exactly
// once. sync() waits until waiters have taken the count down to a level.
//
//   THandle<Semaphore> ready = Semaphore::createInstance();
//   // worker thread:  ready->signal();
//   // this thread:    if (!ready->wait(1000)) { ... timed out ... }
//
// Threads: every operation may be called on any thread at any time.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <mutex>

#include <orvo/core/Unknown.h>

namespace orvo {

class ORVO_API Semaphore : public virtual Unknown {
 public:
  // Waits without limit.
  static constexpr unsigned int kInfinite = 0xFFFFFFFFu;

  static THandle<Semaphore> createInstance();

  const wchar_t* getClassName() const override { return L"Semaphore"; }

  // Adds one to the count and wakes a waiter.
  void signal();
  // Takes one count, waiting up to `timeout` ms for it; kInfinite waits
  // without limit. True if a count was taken.
  bool wait(unsigned int timeout);
  // Blocks until the count is at most `count`.
  void sync(int count);

  // The signals not yet taken, for diagnostics.
  int getCount() const;

 protected:
  Semaphore() = default;
  ~Semaphore() override;

 private:
  mutable std::mutex _mutex;
  std::condition_variable _signalEvent;
  std::condition_variable _takenEvent;
  std::int32_t _count = 0;
};

}  // namespace orvo
