// PulseGenerator.h: turns passing time into pulses at a fixed interval.
//
// A PulseGenerator has no thread and no timer: whoever drives it calls tick
// with the time that has passed, typically from a Task's onTick or a Tick
// handler, whose elapsed value fits unchanged. Each interval that completes
// calls the listener's onPulse, at most twice per tick: a generator that fell
// far behind makes up one missed pulse and forgets the rest.
//
//   struct Beat : PulseListener { void onPulse() override { ... } };
//   THandle<PulseGenerator> pulses = PulseGenerator::createInstance(new Beat, 100);
//   pulses->tick(elapsed);   // from the driver's own call
//
// Threads: no locks. One thread at a time uses a generator; the listener runs
// on that thread, inside tick.
#pragma once

#include <orvo/core/Export.h>
#include <orvo/core/Unknown.h>

namespace orvo {

// The receiver of a PulseGenerator's pulses.
class ORVO_API PulseListener : public virtual Unknown {
 public:
  virtual void onPulse() = 0;

 protected:
  ~PulseListener() override;
};

class ORVO_API PulseGenerator : public virtual Unknown {
 public:
  // `listener` must not be null; the generator keeps it alive. With an
  // `interval` of 0 every tick gives two pulses.
  static THandle<PulseGenerator> createInstance(PulseListener* listener, unsigned int interval);

  const wchar_t* getClassName() const override;

  // Adds `elapsed` to the time gathered and gives 0, 1 or 2 pulses. A
  // remainder carries over to the next tick only while the generator keeps
  // up: after two pulses in one tick, the time left over is dropped.
  void tick(unsigned int elapsed);

 protected:
  PulseGenerator(PulseListener* listener, unsigned int interval);
  ~PulseGenerator() override;

 private:
  THandle<PulseListener> _listener;
  unsigned int _interval;
  unsigned int _time = 0;
};

}  // namespace orvo
