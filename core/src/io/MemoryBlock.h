// MemoryBlock: a fixed block of N bytes with a cursor, the storage of the
// memory caches. Reads and writes move the cursor; one that finds no room
// left answers -1, one that finds less than it asked for moves what fits.
#pragma once

#include <cstring>

namespace orvo {

template <int N>
class MemoryBlock {
 public:
  static constexpr int kSize = N;

  int getPosition() const noexcept { return position; }
  // Moves the cursor to `p` clamped to 0..N; the new cursor.
  int setPosition(int p) noexcept {
    position = p < 0 ? 0 : (p > N ? N : p);
    return position;
  }

  int read(void* dst, int n) noexcept {
    n = fit(n);
    if (n > 0) std::memcpy(dst, data + position, static_cast<std::size_t>(n));
    return advance(n);
  }
  int write(const void* src, int n) noexcept {
    n = fit(n);
    if (n > 0) std::memcpy(data + position, src, static_cast<std::size_t>(n));
    return advance(n);
  }

  unsigned char* getData() noexcept { return data; }
  const unsigned char* getData() const noexcept { return data; }

 private:
  // The count that a transfer of `n` bytes moves: at most the room behind the
  // cursor, never negative, and -1 when a transfer finds no room at all.
  int fit(int n) const noexcept {
    const int room = N - position;
    if (n > room) return room < 1 ? -1 : room;
    return n < 0 ? 0 : n;
  }
  int advance(int n) noexcept {
    if (n > 0) position += n;
    return n;
  }

  int position = 0;
  unsigned char data[N];  // Not cleared: every byte is written before it is read.
};

}  // namespace orvo
