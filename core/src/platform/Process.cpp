#include "platform/Process.h"

#include <unistd.h>

extern "C" int __cxa_atexit(void (*step)(void*), void* argument, void* dso);
extern "C" void* __dso_handle;

namespace orvo::platform {

std::uint32_t processId() { return static_cast<std::uint32_t>(getpid()); }

void atExit(void (*step)(void*), void* argument) {
  // Tied to this module, so the step also runs if the library is unloaded.
  __cxa_atexit(step, argument, &__dso_handle);
}

}  // namespace orvo::platform
