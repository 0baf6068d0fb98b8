// Export.h: marks what the shared library orvo_core exports.
//
// The library is built with hidden visibility; only declarations that carry
// ORVO_API are part of its binary interface. Applications include this header
// through the class headers and never need to use the macro themselves.
//
// Threads: macros only; there is nothing here to share.
#pragma once

#if defined(_WIN32)
#  if defined(ORVO_CORE_BUILDING)
#    define ORVO_API __declspec(dllexport)
#  else
#    define ORVO_API __declspec(dllimport)
#  endif
#else
#  define ORVO_API __attribute__((visibility("default")))
#endif
