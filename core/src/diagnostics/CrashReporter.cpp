#include <orvo/core/CrashReporter.h>

#include <atomic>

#include "platform/CrashHandler.h"

namespace orvo {
namespace {
std::atomic<bool> installed{false};
}

void handled_exception_filter() {
  installed = platform::installCrashHandler();
}

bool CrashReporter::isInstalled() { return installed; }

void CrashReporter::setContactAddress(const char* address) { platform::setCrashContact(address); }

bool CrashReporter::giveThreadAlternateStack() { return platform::giveThreadAlternateStack(); }

}  // namespace orvo
