// MemoryBlock: a fixed block of N bytes with a cursor, the storage of the
// memory caches. Reads and writes move the cursor; one that finds no room
// left answers -1, one that finds less than it asked for moves what fits.
#pragma once

#include <algorithm>
#include <cstring>

namespace orvo {

// The count that a transfer of `n` bytes moves where `room` bytes are left:
// at most the room, never negative, and -1 when there is no room at all.
// Blocks in memory and regions of a file share the rule.
constexpr int fitTransfer(int n, int room) noexcept {
  if (n > room) return room < 1 ? -1 : room;
  return n < 0 ? 0 : n;
}

template <int N>
class MemoryBlock {
 public:
  static constexpr int kSize = N;

  int getPosition() const noexcept { return position; }
  // Moves the cursor to `p` clamped to 0..N; the new cursor.
  int setPosition(int p) noexcept {
    position = std::clamp(p, 0, N);
    return position;
  }

  int read(void* dst, int n) noexcept {
    n = fitTransfer(n, N - position);
    if (n > 0) std::memcpy(dst, data + position, static_cast<std::size_t>(n));
    return advance(n);
  }
  int write(const void* src, int n) noexcept {
    n = fitTransfer(n, N - position);
    if (n > 0) std::memcpy(data + position, src, static_cast<std::size_t>(n));
    return advance(n);
  }

  unsigned char* getData() noexcept { return data; }
  const unsigned char* getData() const noexcept { return data; }

 private:
  int advance(int n) noexcept {
    if (n > 0) position += n;
    return n;
  }

  int position = 0;
  unsigned char data[N];  // Not cleared: every byte is written before it is read.
};

}  // namespace orvo
