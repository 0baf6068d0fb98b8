// A small application of orvo_core: a System runs three periodic Tasks on the
// calling thread, reports through a LogListener of its own, and is stopped
// cleanly from another thread after a few seconds.
#include <orvo/core.h>

#include <chrono>
#include <cstdio>
#include <thread>

using namespace orvo;

namespace {

// Prints every message with its severity; the library itself has no sink.
class ConsoleListener : public LogListener {
 public:
  void onError(const wchar_t* m) override { print("error", m); }
  void onWarning(const wchar_t* m) override { print("warning", m); }
  void onInformation(const wchar_t* m) override { print("info", m); }
  void onDebug(const wchar_t* m) override { print("debug", m); }
  void onWhistle(bool on) override { std::printf("[bell] %s\n", on ? "on" : "off"); }

 private:
  static void print(const char* severity, const wchar_t* message) {
    std::printf("[%-7s] %ls\n", severity, message);
    std::fflush(stdout);
  }
};

// Reports how much time it was handed, every `period` milliseconds.
class Heartbeat : public System::Task {
 public:
  explicit Heartbeat(const wchar_t* name) : _name(name) {}
  void onTick(unsigned int elapsed) override {
    ++_beats;
    Log::information(L"%s beat %d after %u ms", _name, _beats, elapsed);
  }

 private:
  const wchar_t* _name;
  int _beats = 0;
};

// Sleeps a while after a few calls, then goes on: a Task can rest.
class Napper : public System::Task {
 public:
  void onTick(unsigned int elapsed) override {
    if (++_calls % 3 == 0) {
      Log::warning(L"napper: %u ms since the last call, sleeping 1500 ms", elapsed);
      sleep(1500);
    } else {
      Log::debug(L"napper: call %d", _calls);
    }
  }

 private:
  int _calls = 0;
};

// Gives the processor back on every pass, so the idle loop does not spin.
class Idle : public System::Task {
 public:
  void onTick(unsigned int) override { getSystem()->sleep(1); }
};

class DemoSystem : public System {
 public:
  bool init() override {
    if (!System::init()) return false;
    startTask(new Heartbeat(L"fast"), 400);
    startTask(new Heartbeat(L"slow"), 1000);
    startTask(new Napper, 300);
    startTask(new Idle, 0);
    Log::information(L"demo system ready with %d tasks", 4);
    return true;
  }
  void exit() override {
    Log::information(L"demo system stopping its tasks");
    System::exit();
  }

 private:
  void startTask(Task* task, unsigned int period) {
    THandle<Task> handle(task);  // The start keeps it alive from here on.
    if (handle->start(this)) handle->setTickTime(period);
  }
};

}  // namespace

int main() {
  ConsoleListener listener;
  Log::addListener(&listener);

  THandle<DemoSystem> system(new DemoSystem);
  std::thread stopper([system] {
    std::this_thread::sleep_for(std::chrono::seconds(3));
    Log::whistle(true);
    system->shutdown();
  });

  if (!system->load()) return 1;
  system->start();  // Runs until the stopper calls shutdown().
  system->unload();
  stopper.join();

  Log::information(L"done, state %d", static_cast<int>(system->getState()));
  Log::removeListener(&listener);
  return system->getState() == System::StateUnloaded ? 0 : 1;
}
