#include <orvo/core/Tick.h>

#include <algorithm>

namespace orvo {

Unknown::THandle<Tick> Tick::createInstance() { return THandle<Tick>(new Tick); }

Tick::Tick() = default;

Tick::~Tick() { clearAllTickHandler(); }

bool Tick::installTickHandler(const Handler& handler) {
  if (std::find(_tickHandlers.begin(), _tickHandlers.end(), handler) == _tickHandlers.end()) {
    _tickHandlers.push_front(handler);
  }
  return true;
}

bool Tick::installTickHandler(void (*handler)(unsigned int)) { return installTickHandler(Handler(handler)); }

void Tick::uninstallTickHandler(const Handler& handler) {
  const auto found = std::find(_tickHandlers.begin(), _tickHandlers.end(), handler);
  if (found != _tickHandlers.end()) _tickHandlers.erase(found);
}

void Tick::uninstallTickHandler(void (*handler)(unsigned int)) { uninstallTickHandler(Handler(handler)); }

void Tick::clearAllTickHandler() { _tickHandlers.clear(); }

// The next entry is looked up only after the call, so that a handler may
// install others (they go to the front, behind the walk) or uninstall any
// handler but its own.
void Tick::onTick(unsigned int elapsed) {
  for (auto entry = _tickHandlers.begin(); entry != _tickHandlers.end(); ++entry) (*entry)(elapsed);
}

}  // namespace orvo
