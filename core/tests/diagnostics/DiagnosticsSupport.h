// Helpers shared by the tests of the diagnostics: standard output or error
// caught in a file, stacks made by hand, and a collector of dump lines.
#pragma once

#include <dlfcn.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

#include <orvo/core/CallStack.h>

#include "diagnostics/CallStackFrames.h"

namespace orvo {

// Points descriptor `stream` at `target` until restore() or the end of its
// life. The C streams are flushed on both edges, so that nothing buffered
// lands on the wrong side.
class StreamRedirect {
 public:
  StreamRedirect(int stream, int target) : _stream(stream), _saved(dup(stream)) {
    std::fflush(nullptr);
    dup2(target, stream);
  }
  ~StreamRedirect() { restore(); }
  void restore() {
    if (_saved < 0) return;
    std::fflush(nullptr);
    dup2(_saved, _stream);
    close(_saved);
    _saved = -1;
  }

 private:
  int _stream;
  int _saved;
};

// What is written to `stream` while it lives; text() ends the capture.
class CapturedStream {
 public:
  explicit CapturedStream(int stream) : _file(std::tmpfile()), _redirect(stream, fileno(_file)) {}
  ~CapturedStream() { std::fclose(_file); }
  std::string text() {
    _redirect.restore();
    std::fseek(_file, 0, SEEK_END);
    std::string bytes(static_cast<std::size_t>(std::ftell(_file)), '\0');
    std::rewind(_file);
    bytes.resize(std::fread(bytes.data(), 1, bytes.size(), _file));
    return bytes;
  }

 private:
  std::FILE* _file;
  StreamRedirect _redirect;
};

// A stack made by hand, holding one reference while it lives.
struct StackDeleter {
  void operator()(CallStack* stack) const { stack->destroy(); }
};
using OwnedStack = std::unique_ptr<CallStack, StackDeleter>;

inline OwnedStack madeStack(std::initializer_list<std::uintptr_t> addresses) {
  CallStackFrames* stack = CallStackFrames::allocate();
  stack->addReference();
  for (std::uintptr_t address : addresses) stack->push(address);
  return OwnedStack(stack);
}

inline CallStackFrames& frames(const OwnedStack& stack) { return CallStackFrames::of(*stack); }

// The C library's own `name`, not a sanitizer's wrapper of the same name.
inline std::uintptr_t cLibraryFunction(const char* name) {
  void* library = dlopen("libc.so.6", RTLD_NOW | RTLD_NOLOAD);
  void* function = library ? dlsym(library, name) : nullptr;
  if (library) dlclose(library);
  return reinterpret_cast<std::uintptr_t>(function);
}

// The lines of a dump.
struct LineCollector : CallStack::Callback {
  void report(const char* line) override { lines.emplace_back(line); }
  std::vector<std::string> lines;
};

}  // namespace orvo
