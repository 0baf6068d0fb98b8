// Tick.h: a Task that fans its calls out to any number of handlers.
//
// Small pieces of periodic work need not each be a Task: install them as
// handlers of one Tick, start the Tick on a System and give it a period. On
// each of its calls the Tick calls every handler, newest first, with the time
// that the System delivered, unchanged (the time gathered since the last
// call, which may be more than the period).
//
//   void blink(unsigned int elapsed);
//   THandle<Tick> tick = Tick::createInstance();
//   tick->installTickHandler(blink);
//   tick->start(system);
//   tick->setTickTime(50);          // blink is called about every 50 ms
//
// A handler is installed once: installing one equal to an installed handler
// (see CallbackHandler: the same plain function, even wrapped anew) changes
// nothing.
//
// Threads: the handler list has no lock. Install, uninstall and clear on the
// thread of the System the Tick runs on (a handler may do so from its call),
// or while the Tick is not started. A handler must not uninstall itself or
// clear the list from its own call: the walk steps on from the handler's
// entry after the call returns. The handlers run on the System's thread.
#pragma once

#include <list>

#include <orvo/core/Callback.h>
#include <orvo/core/Export.h>
#include <orvo/core/System.h>

namespace orvo {

class ORVO_API Tick : public System::Task {
 public:
  using Handler = CallbackHandler<void, unsigned int>;

  // A Tick without handlers.
  static THandle<Tick> createInstance();

  const wchar_t* getClassName() const override { return L"Tick"; }

  // Puts `handler` at the front, unless an equal one is installed; true in
  // both cases.
  bool installTickHandler(const Handler& handler);
  bool installTickHandler(void (*handler)(unsigned int));
  // Removes the first installed handler equal to `handler`, if any.
  void uninstallTickHandler(const Handler& handler);
  void uninstallTickHandler(void (*handler)(unsigned int));
  void clearAllTickHandler();

  // Calls every handler, newest first, with `elapsed`.
  void onTick(unsigned int elapsed) override;

 protected:
  Tick();
  ~Tick() override;

 private:
  std::list<Handler> _tickHandlers;
};

}  // namespace orvo
