#include <orvo/core/ServiceSystem.h>

#include <signal.h>

#include <utility>

#include <orvo/core/Log.h>
#include <orvo/core/StringHelper.h>

#include "platform/Process.h"
#include "platform/SignalWaiter.h"
#include "platform/Sleep.h"
#include "runtime/ServiceState.h"

namespace orvo {

namespace service {

State& state() {
  static State* const instance = [] {
    auto* made = new State;
    platform::atExit(
        [](void* object) {
          State& dropped = *static_cast<State*>(object);
          Unknown::THandle<ServiceSystem> system;
          {
            SpinGuard guard(dropped.locked);
            system = std::move(dropped.system);
          }
          dropped.systemName = String(), dropped.version = String();
        },
        made);
    return made;
  }();
  return *instance;
}

namespace {

const wchar_t* signalText(int signalNumber) {
  switch (signalNumber) {
    case SIGINT: return L"CTRL+C signal.";
    case SIGILL: return L"Illegal instruction.";
    case SIGFPE: return L"Floating-point error.";
    case SIGSEGV: return L"Illegal storage access.";
    case SIGTERM: return L"Termination request.";
    case SIGABRT: return L"Abnormal termination.";
    default: return L"Unknown signal.";
  }
}

void setCommandLine(State& s, int argc, char** argv) {
  s.arguments.clear();
  s.argumentTexts.clear();
  for (int i = 0; i < argc && argv && argv[i]; ++i) {
    s.arguments.push_back(StringHelper::utf8ToWide(reinterpret_cast<const unsigned char*>(argv[i])));
  }
  for (const String& argument : s.arguments) s.argumentTexts.push_back(argument.getBuffer());
  s.argumentTexts.push_back(nullptr);
  s.argc = static_cast<int>(s.arguments.size());
}

void setSystem(State& s, Unknown::THandle<ServiceSystem> held) {
  {
    SpinGuard guard(s.locked);
    std::swap(s.system, held);
  }  // The System this replaces, if any, goes outside the lock.
}

// The launch proper, with the signals already led to their thread.
int runLaunched(State& s, ServiceSystem::Creator create) {
  const Unknown::THandle<ServiceSystem> system(create());
  setSystem(s, system);
  const bool loaded = system && system->load();
  s.launch.store(kLaunched);
  if (!loaded) return 1;
  system->start();
  system->unload();
  return 0;
}

}  // namespace
}  // namespace service

ServiceSystem::ServiceSystem() = default;
ServiceSystem::~ServiceSystem() = default;

int ServiceSystem::launch(Creator create, int argc, char** argv, const wchar_t* name, const wchar_t* version) {
  service::State& s = service::state();
  if (s.launcherBusy.exchange(true)) return 1;
  s.launch.store(service::kLaunching);
  service::setCommandLine(s, argc, argv);
  s.systemName = String(name), s.version = String(version);
  platform::SignalWaiter signals;
  int result = 1;
  if (signals.start({SIGINT, SIGTERM, SIGHUP}, &ServiceSystem::signal)) {
    result = service::runLaunched(s, create);
  } else {
    Log::error(L"%s", L"ServiceSystem: the process signals cannot be received.");
  }
  s.launch.store(service::kEnded);
  signals.stop();
  s.launcherBusy.store(false);
  return result;
}

const String& ServiceSystem::getSystemName() { return service::state().systemName; }
const String& ServiceSystem::getVersion() { return service::state().version; }
int ServiceSystem::argc() { return service::state().argc; }

const wchar_t* const* ServiceSystem::argv() {
  const service::State& s = service::state();
  return s.argumentTexts.empty() ? nullptr : s.argumentTexts.data();
}

Unknown::THandle<ServiceSystem> ServiceSystem::getSystem() {
  service::State& s = service::state();
  SpinGuard guard(s.locked);
  return s.system;
}

void ServiceSystem::signal(int signalNumber) {
  Log::warning(L"%s", service::signalText(signalNumber));
  shutdownSystem();
}

bool ServiceSystem::shutdownSystem() {
  const service::State& s = service::state();
  while (s.launch.load() < service::kLaunched) platform::sleepMilliseconds(0);
  if (s.launch.load() > service::kLaunched) return true;
  if (THandle<ServiceSystem> system = getSystem()) system->shutdown();
  return true;
}

}  // namespace orvo
