// ErrorText.h: the system's text for an error number.
//
// getErrorString gives the operating system's message for a system error
// number (an errno value), without a trailing line end, and the empty string
// for a number that the system has no text for. getLastErrorString does the
// same with the calling thread's last error, so call it right after the
// failed call, before anything else can change that error:
//
//   if (!file) Log::error(L"%s", getLastErrorString().getBuffer());
#pragma once

#include <orvo/core/Export.h>
#include <orvo/core/String.h>

namespace orvo {

ORVO_API String getErrorString(int code);
ORVO_API String getLastErrorString();

}  // namespace orvo
