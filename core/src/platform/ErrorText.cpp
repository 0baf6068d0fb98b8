#include "platform/ErrorText.h"

#include <cerrno>
#include <cstring>
#include <cwchar>

namespace orvo::platform {

int lastErrorCode() { return errno; }

std::wstring fromLocaleText(const char* text) {
  std::wstring wide;
  std::mbstate_t state{};
  std::size_t left = std::strlen(text);
  while (left > 0) {
    wchar_t character = 0;
    const std::size_t used = std::mbrtowc(&character, text, left, &state);
    if (used == static_cast<std::size_t>(-1) || used == static_cast<std::size_t>(-2)) {
      // A broken or cut sequence: one byte is given up for it.
      wide.push_back(L'\uFFFD');
      state = std::mbstate_t{};
      ++text;
      --left;
      continue;
    }
    wide.push_back(character);
    text += used;
    left -= used;
  }
  return wide;
}

std::wstring errorText(int code) {
  // glibc makes up "Unknown error N" for a number it has no entry for; such
  // a number has no name either, which tells the two apart in any language.
  if (!strerrorname_np(code)) return {};
  char buffer[256];
  const char* text = strerror_r(code, buffer, sizeof buffer);
  return text ? fromLocaleText(text) : std::wstring();
}

}  // namespace orvo::platform
