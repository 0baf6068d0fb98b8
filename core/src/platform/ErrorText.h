// ErrorText.h: the system's error numbers and their texts.
#pragma once

#include <string>

namespace orvo::platform {

// The calling thread's last system error number (errno).
int lastErrorCode();

// The system's text for error number `code`, in the language of the locale
// and the locale's character set. Empty for a number that the system has no
// text for.
std::string errorText(int code);

}  // namespace orvo::platform
