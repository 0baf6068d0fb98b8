#include "platform/SignalWaiter.h"

#include <poll.h>
#include <signal.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>

namespace orvo::platform {

bool SignalWaiter::start(std::initializer_list<int> signals, void (*handler)(int)) {
  sigset_t set;
  sigemptyset(&set);
  for (int signalNumber : signals) sigaddset(&set, signalNumber);
  sigset_t previous;
  if (pthread_sigmask(SIG_BLOCK, &set, &previous) != 0) return false;
  _signals = signalfd(-1, &set, SFD_CLOEXEC);
  _stop = eventfd(0, EFD_CLOEXEC);
  if (_signals >= 0 && _stop >= 0) {
    try {
      _thread = std::thread(&SignalWaiter::wait, this, handler);
      return true;
    } catch (...) {
    }
  }
  if (_signals >= 0) close(_signals);
  if (_stop >= 0) close(_stop);
  _signals = _stop = -1;
  pthread_sigmask(SIG_SETMASK, &previous, nullptr);
  return false;
}

void SignalWaiter::wait(void (*handler)(int)) {
  pollfd watched[] = {{_signals, POLLIN, 0}, {_stop, POLLIN, 0}};
  for (;;) {
    if (poll(watched, 2, -1) < 0) {
      if (errno == EINTR) continue;
      return;
    }
    if (watched[1].revents != 0) return;
    signalfd_siginfo info;
    if (read(_signals, &info, sizeof info) == static_cast<ssize_t>(sizeof info)) {
      handler(static_cast<int>(info.ssi_signo));
    }
  }
}

void SignalWaiter::stop() {
  if (!_thread.joinable()) return;
  const std::uint64_t one = 1;
  while (write(_stop, &one, sizeof one) < 0 && errno == EINTR) {
  }
  _thread.join();
  close(_signals);
  close(_stop);
  _signals = _stop = -1;
}

}  // namespace orvo::platform
