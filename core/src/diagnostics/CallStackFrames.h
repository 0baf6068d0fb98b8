// CallStackFrames.h: what a CallStack holds, the return addresses of one
// capture, and the operations on them that the public class keeps to itself.
//
// The addresses sit in chunks of 32: the first inside the object, the others
// allocated one at a time as the stack grows, so that a stack of up to 32
// frames costs a single allocation and depth has no fixed limit. Every
// CallStack is a CallStackFrames; of() gives that view of it. The library's
// tests use this header to build stacks of their own.
//
// A stack is filled on one thread and only read afterwards; the reference
// count is the only part that threads may change together.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

#include <orvo/core/CallStack.h>

namespace orvo {

class CallStackFrames final : public CallStack {
 public:
  using ChunkAllocator = void* (*)(std::size_t bytes);
  static constexpr std::uint32_t kChunkEntries = 32;

  // An empty stack with a reference count of 0, or null without memory.
  static CallStackFrames* allocate();
  static CallStackFrames& of(CallStack& stack) { return static_cast<CallStackFrames&>(stack); }
  static const CallStackFrames& of(const CallStack& stack) {
    return static_cast<const CallStackFrames&>(stack);
  }

  // Appends `address`, taking a new chunk from `allocateChunk` when the
  // chunks are full. Without memory for one the stack ends there: that
  // address and every later one are dropped until clear(), so that the
  // stack never has a gap.
  void push(std::uintptr_t address, ChunkAllocator allocateChunk = &mallocChunk);
  // Empties the stack and keeps its chunks for the next pushes.
  void clear();

  void captureWithUnwinder();
  void captureFramePointers();

  void addReference() { _references.fetch_add(1, std::memory_order_relaxed); }
  // Gives up one reference; the last one frees the stack.
  void release();

  std::uint32_t size() const { return _size; }
  std::uint32_t capacity() const { return _capacity; }
  std::int32_t references() const { return _references.load(std::memory_order_relaxed); }
  std::uintptr_t operator[](std::uint32_t index) const;
  bool operator==(const CallStackFrames& other) const;

 private:
  struct Chunk {
    Chunk* next;
    std::uintptr_t entries[kChunkEntries];
  };

  static void* mallocChunk(std::size_t bytes);

  CallStackFrames() { _firstChunk.next = nullptr; }  // Entries are written before they are read.
  ~CallStackFrames();

  std::atomic<std::int32_t> _references{0};
  std::uint32_t _capacity = kChunkEntries;
  std::uint32_t _size = 0;
  Chunk _firstChunk;
  Chunk* _currentChunk = &_firstChunk;
  std::uint32_t _chunkPosition = 0;
  bool _ended = false;  // A chunk could not be had.
};

}  // namespace orvo
