// SignalWaiter.h: process signals received on an ordinary thread instead of
// in a signal handler. start() blocks the signals on the calling thread (so
// that threads it creates afterwards inherit the block) and starts a thread
// that takes each one as it arrives and calls the handler there, where
// logging, locks and allocation are safe. One thread owns a waiter.
#pragma once

#include <initializer_list>
#include <thread>

namespace orvo::platform {

class SignalWaiter {
 public:
  SignalWaiter() = default;
  SignalWaiter(const SignalWaiter&) = delete;
  SignalWaiter& operator=(const SignalWaiter&) = delete;
  ~SignalWaiter() { stop(); }

  // False if the signals cannot be received this way (they are then left
  // as they were).
  bool start(std::initializer_list<int> signals, void (*handler)(int signalNumber));
  // Ends the waiting thread and joins it. The signals stay blocked on the
  // thread that called start, so that one arriving later stays pending
  // instead of ending the process by its default action.
  void stop();

 private:
  void wait(void (*handler)(int));

  int _signals = -1;  // signalfd
  int _stop = -1;     // eventfd
  std::thread _thread;
};

}  // namespace orvo::platform
