// The process that bench_service sends signals to: it launches a
// ServiceSystem, prints "ready" once its loop runs and "exit" once its
// exit() has stopped the Tasks.
#include <cstdio>

#include <orvo/core/ServiceSystem.h>

using namespace orvo;

namespace {

class App : public ServiceSystem {
  bool init() override {
    if (!ServiceSystem::init()) return false;
    std::puts("ready");
    std::fflush(stdout);
    return true;
  }
  void run() override {
    while (getState() == StateRunning) sleep(1000);  // Woken by the shutdown.
  }
  void exit() override {
    ServiceSystem::exit();
    std::puts("exit");
    std::fflush(stdout);
  }
};

}  // namespace

int main(int argc, char** argv) { return ServiceSystem::launch<App>(argc, argv, L"target", L"1"); }
