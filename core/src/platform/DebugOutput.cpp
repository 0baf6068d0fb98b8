#include "platform/DebugOutput.h"

#include <cstdio>

namespace orvo::platform {

void writeToDebugger(const char* text) {
  std::fputs(text, stderr);
  std::fflush(stderr);
}

}  // namespace orvo::platform
