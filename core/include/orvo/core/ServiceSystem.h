// ServiceSystem.h: the System of a whole process, and its launcher.
//
// A process has one ServiceSystem: the System that owns its main loop, to
// which SIGINT and SIGTERM are led, and on which the command line, the name
// and the version of the program hang. Derive from it to override init,
// exit and run, and launch it from main in one line:
//
//   class App : public ServiceSystem {
//     bool init() override { ... start Tasks ... return ServiceSystem::init(); }
//   };
//   int main(int argc, char** argv) {
//     return ServiceSystem::launch<App>(argc, argv, L"app", L"1.0");
//   }
//
// launch() runs the System on the calling thread until it is shut down: by
// SIGINT, SIGTERM or SIGHUP, by shutdownSystem() from anywhere, or by the
// System itself. A signal never does work inside a signal handler: launch
// blocks the three signals and receives them on a thread of its own, which
// calls signal(), which logs a warning and asks the System to stop. The stop
// is orderly: the loop finishes its pass, exit() stops the Tasks, the System
// is unloaded, and launch returns 0. A signal during the launch waits until
// the System exists; a second signal during the stop changes nothing.
//
// Call launch before the program starts threads of its own: threads made
// earlier do not inherit the block, and a signal delivered to one of them
// ends the process. After launch returns, the three signals stay blocked on
// its thread, so that one arriving late cannot kill a process that is
// ending in order.
//
// Threads: the static functions may be called on any thread at any time;
// launch on one thread at a time.
#pragma once

#include <orvo/core/Export.h>
#include <orvo/core/String.h>
#include <orvo/core/System.h>

namespace orvo {

class ORVO_API ServiceSystem : public System {
 public:
  using Creator = ServiceSystem* (*)();

  ServiceSystem();
  ~ServiceSystem() override;

  const wchar_t* getClassName() const override { return L"ServiceSystem"; }

  // Runs a System made by `create` as the process's System, as described
  // above. Returns 0 after an orderly stop, 1 if no System could be made or
  // loaded, if another launch is under way, or if the signals cannot be
  // received; the command line is taken as UTF-8.
  static int launch(Creator create, int argc, char** argv, const wchar_t* name, const wchar_t* version);
  template <class App = ServiceSystem>
  static int launch(int argc, char** argv, const wchar_t* name, const wchar_t* version) {
    return launch([]() -> ServiceSystem* { return new App; }, argc, argv, name, version);
  }

  // The launch's name, version and command line; empty, 0 and null before.
  static const String& getSystemName();
  static const String& getVersion();
  static int argc();
  static const wchar_t* const* argv();
  // The process's System, or null outside a launch.
  static THandle<ServiceSystem> getSystem();

  // Logs the signal's name as a warning and calls shutdownSystem. The
  // launcher calls it for each signal it receives; a program may call it too.
  static void signal(int signalNumber);
  // Asks the process's System to stop, after waiting for a launch under way
  // to have made it. Always true.
  static bool shutdownSystem();
};

}  // namespace orvo
