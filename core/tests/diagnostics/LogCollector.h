// LogCollector: a log listener for tests. It keeps each severity's messages
// apart, in order, and is registered with the log for exactly its own
// lifetime. `hook`, if set, runs on every message after it is kept.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include <orvo/core/Log.h>

namespace orvo {

using Texts = std::vector<std::wstring>;

class LogCollector : public LogListener {
 public:
  LogCollector() { Log::addListener(this); }
  ~LogCollector() override { Log::removeListener(this); }
  LogCollector(const LogCollector&) = delete;
  LogCollector& operator=(const LogCollector&) = delete;

  void onError(const wchar_t* message) override { keep(errors, message); }
  void onWarning(const wchar_t* message) override { keep(warnings, message); }
  void onInformation(const wchar_t* message) override { keep(information, message); }
  void onDebug(const wchar_t* message) override { keep(debug, message); }
  void onWhistle(bool on) override { whistles.push_back(on); }

  Texts errors, warnings, information, debug;
  std::vector<bool> whistles;
  std::function<void(const wchar_t*)> hook;

 private:
  void keep(Texts& messages, const wchar_t* message) {
    messages.emplace_back(message);
    if (hook) hook(message);
  }
};

}  // namespace orvo
