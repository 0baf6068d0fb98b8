// Helpers shared by the tests of the diagnostics: a log listener that keeps
// what it hears, a redirection of a standard stream into a pipe or a file,
// and access to the private parts of CallStack and DebugHelper.
#pragma once

#include <dlfcn.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include <orvo/core/CallStack.h>
#include <orvo/core/DebugHelper.h>
#include <orvo/core/Log.h>

namespace orvo {

// Registered for its own lifetime; keeps errors and debug lines apart.
class LogRecorder : public LogListener {
 public:
  LogRecorder() { Log::addListener(this); }
  ~LogRecorder() override { Log::removeListener(this); }

  void onError(const wchar_t* message) override { errors.emplace_back(message); }
  void onWarning(const wchar_t* message) override { warnings.emplace_back(message); }
  void onInformation(const wchar_t*) override {}
  void onDebug(const wchar_t* message) override { debug.emplace_back(message); }
  void onWhistle(bool) override {}

  std::vector<std::wstring> errors;
  std::vector<std::wstring> warnings;
  std::vector<std::wstring> debug;
};

// Points descriptor `stream` (1 or 2) at `target` while it lives, and puts
// it back afterwards. The C streams are flushed on both edges, so that
// nothing buffered before lands in the target or the other way round.
class StreamRedirect {
 public:
  StreamRedirect(int stream, int target) : _stream(stream) {
    std::fflush(nullptr);
    _saved = dup(stream);
    dup2(target, stream);
  }
  ~StreamRedirect() { restore(); }
  StreamRedirect(const StreamRedirect&) = delete;
  StreamRedirect& operator=(const StreamRedirect&) = delete;

  void restore() {
    if (_saved < 0) return;
    std::fflush(nullptr);
    dup2(_saved, _stream);
    close(_saved);
    _saved = -1;
  }

 private:
  int _stream;
  int _saved = -1;
};

// Collects what is written to standard output or standard error into a
// temporary file; text() restores the stream and returns the bytes.
class CapturedStream {
 public:
  explicit CapturedStream(int stream) : _file(std::tmpfile()), _redirect(stream, fileno(_file)) {}
  ~CapturedStream() { std::fclose(_file); }

  std::string text() {
    _redirect.restore();
    std::string bytes;
    std::rewind(_file);
    char chunk[4096];
    std::size_t got = 0;
    while ((got = std::fread(chunk, 1, sizeof chunk, _file)) > 0) bytes.append(chunk, got);
    return bytes;
  }

 private:
  std::FILE* _file;
  StreamRedirect _redirect;
};

// The private side of CallStack, for the tests of its storage.
class CallStackTest {
 public:
  static CallStack* make() { return CallStack::allocate(); }
  static void push(CallStack& stack, std::uintptr_t address) { stack.push(address); }
  static void clear(CallStack& stack) { stack.clear(); }
  static std::uint32_t size(const CallStack& stack) { return stack.size(); }
  static std::uint32_t capacity(const CallStack& stack) { return stack._capacity; }
  static std::int32_t references(const CallStack& stack) { return stack._refCount.load(); }
  static std::uintptr_t at(const CallStack& stack, std::uint32_t index) { return stack[index]; }
  static bool equal(const CallStack& a, const CallStack& b) { return a == b; }
  static const void* chunk(const CallStack& stack, int which) {
    const CallStack::CallStackChunk* chunk = &stack._firstChunk;
    for (; which > 0 && chunk; --which) chunk = chunk->next;
    return chunk;
  }
  static std::vector<std::uintptr_t> entries(const CallStack& stack) {
    std::vector<std::uintptr_t> all;
    for (std::uint32_t i = 0; i < stack.size(); ++i) all.push_back(stack[i]);
    return all;
  }
};

// A DebugHelper of its own, made with any library name.
class DebugHelperTest {
 public:
  struct Deleter {
    void operator()(DebugHelper* helper) const { delete helper; }
  };
  using Owned = std::unique_ptr<DebugHelper, Deleter>;
  static Owned load(const char* libraryName) { return Owned(new DebugHelper(libraryName)); }
};

// The C library's own `name`, not a sanitizer's wrapper of the same name.
inline std::uintptr_t cLibraryFunction(const char* name) {
  void* library = dlopen("libc.so.6", RTLD_NOW | RTLD_NOLOAD);
  void* function = library ? dlsym(library, name) : nullptr;
  if (library) dlclose(library);
  return reinterpret_cast<std::uintptr_t>(function);
}

// Collects the lines of a dump.
class LineCollector : public CallStack::Callback {
 public:
  void report(const char* line) override { lines.emplace_back(line); }
  std::vector<std::string> lines;
};

}  // namespace orvo
