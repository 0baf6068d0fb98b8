// ScriptedSystem.h: a System whose main loop is a script of passes, and a
// fixture that puts a clock in force that the script sets by hand.
#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <functional>

#include <orvo/core/System.h>

#include "platform/Clock.h"

namespace orvo {

// The clock that FakeClockTest puts in force.
inline std::atomic<std::uint32_t> fakeNow{0};

// A System whose loop is a script: the test calls tick() as the loop would.
class ScriptedSystem : public System {
 public:
  std::function<bool(ScriptedSystem&)> onInit;
  std::function<void(ScriptedSystem&)> script;
  int exitCalls = 0;
  bool ranLoop = false;

  bool init() override { return onInit ? onInit(*this) : System::init(); }
  void run() override {
    ranLoop = true;
    script ? script(*this) : System::run();
  }
  void exit() override {
    ++exitCalls;
    System::exit();
  }
  void passAt(std::uint32_t now) {
    fakeNow = now;
    tick();
  }
};

class FakeClockTest : public ::testing::Test {
 protected:
  FakeClockTest() : previousClock(platform::setMillisecondClock([] { return fakeNow.load(); })) { fakeNow = 0; }
  ~FakeClockTest() override { platform::setMillisecondClock(previousClock); }

 private:
  platform::MillisecondClock previousClock;
};

}  // namespace orvo
