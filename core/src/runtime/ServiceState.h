// ServiceState.h: the process-wide state behind ServiceSystem's statics.
// Made on first use and never destroyed; its contents are dropped at exit.
#pragma once

#include <atomic>
#include <vector>

#include <orvo/core/ServiceSystem.h>
#include <orvo/core/SpinLock.h>

namespace orvo::service {

// How far the launch has come: below 1 shutdownSystem waits, at 1 the
// System can be asked to stop, above 1 there is nothing left to stop.
enum Launch : int { kLaunching = 0, kLaunched = 1, kEnded = 2 };

struct State {
  SpinLock locked;  // Guards system.
  std::atomic<int> launch{kLaunching};
  std::atomic<bool> launcherBusy{false};
  Unknown::THandle<ServiceSystem> system;
  String systemName, version;
  std::vector<String> arguments;
  std::vector<const wchar_t*> argumentTexts;  // Null-terminated, into arguments.
  int argc = 0;
};

State& state();

}  // namespace orvo::service
