// Thread.h: runs a System's whole life on a thread of its own.
//
// A Thread holds a System while the System's init, main loop and exit run on
// a new thread, and can stop it and wait for the end. start() returns once
// the new thread has really begun (or after 60 seconds without a sign of it);
// shutdown() asks the System to stop and waits until the thread has finished.
//
//   THandle<Thread> worker = Thread::createInstance();
//   THandle<App> app(new App);            // an unloaded System
//   if (worker->start(app)) { ... }       // app now runs on the new thread
//   worker->shutdown();                   // app's exit has run, app is unloaded
//
// An idle Thread can be started again, with the same or another System. A
// Thread whose last handle the caller drops after start() lives on until its
// thread ends.
//
// A failed start gives the System back: it is returned to StateUnloaded
// (through its shutdown() and unload()), so that it can be started again.
// start() fails for a null System, one that is not unloaded, a Thread already
// in use, a thread that cannot be created, and a new thread not heard from
// within 60 seconds; nothing is logged.
//
// Threads: start, shutdown and getSystem may be called on any thread. On the
// Thread's own thread (from a Task of its System), shutdown() only asks the
// System to stop and does not wait for itself; a Task that wants its System
// to end calls System::shutdown().
#pragma once

#include <thread>

#include <orvo/core/Export.h>
#include <orvo/core/Semaphore.h>
#include <orvo/core/SpinLock.h>
#include <orvo/core/System.h>
#include <orvo/core/Unknown.h>

namespace orvo {

class ORVO_API Thread : public virtual Unknown {
 public:
  // How long start() waits for the new thread to begin, in milliseconds.
  static constexpr unsigned int kStartTimeout = 60000;

  static THandle<Thread> createInstance();

  const wchar_t* getClassName() const override { return L"Thread"; }

  // Loads `system` and runs it on a new thread; true once the thread runs it.
  virtual bool start(System* system);
  // Stops the System, if one runs, and waits for its thread to end. Always
  // true; a no-op on an idle Thread.
  virtual bool shutdown();

  // The System on the thread, or null while none runs.
  THandle<System> getSystem() const;

 protected:
  Thread() = default;
  ~Thread() override;

 private:
  static unsigned int main(Thread* thread);
  bool launch(System* system, const THandle<Semaphore>& startSignal);
  void release();
  void clearRun();

  mutable SpinLock _lock;  // Guards the fields below.
  THandle<System> _system;
  THandle<Semaphore> _startSignal;
  // Signalled once the thread has ended; set while the Thread is in use.
  THandle<Semaphore> _threadHandle;
  std::thread::id _threadId;  // The running thread's, for a shutdown from itself.
};

}  // namespace orvo
