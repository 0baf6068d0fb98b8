// ErrorText.h: the system's text for an error number.
//
// getErrorString gives the operating system's message for a system error
// number (an errno value), without a trailing line end, and the empty string
// for a number that the system has no text for. getLastErrorString does the
// same with the calling thread's last error, so call it right after the
// failed call, before anything else can change that error:
//
//   if (!file) Log::error(L"%s", getLastErrorString().getBuffer());
//
// Both are free functions without state of their own and may be called from
// any thread; the last error is each thread's own.
#pragma once

#include <orvo/core/Export.h>
#include <orvo/core/String.h>

namespace orvo {

// The text is in the language of the process's locale. The C library
// writes it in the locale's character set (LC_CTYPE), which the application
// chose, not necessarily UTF-8; it is decoded in that set, and a byte that
// does not decode there becomes U+FFFD.
ORVO_API String getErrorString(int code);
ORVO_API String getLastErrorString();

}  // namespace orvo
