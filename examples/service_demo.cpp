// A program whose main loop runs until Ctrl+C (or SIGTERM, or SIGHUP): the
// launcher makes the System, leads the signals to it and ends in order. A
// Task drives a PulseGenerator, which beats once a second whatever the
// Task's own period.
#include <orvo/core.h>

#include <cstdio>

using namespace orvo;

namespace {

struct Printer : LogListener {
  void onError(const wchar_t* m) override { std::printf("error: %ls\n", m); }
  void onWarning(const wchar_t* m) override { std::printf("warning: %ls\n", m); }
  void onInformation(const wchar_t* m) override { std::printf("%ls\n", m); }
  void onDebug(const wchar_t*) override {}
  void onWhistle(bool) override {}
} printer;

struct Beat : PulseListener {
  int count = 0;
  void onPulse() override { Log::information(L"beat %d (Ctrl+C ends the program)", ++count); }
};

// Hands the loop's time to the generator and sleeps between passes.
class Driver : public System::Task {
 public:
  void onTick(unsigned int elapsed) override {
    _pulses->tick(elapsed);
    getSystem()->sleep(50);
  }

 private:
  THandle<PulseGenerator> _pulses = PulseGenerator::createInstance(new Beat, 1000);
};

class App : public ServiceSystem {
  bool init() override {
    if (!ServiceSystem::init()) return false;
    Log::information(L"%s %s started with %d arguments", getSystemName().getBuffer(), getVersion().getBuffer(),
                     argc());
    THandle<Driver>(new Driver)->start(this);
    return true;
  }
  void exit() override {
    Log::information(L"stopping the tasks");
    ServiceSystem::exit();
  }
};

}  // namespace

int main(int argc, char** argv) {
  Log::addListener(&printer);
  const int result = ServiceSystem::launch<App>(argc, argv, L"service_demo", L"1.0");
  Log::removeListener(&printer);
  return result;
}
