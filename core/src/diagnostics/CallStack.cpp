#include <orvo/core/CallStack.h>

#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>

#include <orvo/core/DebugHelper.h>
#include <orvo/core/Log.h>
#include <orvo/core/StringConvert.h>

#include "platform/DebugOutput.h"
#include "platform/StackWalk.h"

namespace orvo {
namespace {

constexpr std::size_t kLineBytes = 1024;

bool endsWith(const std::string& text, const char* suffix) {
  const std::size_t length = std::strlen(suffix);
  return text.size() >= length && text.compare(text.size() - length, length, suffix) == 0;
}

// The capture code's own frames sit on top of every captured stack; they are
// recognised by their source files and left out of a dump.
bool isCaptureCode(const std::string& file) {
  return file == "CallStack.cpp" || endsWith(file, "/CallStack.cpp") ||
         endsWith(file, "/platform/StackWalk.cpp") || endsWith(file, "/platform/StackWalk.h");
}

// Formats the dump line of one return address into `line`. False for a
// frame of the capture code.
bool describeFrame(const DebugHelper& symbols, std::uintptr_t address, char* line) {
  // A return address points behind its call, possibly at the next source
  // line or even the next function: the call itself is one byte earlier.
  const std::uintptr_t call = address > 0 ? address - 1 : address;
  std::string file;
  int lineNumber = 0;
  const bool located = symbols.getFileAndLine(call, file, lineNumber);
  if (located && isCaptureCode(file)) return false;

  std::string name;
  if (!symbols.getFunctionName(call, name)) name = "(Function name unavailable)";
  if (located) {
    std::snprintf(line, kLineBytes, "    %s (%d): %s", file.c_str(), lineNumber, name.c_str());
  } else {
    std::snprintf(line, kLineBytes, "    0x%.8" PRIXPTR " (File and line number not available): %s",
                  address, name.c_str());
  }
  return true;
}

}  // namespace

CallStack::Callback::~Callback() = default;

CallStack::CallStack()
    : _refCount(0), _capacity(kChunkEntries), _size(0), _currentChunk(&_firstChunk), _chunkPosition(0) {
  // The entries are written before they are read; only the link needs a value.
  _firstChunk.next = nullptr;
}

CallStack::~CallStack() {
  CallStackChunk* chunk = _firstChunk.next;
  while (chunk) {
    CallStackChunk* next = chunk->next;
    std::free(chunk);
    chunk = next;
  }
}

CallStack* CallStack::allocate() {
  void* memory = std::malloc(sizeof(CallStack));
  return memory ? new (memory) CallStack : nullptr;
}

CallStack* CallStack::getCallStack() {
  CallStack* stack = allocate();
  if (!stack) return nullptr;
  stack->getStackTrace();
  stack->addRef();
  return stack;
}

CallStack* CallStack::getCallStack_fast() {
  CallStack* stack = allocate();
  if (!stack) return nullptr;
  stack->getStackTrace_fast();
  stack->addRef();
  return stack;
}

void CallStack::addRef() { _refCount.fetch_add(1, std::memory_order_relaxed); }

void CallStack::destroy() {
  if (_refCount.fetch_sub(1, std::memory_order_acq_rel) != 1) return;
  this->~CallStack();
  std::free(this);
}

void CallStack::getStackTrace() {
  platform::unwindStack(
      [](void* stack, std::uintptr_t address) { static_cast<CallStack*>(stack)->push(address); },
      this);
}

// Not inlined, so that the walk starts from a frame of its own whose return
// address leads into getCallStack_fast.
__attribute__((noinline)) void CallStack::getStackTrace_fast() {
  const std::uintptr_t frame = platform::currentFramePointer();
  platform::StackBounds bounds;
  if (!platform::stackBoundsOf(frame, bounds)) return;
  platform::walkFramePointers(frame, bounds, [this](std::uintptr_t address) { push(address); });
}

void CallStack::push(std::uintptr_t address) {
  if (_size == _capacity) {
    auto* chunk = static_cast<CallStackChunk*>(std::malloc(sizeof(CallStackChunk)));
    if (!chunk) return;  // Out of memory: the stack ends here.
    chunk->next = nullptr;
    _currentChunk->next = chunk;
    _currentChunk = chunk;
    _chunkPosition = 0;
    _capacity += kChunkEntries;
  } else if (_chunkPosition == kChunkEntries) {
    // clear() keeps the chunks, so the next one is there.
    _currentChunk = _currentChunk->next;
    _chunkPosition = 0;
  }
  _currentChunk->entries[_chunkPosition++] = address;
  ++_size;
}

void CallStack::clear() {
  _size = 0;
  _currentChunk = &_firstChunk;
  _chunkPosition = 0;
}

std::uintptr_t CallStack::operator[](std::uint32_t index) const {
  const CallStackChunk* chunk = &_firstChunk;
  for (std::uint32_t hops = index / kChunkEntries; hops > 0; --hops) chunk = chunk->next;
  return chunk->entries[index % kChunkEntries];
}

bool CallStack::operator==(const CallStack& other) const {
  if (_size != other._size) return false;
  const CallStackChunk* mine = &_firstChunk;
  const CallStackChunk* theirs = &other._firstChunk;
  for (std::uint32_t i = 0; i < _size; ++i) {
    if (i > 0 && i % kChunkEntries == 0) {
      mine = mine->next;
      theirs = theirs->next;
    }
    if (mine->entries[i % kChunkEntries] != theirs->entries[i % kChunkEntries]) return false;
  }
  return true;
}

void CallStack::dump(Callback& callback) {
  callback.report("Call Stack:");
  const DebugHelper& symbols = DebugHelper::getDebugHelper();
  char line[kLineBytes];
  const CallStackChunk* chunk = &_firstChunk;
  for (std::uint32_t i = 0; i < _size; ++i) {
    if (i > 0 && i % kChunkEntries == 0) chunk = chunk->next;
    if (describeFrame(symbols, chunk->entries[i % kChunkEntries], line)) callback.report(line);
  }
}

void DumpCallStack_VS::report(const char* line) {
  platform::writeToDebugger("\n");
  platform::writeToDebugger(line);
}

void DumpCallStack_Console::report(const char* line) {
  std::printf("\n%s", line);
  std::fflush(stdout);
}

void DumpCallStack_Log::report(const char* line) {
  const String text = StringConvert(reinterpret_cast<const unsigned char*>(line));
  Log::debug(L"%s", text.getBuffer());
}

}  // namespace orvo
