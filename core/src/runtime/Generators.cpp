#include <orvo/core/ClockGenerator.h>
#include <orvo/core/PulseGenerator.h>

namespace orvo {

PulseListener::~PulseListener() = default;

PulseGenerator::PulseGenerator(PulseListener* listener, unsigned int interval)
    : _listener(listener), _interval(interval) {}

PulseGenerator::~PulseGenerator() = default;

Unknown::THandle<PulseGenerator> PulseGenerator::createInstance(PulseListener* listener, unsigned int interval) {
  return THandle<PulseGenerator>(new PulseGenerator(listener, interval));
}

const wchar_t* PulseGenerator::getClassName() const { return L"PulseGenerator"; }

void PulseGenerator::tick(unsigned int elapsed) {
  _time += elapsed;
  for (int pulse = 0; pulse < 2; ++pulse) {
    if (_time < _interval) return;
    _listener->onPulse();
    _time -= _interval;
  }
  _time = 0;  // Two pulses: what is left beyond them is forgotten.
}

ClockListener::~ClockListener() = default;

ClockGenerator::ClockGenerator(ClockListener* listener, unsigned int interval, unsigned int ticksPerPulse)
    : _listener(listener), _interval(interval), _maxBacklog(2 * interval), _ticksPerPulse(ticksPerPulse) {}

ClockGenerator::~ClockGenerator() = default;

Unknown::THandle<ClockGenerator> ClockGenerator::createInstance(ClockListener* listener, unsigned int interval,
                                                                unsigned int ticksPerPulse) {
  return THandle<ClockGenerator>(new ClockGenerator(listener, interval, ticksPerPulse));
}

const wchar_t* ClockGenerator::getClassName() const { return L"ClockGenerator"; }

void ClockGenerator::tick(unsigned int elapsed) {
  _time += elapsed;
  while (_time >= _interval) {
    if (_delivered == _target) {
      // Nothing owed, and only a listener's call could pay in more: the
      // remaining intervals are used up at once rather than one by one.
      _time %= _interval;
      break;
    }
    _time -= _interval;
    onClockTick();
  }
  while (_target - _delivered > _maxBacklog) onClockTick();
}

void ClockGenerator::onClockTick() {
  ++_delivered;
  _listener->onClock(_interval);
}

}  // namespace orvo
