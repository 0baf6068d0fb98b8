// CallStack.h: where a thread is, as a list of return addresses, turned into
// text only when someone asks for it.
//
// getCallStack walks the stack through the unwinder, which finds every frame;
// getCallStack_fast follows the chain of frame pointers, which is much
// cheaper but stops at the first frame of code built without them. Either
// returns a stack with a count of one, or null if no memory was to be had;
// the owner gives it up with destroy(), and a second owner takes its own
// reference with addRef(). dump() resolves the addresses through the
// DebugHelper and hands one line at a time to a Callback:
//
//   CallStack* stack = CallStack::getCallStack();
//   DumpCallStack_Console toScreen;
//   stack->dump(toScreen);   // "Call Stack:", then one line a frame
//   stack->destroy();
//
// A stack is captured on the thread that it describes and is not changed
// afterwards: it can then be read and dumped from any thread, and addRef and
// destroy are atomic. The debug library behind dump is used under a lock of
// its own, so dumps of several threads take turns there. The Callback
// classes keep no state of their own.
#pragma once

#include <orvo/core/Export.h>

namespace orvo {

class ORVO_API CallStack {
 public:
  // Receives the lines of a dump, one call a line, without line ends.
  class ORVO_API Callback {
   public:
    virtual ~Callback();
    virtual void report(const char* line) = 0;
  };

  static CallStack* getCallStack();
  static CallStack* getCallStack_fast();

  void addRef();
  // Gives up one reference; the last one frees the stack.
  void destroy();

  // Reports "Call Stack:", then one line for each frame, innermost first:
  // "    file (line): function" where the source is known, otherwise
  // "    0x address (File and line number not available): function".
  // Frames of the capture code itself are left out; they are known by their
  // source files, so this takes the debug information of the library.
  void dump(Callback& callback);

  CallStack(const CallStack&) = delete;
  CallStack& operator=(const CallStack&) = delete;

 private:
  // Every stack is made by getCallStack or getCallStack_fast, as the
  // library's own CallStackFrames, which holds the addresses.
  friend class CallStackFrames;
  CallStack() = default;
  ~CallStack() = default;
};

// Sends each line to the debugger's channel, which is standard error here,
// with the line break ahead of the line.
class ORVO_API DumpCallStack_VS : public CallStack::Callback {
 public:
  void report(const char* line) override;
};

// Prints each line to standard output, with the line break ahead of it.
class ORVO_API DumpCallStack_Console : public CallStack::Callback {
 public:
  void report(const char* line) override;
};

// Sends each line to Log::debug.
class ORVO_API DumpCallStack_Log : public CallStack::Callback {
 public:
  void report(const char* line) override;
};

}  // namespace orvo
