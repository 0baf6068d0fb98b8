#include <orvo/core/Log.h>

#include <cstdarg>
#include <vector>

#include <orvo/core/Mutex.h>
#include <orvo/core/SharedPtr.h>
#include <orvo/core/SpinLock.h>
#include <orvo/core/Unknown.h>

#include "diagnostics/FormattedText.h"
#include "diagnostics/LogState.h"
#include "platform/Process.h"

namespace orvo {
namespace {

// The registered listeners. A list is never changed once published: add and
// remove publish a new one, so that a delivery running on another thread
// walks a list that stays as it was when the delivery began.
class ListenerList : public Unknown {
 public:
  explicit ListenerList(std::vector<LogListener*> items) : listeners(std::move(items)) {}
  const wchar_t* getClassName() const override { return L"ListenerList"; }

  const std::vector<LogListener*> listeners;
};

SpinLock logStateLock;
SharedPtr<Mutex>* logMutex = nullptr;
THandle<ListenerList>* logListeners = nullptr;
bool logDelivering = false;  // Guarded by the Mutex.
bool logReady = false;

void tearDown(void* = nullptr) {
  SharedPtr<Mutex>* mutex = nullptr;
  THandle<ListenerList>* listeners = nullptr;
  {
    SpinGuard guard(logStateLock);
    mutex = logMutex;
    listeners = logListeners;
    logMutex = nullptr;
    logListeners = nullptr;
  }
  delete listeners;
  delete mutex;
}

void setUp() {
  SpinGuard guard(logStateLock);
  if (logReady) return;
  logReady = true;
  if (!logMutex) logMutex = new SharedPtr<Mutex>(new Mutex);
  logListeners = new THandle<ListenerList>(new ListenerList({}));
  platform::atExit(tearDown, nullptr);
}

[[maybe_unused]] const bool logSetUpAtLoad = (setUp(), true);

// Publishes a changed copy of the list; `change` edits the copy and tells
// whether anything changed.
template <class Change>
void changeListeners(Change change) {
  SpinGuard guard(logStateLock);
  if (!logListeners) return;
  std::vector<LogListener*> items = (*logListeners)->listeners;
  if (change(items)) *logListeners = new ListenerList(std::move(items));
}

bool contains(const std::vector<LogListener*>& items, LogListener* listener) {
  for (LogListener* item : items) {
    if (item == listener) return true;
  }
  return false;
}

// Clears the delivery flag however the delivery ends.
class DeliveryScope {
 public:
  DeliveryScope() { logDelivering = true; }
  ~DeliveryScope() { logDelivering = false; }
  DeliveryScope(const DeliveryScope&) = delete;
  DeliveryScope& operator=(const DeliveryScope&) = delete;
};

// Runs one delivery: `call` is handed each listener in turn, with the
// listener's exceptions swallowed. Returns without a call after teardown, with
// no listener, or when the calling thread is already delivering.
template <class Call>
void deliver(Call call) {
  SharedPtr<Mutex> mutex;
  {
    SpinGuard guard(logStateLock);
    if (!logMutex) return;
    mutex = *logMutex;
  }
  MutexGuard delivery(*mutex);
  if (logDelivering) return;
  THandle<ListenerList> list;
  {
    SpinGuard guard(logStateLock);
    if (logListeners) list = *logListeners;
  }
  if (!list || list->listeners.empty()) return;
  DeliveryScope scope;
  call(list->listeners);
}

using TextSlot = void (LogListener::*)(const wchar_t*);

void deliverText(TextSlot slot, const wchar_t* format, va_list args) {
  deliver([&](const std::vector<LogListener*>& listeners) {
    const FormattedText formatted(format, args);
    // An unformattable message still arrives, as its format.
    const wchar_t* text = formatted.get() ? formatted.get() : (format ? format : L"");
    for (LogListener* listener : listeners) {
      try {
        (listener->*slot)(text);
      } catch (...) {
        // A failing listener is skipped for this message and stays registered.
      }
    }
  });
}

}  // namespace

LogListener::~LogListener() = default;

#define ORVO_LOG_SEVERITY(name, slot)            \
  void Log::name(const wchar_t* format, ...) {   \
    va_list args;                                \
    va_start(args, format);                      \
    deliverText(&LogListener::slot, format, args); \
    va_end(args);                                \
  }

ORVO_LOG_SEVERITY(error, onError)
ORVO_LOG_SEVERITY(warning, onWarning)
ORVO_LOG_SEVERITY(information, onInformation)
ORVO_LOG_SEVERITY(debug, onDebug)

#undef ORVO_LOG_SEVERITY

void Log::whistle(bool on) {
  deliver([on](const std::vector<LogListener*>& listeners) {
    for (LogListener* listener : listeners) {
      try {
        listener->onWhistle(on);
      } catch (...) {
      }
    }
  });
}

void Log::addListener(LogListener* listener) {
  setUp();
  if (!listener) return;
  changeListeners([listener](std::vector<LogListener*>& items) {
    if (contains(items, listener)) return false;
    items.push_back(listener);
    return true;
  });
}

void Log::removeListener(LogListener* listener) {
  if (!listener) return;
  changeListeners([listener](std::vector<LogListener*>& items) {
    for (auto it = items.begin(); it != items.end(); ++it) {
      if (*it == listener) {
        items.erase(it);
        return true;
      }
    }
    return false;
  });
}

namespace detail {

void tearDownLog() { tearDown(); }

}  // namespace detail
}  // namespace orvo
