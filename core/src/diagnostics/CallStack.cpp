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

#include "diagnostics/CallStackFrames.h"
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

CallStack* CallStack::getCallStack() {
  CallStackFrames* stack = CallStackFrames::allocate();
  if (!stack) return nullptr;
  stack->captureWithUnwinder();
  stack->addReference();
  return stack;
}

CallStack* CallStack::getCallStack_fast() {
  CallStackFrames* stack = CallStackFrames::allocate();
  if (!stack) return nullptr;
  stack->captureFramePointers();
  stack->addReference();
  return stack;
}

void CallStack::addRef() { CallStackFrames::of(*this).addReference(); }

void CallStack::destroy() { CallStackFrames::of(*this).release(); }

void CallStack::dump(Callback& callback) {
  callback.report("Call Stack:");
  const DebugHelper& symbols = DebugHelper::getDebugHelper();
  const CallStackFrames& frames = CallStackFrames::of(*this);
  char line[kLineBytes];
  for (std::uint32_t i = 0; i < frames.size(); ++i) {
    if (describeFrame(symbols, frames[i], line)) callback.report(line);
  }
}

CallStackFrames::~CallStackFrames() {
  Chunk* chunk = _firstChunk.next;
  while (chunk) {
    Chunk* next = chunk->next;
    std::free(chunk);
    chunk = next;
  }
}

CallStackFrames* CallStackFrames::allocate() {
  void* memory = std::malloc(sizeof(CallStackFrames));
  return memory ? new (memory) CallStackFrames : nullptr;
}

void* CallStackFrames::mallocChunk(std::size_t bytes) { return std::malloc(bytes); }

void CallStackFrames::release() {
  if (_references.fetch_sub(1, std::memory_order_acq_rel) != 1) return;
  this->~CallStackFrames();
  std::free(this);
}

void CallStackFrames::captureWithUnwinder() {
  platform::unwindStack(
      [](void* stack, std::uintptr_t address) { static_cast<CallStackFrames*>(stack)->push(address); },
      this);
}

// Not inlined, so that the walk starts from a frame of its own whose return
// address leads into getCallStack_fast.
__attribute__((noinline)) void CallStackFrames::captureFramePointers() {
  const std::uintptr_t frame = platform::currentFramePointer();
  platform::StackBounds bounds;
  if (!platform::stackBoundsOf(frame, bounds)) return;
  platform::walkFramePointers(frame, bounds, [this](std::uintptr_t address) { push(address); });
}

void CallStackFrames::push(std::uintptr_t address, ChunkAllocator allocateChunk) {
  if (_ended) return;
  if (_size == _capacity) {
    auto* chunk = static_cast<Chunk*>(allocateChunk(sizeof(Chunk)));
    if (!chunk) {
      _ended = true;
      return;
    }
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

void CallStackFrames::clear() {
  _size = 0;
  _currentChunk = &_firstChunk;
  _chunkPosition = 0;
  _ended = false;
}

std::uintptr_t CallStackFrames::operator[](std::uint32_t index) const {
  const Chunk* chunk = &_firstChunk;
  for (std::uint32_t hops = index / kChunkEntries; hops > 0; --hops) chunk = chunk->next;
  return chunk->entries[index % kChunkEntries];
}

bool CallStackFrames::operator==(const CallStackFrames& other) const {
  if (_size != other._size) return false;
  const Chunk* mine = &_firstChunk;
  const Chunk* theirs = &other._firstChunk;
  for (std::uint32_t i = 0; i < _size; ++i) {
    if (i > 0 && i % kChunkEntries == 0) {
      mine = mine->next;
      theirs = theirs->next;
    }
    if (mine->entries[i % kChunkEntries] != theirs->entries[i % kChunkEntries]) return false;
  }
  return true;
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
