// ErrorText.h: the system's error numbers and their texts.
//
// Free functions without state of their own; any thread may call them.
#pragma once

#include <string>

namespace orvo::platform {

// The calling thread's last system error number (errno).
int lastErrorCode();

// The system's text for error number `code`, in the language of the
// process's locale. The C library writes that text in the character set of
// the locale (LC_CTYPE), which the application chose, so it is read back in
// that set; a byte that does not decode becomes U+FFFD. Empty for a number
// that the system has no text for.
std::wstring errorText(int code);

// `text`, in the character set of the calling thread's locale, as wide text;
// a byte that does not decode becomes U+FFFD.
std::wstring fromLocaleText(const char* text);

}  // namespace orvo::platform
