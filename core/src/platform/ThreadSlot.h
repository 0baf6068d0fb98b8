// ThreadSlot.h: one pointer per thread, and a hook that runs when a thread
// ends with its pointer set.
//
// The library's per-thread caches (the object pools' released objects, the
// code-page converters) hang off slots like this one. A slot is a static with
// constant initialisation, usable before any constructor of the program has
// run; its system key is made on the first set(). A slot takes no
// thread-local storage, and never a place in the static TLS block that would
// keep the library from loading with dlopen.
//
//   void freeCache(void* cache) { delete static_cast<Cache*>(cache); }
//   constinit platform::ThreadSlot cacheSlot(&freeCache);
//
//   auto* cache = static_cast<Cache*>(cacheSlot.get());
//   if (!cache && cacheSlot.set(cache = new Cache)) ...
//
// Threads: get and set act on the calling thread's pointer only. The hook runs
// on the ending thread with that thread's pointer, which reads null from then
// on; if a later step of the thread's exit sets it again, the hook runs again
// (for as many rounds as the system grants). The thread that ends the process
// through exit() runs no hook: what its pointer holds lives until the end.
#pragma once

#include <pthread.h>

#include <atomic>

namespace orvo::platform {

class ThreadSlot {
 public:
  using ExitHook = void (*)(void* value);

  constexpr explicit ThreadSlot(ExitHook atThreadExit) noexcept : _atThreadExit(atThreadExit) {}
  ThreadSlot(const ThreadSlot&) = delete;
  ThreadSlot& operator=(const ThreadSlot&) = delete;

  // The calling thread's pointer; null until the thread sets one.
  void* get() const noexcept {
    const unsigned int key = _key.load(std::memory_order_acquire);
    return key != 0 ? pthread_getspecific(key - 1) : nullptr;
  }

  // False if the system has no key left for the slot.
  bool set(void* value) noexcept;

 private:
  ExitHook _atThreadExit;
  std::atomic<unsigned int> _key{0};  // The system's key plus 1; 0 until made.
};

}  // namespace orvo::platform
