// Yield.h: a Task that gives the processor back on each of its calls.
//
// A System's loop never waits. Started on a System, a Yield blocks the loop's
// thread for its fixed time on every call, so that an idle System does not
// take a whole core; a Yield of 0 milliseconds only offers the rest of the
// time slice to other threads and lets the pass go on at once.
//
//   THandle<Yield> yield = Yield::createInstance(5);
//   yield->start(system);      // in init(): every pass then lasts 5 ms or more
//
// A Yield starts with a period of 0, so it is called on every pass, and it
// delays every Task behind it in the walk (those started before it) by its
// time. Not started, it has no effect.
//
// Threads: as for any Task; its call runs on the System's thread.
#pragma once

#include <cstdint>

#include <orvo/core/Export.h>
#include <orvo/core/System.h>

namespace orvo {

class ORVO_API Yield : public System::Task {
 public:
  // A Yield of 20 milliseconds.
  static THandle<Yield> createInstance();
  static THandle<Yield> createInstance(unsigned int ms);

  const wchar_t* getClassName() const override { return L"Yield"; }

  // Blocks the calling thread for the Yield's time; `elapsed` is not used.
  void onTick(unsigned int elapsed) override;

  unsigned int getYieldTime() const { return _yieldTime; }

 protected:
  explicit Yield(unsigned int ms) : _yieldTime(ms) {}
  ~Yield() override;

 private:
  const std::uint32_t _yieldTime;
};

}  // namespace orvo
