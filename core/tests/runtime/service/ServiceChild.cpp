// A program launched as an application launches its ServiceSystem, for the
// tests that send it real signals. It prints what happens, one line each, on
// standard output:
//   <name> <version> <argc> <argv[1]>   as the launched System sees them
//   ready              the loop runs and the signals are led to their thread
//   warning: <text>    each warning of the log
//   exit: tasks stopped|tasks running
//   launch: <result>
// Modes (argv[1]): "run" waits for a signal; "second" sends itself SIGINT
// again from exit(); "early" sends itself SIGINT before its System exists.
#include <signal.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstring>
#include <thread>

#include <orvo/core/Log.h>
#include <orvo/core/ServiceSystem.h>

using namespace orvo;

namespace {

const char* mode = "run";

void say(const char* line) {
  std::printf("%s\n", line);
  std::fflush(stdout);
}

struct Printer : LogListener {
  void onWarning(const wchar_t* message) override {
    std::printf("warning: %ls\n", message);
    std::fflush(stdout);
  }
  void onError(const wchar_t*) override {}
  void onInformation(const wchar_t*) override {}
  void onDebug(const wchar_t*) override {}
  void onWhistle(bool) override {}
} printer;

struct Idle : System::Task {
  void onTick(unsigned int) override { getSystem()->sleep(1000); }  // Ended by the shutdown.
};

class App : public ServiceSystem {
 public:
  App() {
    if (std::strcmp(mode, "early") == 0) {
      kill(getpid(), SIGINT);
      // Long enough for the signal's thread to be waiting for the launch.
      std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
  }

  bool init() override {
    if (!ServiceSystem::init()) return false;
    task->start(this);
    std::printf("%ls %ls %d %ls\n", getSystemName().getBuffer(), getVersion().getBuffer(), argc(), argv()[1]);
    say("ready");
    return true;
  }

  void exit() override {
    if (std::strcmp(mode, "second") == 0) {
      kill(getpid(), SIGINT);
      std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    ServiceSystem::exit();
    say(task->getTaskState() == TaskStopped ? "exit: tasks stopped" : "exit: tasks running");
  }

 private:
  THandle<Idle> task{new Idle};
};

}  // namespace

int main(int argc, char** argv) {
  if (argc > 1) mode = argv[1];
  Log::addListener(&printer);
  const int result = ServiceSystem::launch<App>(argc, argv, L"service-child", L"1.0");
  std::printf("launch: %d\n", result);
  std::fflush(stdout);
  Log::removeListener(&printer);
  return result;
}
