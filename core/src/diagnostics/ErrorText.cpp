#include <orvo/core/ErrorText.h>

#include <string>

#include "platform/ErrorText.h"

namespace orvo {

String getErrorString(int code) {
  std::wstring text = platform::errorText(code);
  // Only a trailing line end goes; one inside the text stays.
  while (!text.empty() && (text.back() == L'\r' || text.back() == L'\n')) text.pop_back();
  return String(text.c_str());
}

String getLastErrorString() { return getErrorString(platform::lastErrorCode()); }

}  // namespace orvo
