// System.h: the scheduler and main loop, and the periodic Tasks it runs.
//
// A System is one object run by one thread. Derive from it, hold it in a
// handle (never on the stack: started Tasks keep a reference to it), then
// load() and start() it; start() runs init(), the main loop and exit() on the
// calling thread and returns when shutdown() has been called, from any
// thread. Each pass of the loop reads the millisecond clock and calls every
// Task whose period has passed, with the time gathered since its last call.
//
//   class Blink : public System::Task {
//     void onTick(unsigned int elapsed) override { toggle(); }
//   };
//   class App : public System {
//     bool init() override {
//       if (!System::init()) return false;
//       blink->start(this);          // Tasks may start once base init ran
//       blink->setTickTime(500);     // the period starts at 0 after start
//       return true;
//     }
//   };
//   THandle<App> app(new App);
//   app->load();
//   app->start();    // returns after app->shutdown()
//   app->unload();
//
// The loop never waits; a Task that gives the processor back, or sleep(),
// keeps an idle System from spinning at full speed.
//
// Threads: load, shutdown, getState, sleep and waken may be called on any
// thread, and so may every operation of a Task, while the loop runs: a Task
// may be started, stopped and changed from any thread, also while another
// thread stops it. The loop's own operations (start, run, tick, onTick, init,
// exit) belong to the thread that called start().
#pragma once

#include <atomic>
#include <cstdint>

#include <orvo/core/Export.h>
#include <orvo/core/Semaphore.h>
#include <orvo/core/SpinLock.h>
#include <orvo/core/Unknown.h>

namespace orvo {

enum ETaskState : std::int32_t {
  TaskStopped = 0,   // not started, or stopped
  TaskSleeping = 1,  // time is counted, calls wait for the sleep to pass
  TaskRunning = 2,   // called every period
};

class ORVO_API System : public virtual Unknown {
 public:
  class Task;

  enum EState : std::int32_t {
    StateUnloaded = 0,
    StateLoaded = 1,
    StateStarting = 2,
    StateReady = 3,
    StateRunning = 4,
    StateStopping = 5,
  };

  const wchar_t* getClassName() const override { return L"System"; }

  // Claims an unloaded System for a start; false in any other state.
  bool load();
  // Returns a stopped System to StateUnloaded; no effect in any other state.
  void unload();
  // Runs init, the main loop and exit on the calling thread; does nothing
  // unless the System is loaded.
  void start();
  EState getState() const { return static_cast<EState>(_state.load(std::memory_order_acquire)); }

  // Waits at most `ms` milliseconds, or until waken() is called. The caller
  // is the one that sleeps.
  void sleep(unsigned int ms);
  // Ends a sleep; with no sleeper, the next sleep returns at once.
  void waken();

  // Moves StateStarting to StateReady; an override must call it.
  virtual bool init();
  // Stops every Task.
  virtual void exit();
  // Calls tick() while the System is running.
  virtual void run();
  // Asks the loop to end; any thread, any state from loaded to running.
  virtual bool shutdown();
  // One pass: reads the clock and hands the elapsed time to onTick.
  virtual void tick();
  // Walks the Tasks, calling those whose time has come.
  virtual void onTick(unsigned int elapsed);

 protected:
  System();
  ~System() override;

 private:
  // The links of a circular doubly linked list of start records; a System's
  // lists are sentinels of this kind, and each record is a member of at most
  // one list, which holds a reference on it.
  struct TaskLink {
    TaskLink() = default;
    TaskLink(const TaskLink&) = delete;
    TaskLink& operator=(const TaskLink&) = delete;
    TaskLink* prev = this;
    TaskLink* next = this;
  };

  bool compareExchangeState(EState expected, EState desired);
  void mergePendingTasks();
  static void stopTasks(TaskLink& list);

  std::atomic<std::int32_t> _state{StateUnloaded};
  SpinLock _taskLock;
  TaskLink _pendingTasks;  // Guarded by _taskLock.
  bool _firstTick = false;
  std::uint32_t _lastTime;  // Written by tick() before it is read.
  THandle<Semaphore> _sleeper;
  TaskLink _activeTasks;  // The loop's thread only.

  friend class Task;
};

// A periodic unit of work. Start it on a System that is ready or running;
// it is then kept alive by its own start record until stop() is called.
class ORVO_API System::Task : public virtual Unknown {
 public:
  class TaskStatus;

  const wchar_t* getClassName() const override { return L"Task"; }

  // False if already started, if `system` is null, if the System is neither
  // ready nor running, or if no record can be made. The period is 0 after a
  // start: call setTickTime to change it.
  virtual bool start(System* system);
  // Ends this start; a Task that is not started is left alone.
  virtual void stop();
  // Holds calls off until `ms` milliseconds have passed since the last call.
  virtual bool sleep(unsigned int ms);
  // Ends a sleep at the next pass; true for any started Task.
  virtual bool waken();
  // The work; `elapsed` is the time gathered since the last call.
  virtual void onTick(unsigned int elapsed);

  ETaskState getTaskState() const;
  // Sets the period; false if the Task is not started.
  bool setTickTime(unsigned int ms);
  // The System of this start, or null. Valid while the caller holds it.
  System* getSystem() const;

 protected:
  Task() = default;
  ~Task() override;

 private:
  void stopTask();

  mutable SpinLock _lock;  // Guards _status.
  THandle<TaskStatus> _status;

  friend class System;
};

// The record of one start of one Task, shared by the Task and the System's
// lists. It comes from a pool of its own, not from the general heap.
class ORVO_API System::Task::TaskStatus : public virtual Unknown, private System::TaskLink {
 public:
  const wchar_t* getClassName() const override { return L"TaskStatus"; }

  static void* operator new(std::size_t size) noexcept;
  static void operator delete(void* object) noexcept;

 private:
  TaskStatus() = default;

  THandle<System> _system;
  THandle<Task> _task;  // Null once stopped: the loop then drops the record.
  std::atomic<std::int32_t> _taskState{TaskStopped};
  std::uint32_t _elapsed = 0;
  std::atomic<std::uint32_t> _tickTime{0};
  std::uint32_t _sleepTime = 0;
  // Guards _task, _elapsed, _sleepTime and changes of _taskState, so that the
  // loop can read them without reaching into a Task that may be gone.
  SpinLock _lock;
  // The reference of the list that holds the record; empty while unlinked.
  THandle<TaskStatus> _listReference;

  // List operations; a linked record is held by its list.
  static TaskStatus* recordOf(System::TaskLink* link);
  static void linkBefore(System::TaskLink* position, TaskStatus* record);
  static THandle<TaskStatus> unlink(TaskStatus* record);
  static void clearList(System::TaskLink& list);

  friend class System;
  friend class System::Task;
};

}  // namespace orvo
