// Exception.h: the library's one exception type, and the way to raise it.
//
// Conversions and stream operators, which have no result through which to
// fail, raise an Exception by value; it tells where the failure happened and
// what failed, in a short text. Every raise goes through ORVO_THROW, which
// records the source file, the line, the full signature of the raising
// function, the code -1 and the literal message:
//
//   if (count != sizeof(value)) ORVO_THROW(L"int32_t");
//   ...
//   try { stream >> value; } catch (const Exception& e) { e.report(); }
//
// An Exception is a plain class; it derives from no standard exception. A
// caller may store a CallStack in it (it then owns one reference); copies
// share that stack, and report() sends the message and then the stack to the
// log.
//
// An Exception is a plain value: one object is used by one thread at a time,
// and separate objects, copies included, may be used on separate threads,
// since the stack they share is counted atomically and never changed.
// report() may run on any thread; it goes through the log, which takes its
// own lock.
#pragma once

#include <string>

#include <orvo/core/Export.h>

namespace orvo {

class CallStack;

class ORVO_API Exception {
 public:
  Exception(const wchar_t* file, int line, const wchar_t* function, int code,
            const wchar_t* message);
  Exception(const Exception& other);
  Exception(Exception&& other) noexcept;
  Exception& operator=(const Exception& other);
  Exception& operator=(Exception&& other) noexcept;
  ~Exception();

  // Log::error with the message alone, then the stored stack, if any, line
  // by line through Log::debug.
  void report() const;

  std::wstring file;
  int line;
  std::wstring function;
  int code;
  std::wstring message;
  CallStack* callStack = nullptr;
};

// Raises an Exception with code -1 for the file, line and function of the
// raise. `function` is the compiler's narrow signature, as ORVO_THROW gives
// it. Use ORVO_THROW rather than calling this.
[[noreturn]] ORVO_API void throwException(const wchar_t* file, int line, const char* function,
                                          const wchar_t* message);

}  // namespace orvo

#define ORVO_WIDE_LITERAL_(text) L##text
#define ORVO_WIDE_LITERAL(text) ORVO_WIDE_LITERAL_(text)

// Raises Exception(file, line, function signature, -1, message); `message`
// must be a string literal.
#define ORVO_THROW(message)                                                       \
  ::orvo::throwException(ORVO_WIDE_LITERAL(__FILE__), __LINE__, __PRETTY_FUNCTION__, \
                         L"" message)
