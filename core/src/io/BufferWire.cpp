// Reading the wire form of a Buffer. The size in front comes from the sender,
// so a large block is not allocated on its word: it grows with the bytes that
// actually arrive, and a size with nothing behind it costs one first step.
#include <orvo/core/Buffer.h>

#include <algorithm>
#include <cstring>
#include <utility>

#include "io/ReadStep.h"

namespace orvo::detail {
namespace {

// Blocks up to this size are allocated at once; larger ones grow from it,
// doubling with each step.
constexpr int kFirstStep = 64 * 1024;

// Reads `size` bytes, more than the first step, into a block that grows with
// them; on a short read the buffer is left empty.
bool readGrowing(InputStream& in, std::int32_t size, Buffer& buffer) {
  Buffer arrived;
  while (arrived.getBufferSize() < size) {
    const int have = arrived.getBufferSize();
    const int step = nextReadStep(have, static_cast<int>(size), kFirstStep);
    Buffer bigger;
    if (bigger.setBufferSize(have + step) != have + step) break;
    if (have > 0) std::memcpy(bigger.getBuffer(), arrived.getBuffer(), static_cast<std::size_t>(have));
    if (in.read(static_cast<unsigned char*>(bigger.getBuffer()) + have, step) != step) break;
    arrived = std::move(bigger);
  }
  const bool complete = arrived.getBufferSize() == size;
  buffer = complete ? std::move(arrived) : Buffer();
  return complete;
}

}  // namespace

bool readBufferBytes(InputStream& in, std::int32_t size, Buffer& buffer) {
  // A block of the same size is there already and is read into as it is.
  if (size <= kFirstStep || size == buffer.getBufferSize()) {
    return buffer.setBufferSize(size) == size && in.read(buffer.getBuffer(), size) == size;
  }
  return readGrowing(in, size, buffer);
}

}  // namespace orvo::detail
