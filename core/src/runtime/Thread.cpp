#include <orvo/core/Thread.h>

#include <map>
#include <system_error>
#include <thread>

#include "platform/CrashHandler.h"

namespace orvo {

namespace {

// Holds a starting Thread from start() until its new thread has claimed it,
// so that the object cannot die in between and that start() and a thread
// arriving after the time-out can settle who won. Never destroyed: a thread
// may still arrive while the process exits.
struct ThreadTable {
  SpinLock lock;
  std::map<Thread*, Unknown::THandle<Thread>> entries;
};

ThreadTable& threadTable() {
  static ThreadTable* table = new ThreadTable;
  return *table;
}

}  // namespace

Unknown::THandle<Thread> Thread::createInstance() { return THandle<Thread>(new Thread); }

Thread::~Thread() = default;

bool Thread::start(System* system) {
  if (!system || !system->load()) return false;
  THandle<Semaphore> startSignal = Semaphore::createInstance();
  bool started = launch(system, startSignal);
  if (started && !startSignal->wait(kStartTimeout)) {
    {
      SpinGuard guard(threadTable().lock);
      // Still in the table: the thread has not claimed the Thread and never
      // will run the System. Gone: it has, and the start counts.
      started = threadTable().entries.erase(this) == 0;
    }
    if (!started) release();
  }
  if (!started) {
    // Give the load back, so that the System can be started again.
    system->shutdown();
    system->unload();
  }
  return started;
}

// Steps under both locks: claim the Thread, enter it in the table and create
// the thread. False if the Thread is in use or no thread can be made.
bool Thread::launch(System* system, const THandle<Semaphore>& startSignal) {
  SpinGuard guard(_lock);
  if (_threadHandle) return false;
  SpinGuard tableGuard(threadTable().lock);
  threadTable().entries[this] = THandle<Thread>(this);
  _system = system;
  _startSignal = startSignal;
  _threadHandle = Semaphore::createInstance();
  try {
    std::thread(&Thread::main, this).detach();
  } catch (const std::system_error&) {
    threadTable().entries.erase(this);
    clearRun();
    return false;
  }
  return true;
}

unsigned int Thread::main(Thread* thread) {
  platform::giveThreadAlternateStack();  // so that a stack overflow here is reported
  THandle<Thread> self;
  {
    SpinGuard guard(threadTable().lock);
    auto entry = threadTable().entries.find(thread);
    if (entry == threadTable().entries.end()) return 0xFFFFFFFFu;  // start() gave up on us.
    self = std::move(entry->second);
    threadTable().entries.erase(entry);
  }
  THandle<System> system;
  THandle<Semaphore> startSignal, ended;
  {
    SpinGuard guard(self->_lock);
    system = self->_system, startSignal = self->_startSignal, ended = self->_threadHandle;
    self->_threadId = std::this_thread::get_id();
  }
  startSignal->signal();
  system->start();
  system->unload();
  self->release();
  system = nullptr, startSignal = nullptr, self = nullptr;
  ended->signal();  // Last: shutdown() returns only after all of the above.
  return 0;
}

void Thread::release() {
  SpinGuard guard(_lock);
  clearRun();
}

// Back to idle; the caller holds _lock.
void Thread::clearRun() {
  _system = nullptr, _startSignal = nullptr, _threadHandle = nullptr;
  _threadId = std::thread::id();
}

bool Thread::shutdown() {
  THandle<System> system;
  THandle<Semaphore> ended;
  bool ownThread;
  {
    SpinGuard guard(_lock);
    system = _system, ended = _threadHandle;
    ownThread = _threadId == std::this_thread::get_id();
  }
  if (!system) return true;
  system->shutdown();
  if (!ownThread) {
    ended->wait(Semaphore::kInfinite);
    ended->signal();  // For any other caller waiting on the same end.
  }
  return true;
}

Unknown::THandle<System> Thread::getSystem() const {
  SpinGuard guard(_lock);
  return _system;
}

}  // namespace orvo
