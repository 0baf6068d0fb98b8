// Log.h: the library's one reporting channel.
//
// Log formats a message once and hands the finished text to every LogListener
// the application registered, in order of registration. The library owns no
// sink: no file, no console, no time stamp and no filter; listeners do that.
// Formats are wide printf formats in which "%s" takes a wide string.
//
//   struct Printer : LogListener {
//     void onError(const wchar_t* m) override { std::fwprintf(stderr, L"%ls\n", m); }
//     ...
//   } printer;
//   Log::addListener(&printer);
//   Log::error(L"cannot open %s (%d)", name, code);
//
// Any thread may log, and add or remove listeners, at any time. A listener
// runs on the logging thread, under the log's recursive mutex, one delivery
// at a time, so it needs no lock of its own against other messages. A
// message logged from inside a listener is dropped, and an exception thrown
// by a listener is swallowed. A listener must not be destroyed while it is
// registered.
//
// A message of up to 255 characters is formatted on the stack, in 1 KiB, so
// that threads with small stacks can log; a longer one is formatted on the
// heap. Messages of any length arrive whole.
#pragma once

#include <orvo/core/Export.h>

namespace orvo {

class ORVO_API LogListener {
 public:
  virtual ~LogListener();
  virtual void onError(const wchar_t* message) = 0;
  virtual void onWarning(const wchar_t* message) = 0;
  virtual void onInformation(const wchar_t* message) = 0;
  virtual void onDebug(const wchar_t* message) = 0;
  virtual void onWhistle(bool on) = 0;
};

class ORVO_API Log {
 public:
  Log() = delete;

  static void error(const wchar_t* format, ...);
  static void warning(const wchar_t* format, ...);
  static void information(const wchar_t* format, ...);
  static void debug(const wchar_t* format, ...);
  static void whistle(bool on);

  // Appends `listener` unless it is null or already registered.
  static void addListener(LogListener* listener);
  // Removes `listener`; null or an unknown listener is ignored.
  static void removeListener(LogListener* listener);
};

}  // namespace orvo
