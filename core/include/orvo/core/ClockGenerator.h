// ClockGenerator.h: spends clock ticks that outside pulses paid in, evenly.
//
// A ClockGenerator follows a source of pulses (another generator, a network
// peer's heartbeat, a frame counter): each injectPulse pays in a fixed number
// of ticks, and tick(elapsed) hands them out to the listener at one per
// interval. If more than twice the interval's count of ticks are owed, the
// surplus is delivered at once so that the follower never lags far behind.
// Without pulses it never calls its listener; time that passes with nothing
// owed is used up, not saved.
//
//   struct Frame : ClockListener { void onClock(unsigned int interval) override { ... } };
//   THandle<ClockGenerator> clock = ClockGenerator::createInstance(new Frame, 10, 4);
//   clock->injectPulse();    // pays in 4 ticks
//   clock->tick(elapsed);    // one onClock(10) per 10 units of time
//
// Every onClock receives the interval, not the time that really passed. The
// counters of ticks paid in and delivered may wrap; only their difference
// counts.
//
// Threads: no locks. One thread at a time uses a generator; injectPulse from
// a thread other than tick's needs the caller's own protection. The listener
// runs on the calling thread, inside tick.
#pragma once

#include <orvo/core/Export.h>
#include <orvo/core/Unknown.h>

namespace orvo {

// The receiver of a ClockGenerator's ticks.
class ORVO_API ClockListener : public virtual Unknown {
 public:
  virtual void onClock(unsigned int interval) = 0;

 protected:
  ~ClockListener() override;
};

class ORVO_API ClockGenerator : public virtual Unknown {
 public:
  // `listener` must not be null; the generator keeps it alive. `interval`
  // must not be 0.
  static THandle<ClockGenerator> createInstance(ClockListener* listener, unsigned int interval,
                                                unsigned int ticksPerPulse);

  const wchar_t* getClassName() const override;

  // Adds `elapsed` to the time gathered, delivers one owed tick per whole
  // interval in it, then every tick owed beyond twice the interval's count.
  void tick(unsigned int elapsed);
  // Pays in ticksPerPulse ticks; delivers nothing by itself.
  void injectPulse() { _target += _ticksPerPulse; }

 protected:
  ClockGenerator(ClockListener* listener, unsigned int interval, unsigned int ticksPerPulse);
  ~ClockGenerator() override;

 private:
  void onClockTick();

  THandle<ClockListener> _listener;
  unsigned int _interval;
  unsigned int _maxBacklog;
  unsigned int _ticksPerPulse;
  unsigned int _time = 0;
  unsigned int _delivered = 0;
  unsigned int _target = 0;
};

}  // namespace orvo
