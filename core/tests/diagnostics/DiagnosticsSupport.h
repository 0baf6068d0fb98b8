// Helpers shared by the tests of the diagnostics: a standard stream caught
// in a file or sent elsewhere, and stacks made by hand.
#pragma once

#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include <orvo/core/CallStack.h>

#include "diagnostics/CallStackFrames.h"
#include "diagnostics/LogCollector.h"

namespace orvo {

// Whether the tests run under ThreadSanitizer, which some of them cannot run
// beside.
#if defined(__SANITIZE_THREAD__)
constexpr bool kThreadSanitizer = true;
#elif defined(__has_feature)
constexpr bool kThreadSanitizer = __has_feature(thread_sanitizer);
#else
constexpr bool kThreadSanitizer = false;
#endif

// Points descriptor `stream` at `target`, or at a temporary file whose
// bytes text() returns, until text() or the end of its life. The C streams
// are flushed on both edges, so that nothing buffered lands on the wrong side.
class CapturedStream {
 public:
  explicit CapturedStream(int stream, int target = -1)
      : _file(target < 0 ? std::tmpfile() : nullptr), _stream(stream), _saved(dup(stream)) {
    std::fflush(nullptr);
    dup2(_file ? fileno(_file) : target, stream);
  }
  ~CapturedStream() { text(); }
  std::string text() {
    if (_saved < 0) return {};
    std::fflush(nullptr);
    dup2(_saved, _stream);
    close(_saved);
    _saved = -1;
    if (!_file) return {};
    std::fseek(_file, 0, SEEK_END);
    std::string bytes(static_cast<std::size_t>(std::ftell(_file)), '\0');
    std::rewind(_file);
    bytes.resize(std::fread(bytes.data(), 1, bytes.size(), _file));
    std::fclose(_file);
    return bytes;
  }

 private:
  std::FILE* _file;
  int _stream, _saved;
};

// A stack made by hand, holding one reference while it lives.
struct StackDeleter {
  void operator()(CallStack* stack) const { stack->destroy(); }
};
using OwnedStack = std::unique_ptr<CallStack, StackDeleter>;

inline OwnedStack madeStack(const std::vector<std::uintptr_t>& addresses) {
  CallStackFrames* stack = CallStackFrames::allocate();
  stack->addReference();
  for (std::uintptr_t address : addresses) stack->push(address);
  return OwnedStack(stack);
}

inline CallStackFrames& frames(const OwnedStack& stack) { return CallStackFrames::of(*stack); }

}  // namespace orvo
