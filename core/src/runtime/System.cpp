#include <orvo/core/System.h>

#include <cstdlib>
#include <ctime>
#include <new>
#include <utility>

#include <orvo/core/ObjectPool.h>

#include "platform/Clock.h"
#include "platform/MessageQueue.h"
#include "platform/Process.h"

namespace orvo {
namespace {

using TaskStatus = System::Task::TaskStatus;

// 73 records to a slab: a slab of about a page on a 32-bit machine.
ObjectPool taskStatusPool(sizeof(TaskStatus), 73);

void seedRandomGenerator() {
  const unsigned int seed = platform::milliseconds() * platform::processId();
  std::srand(seed != 0 ? seed : static_cast<unsigned int>(std::time(nullptr)));
}

}  // namespace

// ---- start records and their lists ----------------------------------------

void* TaskStatus::operator new(std::size_t size) noexcept { return taskStatusPool.allocate(size); }

void TaskStatus::operator delete(void* object) noexcept { taskStatusPool.release(object); }

TaskStatus* TaskStatus::recordOf(System::TaskLink* link) { return static_cast<TaskStatus*>(link); }

void TaskStatus::linkBefore(System::TaskLink* position, TaskStatus* record) {
  record->_listReference = record;
  System::TaskLink* link = record;
  link->prev = position->prev;
  link->next = position;
  position->prev->next = link;
  position->prev = link;
}

Unknown::THandle<TaskStatus> TaskStatus::unlink(TaskStatus* record) {
  System::TaskLink* link = record;
  link->prev->next = link->next;
  link->next->prev = link->prev;
  link->prev = link->next = link;
  return std::move(record->_listReference);
}

void TaskStatus::clearList(System::TaskLink& list) {
  while (list.next != &list) unlink(recordOf(list.next));
}

// ---- System ----------------------------------------------------------------

System::System() : _sleeper(Semaphore::createInstance()) { seedRandomGenerator(); }

System::~System() {
  TaskStatus::clearList(_activeTasks);
  TaskStatus::clearList(_pendingTasks);
}

bool System::compareExchangeState(EState expected, EState desired) {
  std::int32_t found = expected;
  return _state.compare_exchange_strong(found, desired, std::memory_order_acq_rel);
}

bool System::load() { return compareExchangeState(StateUnloaded, StateLoaded); }

void System::unload() { compareExchangeState(StateStopping, StateUnloaded); }

void System::start() {
  if (!compareExchangeState(StateLoaded, StateStarting)) return;
  if (init() && compareExchangeState(StateReady, StateRunning)) run();
  compareExchangeState(StateRunning, StateStopping);
  compareExchangeState(StateReady, StateStopping);
  exit();
}

void System::sleep(unsigned int ms) { _sleeper->wait(ms); }

void System::waken() { _sleeper->signal(); }

bool System::init() {
  if (!compareExchangeState(StateStarting, StateReady)) return false;
  _firstTick = true;
  return true;
}

void System::stopTasks(TaskLink& list) {
  for (TaskLink* link = list.next; link != &list; link = link->next) {
    TaskStatus* record = TaskStatus::recordOf(link);
    THandle<Task> task;
    {
      SpinGuard guard(record->_lock);
      task = record->_task;
    }
    if (task) task->stop();
  }
  TaskStatus::clearList(list);
}

void System::exit() {
  stopTasks(_activeTasks);
  SpinGuard guard(_taskLock);
  stopTasks(_pendingTasks);
}

void System::run() {
  while (getState() == StateRunning) tick();
}

bool System::shutdown() {
  compareExchangeState(StateLoaded, StateStopping) || compareExchangeState(StateStarting, StateStopping) ||
      compareExchangeState(StateReady, StateStopping) || compareExchangeState(StateRunning, StateStopping);
  waken();
  return true;
}

void System::tick() {
  if (platform::dispatchOneMessage()) return;
  const std::uint32_t now = platform::milliseconds();
  std::uint32_t elapsed = 0;
  if (_firstTick) {
    _firstTick = false;
  } else {
    elapsed = now - _lastTime;  // Unsigned: a wrap of the clock needs no special case.
  }
  onTick(elapsed);
  _lastTime = now;
}

void System::onTick(unsigned int elapsed) {
  TaskLink* link = _activeTasks.next;
  while (link != &_activeTasks) {
    TaskStatus* record = TaskStatus::recordOf(link);
    link = link->next;

    THandle<Task> due;
    std::uint32_t delivered = 0;
    bool dead = false;
    {
      SpinGuard guard(record->_lock);
      if (!record->_task) {
        dead = true;
      } else {
        record->_elapsed += elapsed;
        const std::int32_t state = record->_taskState.load(std::memory_order_relaxed);
        const bool sleepOver = state == TaskSleeping && record->_elapsed >= record->_sleepTime;
        const bool periodOver =
            state == TaskRunning && record->_elapsed >= record->_tickTime.load(std::memory_order_relaxed);
        if (sleepOver || periodOver) {
          // The remainder over the period is dropped: periods never catch up.
          delivered = record->_elapsed;
          record->_elapsed = 0;
          if (sleepOver) record->_taskState.store(TaskRunning, std::memory_order_relaxed);
          due = record->_task;
        }
      }
    }
    if (dead) {
      TaskStatus::unlink(record);
    } else if (due) {
      due->onTick(delivered);
    }
  }
  mergePendingTasks();
}

// New records go to the front one at a time, so the walk runs newest first.
void System::mergePendingTasks() {
  SpinGuard guard(_taskLock);
  while (_pendingTasks.next != &_pendingTasks) {
    THandle<TaskStatus> record = TaskStatus::unlink(TaskStatus::recordOf(_pendingTasks.next));
    bool alive;
    {
      SpinGuard recordGuard(record->_lock);
      alive = record->_task != nullptr;
    }
    if (alive) TaskStatus::linkBefore(_activeTasks.next, record.get());
  }
}

// ---- Task --------------------------------------------------------------------

System::Task::~Task() { stopTask(); }

bool System::Task::start(System* system) {
  if (!system) return false;
  SpinGuard systemGuard(system->_taskLock);
  SpinGuard taskGuard(_lock);
  const EState state = system->getState();
  if (_status || (state != StateReady && state != StateRunning)) return false;

  THandle<TaskStatus> record(new TaskStatus);
  if (!record) return false;
  record->_system = system;
  record->_task = this;
  record->_taskState.store(TaskRunning, std::memory_order_relaxed);
  _status = record;
  TaskStatus::linkBefore(&system->_pendingTasks, record.get());
  return true;
}

void System::Task::stop() { stopTask(); }

void System::Task::stopTask() {
  // Released after the locks, so that the Task may die here if this was its
  // last handle.
  THandle<Task> self;
  THandle<TaskStatus> record;
  SpinGuard guard(_lock);
  if (!_status) return;
  record = std::move(_status);
  SpinGuard recordGuard(record->_lock);
  self = std::move(record->_task);
  record->_taskState.store(TaskStopped, std::memory_order_relaxed);
}

bool System::Task::sleep(unsigned int ms) {
  SpinGuard guard(_lock);
  if (!_status) return false;
  SpinGuard recordGuard(_status->_lock);
  _status->_taskState.store(TaskSleeping, std::memory_order_relaxed);
  _status->_sleepTime = ms;
  return true;
}

bool System::Task::waken() {
  SpinGuard guard(_lock);
  if (!_status) return false;
  SpinGuard recordGuard(_status->_lock);
  if (_status->_taskState.load(std::memory_order_relaxed) == TaskSleeping) {
    _status->_taskState.store(TaskRunning, std::memory_order_relaxed);
  }
  return true;
}

void System::Task::onTick(unsigned int) {}

// These read the record under _lock: a stop() on another thread may drop it,
// and the pool may hand its storage out again, the moment the lock is free.
ETaskState System::Task::getTaskState() const {
  SpinGuard guard(_lock);
  return _status ? static_cast<ETaskState>(_status->_taskState.load(std::memory_order_relaxed)) : TaskStopped;
}

bool System::Task::setTickTime(unsigned int ms) {
  SpinGuard guard(_lock);
  if (!_status) return false;
  _status->_tickTime.store(ms, std::memory_order_relaxed);
  return true;
}

System* System::Task::getSystem() const {
  SpinGuard guard(_lock);
  return _status ? _status->_system.get() : nullptr;
}

}  // namespace orvo
