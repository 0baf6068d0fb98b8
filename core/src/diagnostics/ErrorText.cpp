#include <orvo/core/ErrorText.h>

#include <string>

#include <orvo/core/StringConvert.h>

#include "platform/ErrorText.h"

namespace orvo {

String getErrorString(int code) {
  std::string text = platform::errorText(code);
  // Only a trailing line end goes; one inside the text stays.
  while (!text.empty() && (text.back() == '\r' || text.back() == '\n')) text.pop_back();
  return StringConvert(reinterpret_cast<const unsigned char*>(text.c_str()));
}

String getLastErrorString() { return getErrorString(platform::lastErrorCode()); }

}  // namespace orvo
