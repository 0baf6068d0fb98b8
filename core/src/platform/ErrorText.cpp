#include "platform/ErrorText.h"

#include <cerrno>
#include <cstring>

namespace orvo::platform {

int lastErrorCode() { return errno; }

std::string errorText(int code) {
  // glibc makes up "Unknown error N" for a number it has no entry for; such
  // a number has no name either, which tells the two apart in any language.
  if (!strerrorname_np(code)) return {};
  char buffer[256];
  const char* text = strerror_r(code, buffer, sizeof buffer);
  return text ? std::string(text) : std::string();
}

}  // namespace orvo::platform
