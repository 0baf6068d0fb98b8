#include <orvo/core/Buffer.h>

#include <cstring>
#include <new>
#include <utility>

namespace orvo {

Buffer::Buffer(int size) { setBufferSize(size); }

Buffer::Buffer(const Buffer& other) { *this = other; }

Buffer::Buffer(Buffer&& other) noexcept
    : bufferSize(std::exchange(other.bufferSize, 0)), buffer(std::exchange(other.buffer, nullptr)) {}

Buffer::~Buffer() { delete[] buffer; }

int Buffer::setBufferSize(int size) {
  if (size == bufferSize) return bufferSize;
  delete[] buffer;
  buffer = nullptr;
  bufferSize = 0;
  if (size > 0) {
    buffer = new (std::nothrow) unsigned char[static_cast<std::size_t>(size)];
    if (buffer) bufferSize = size;
  }
  return bufferSize;
}

Buffer& Buffer::operator=(const Buffer& other) {
  if (&other == this) return *this;
  if (setBufferSize(other.bufferSize) == other.bufferSize && bufferSize > 0) {
    std::memcpy(buffer, other.buffer, static_cast<std::size_t>(bufferSize));
  }
  return *this;
}

Buffer& Buffer::operator=(Buffer&& other) noexcept {
  if (&other != this) {
    delete[] buffer;
    bufferSize = std::exchange(other.bufferSize, 0);
    buffer = std::exchange(other.buffer, nullptr);
  }
  return *this;
}

bool Buffer::operator==(const Buffer& other) const noexcept {
  if (bufferSize != other.bufferSize) return false;
  if (buffer == other.buffer) return true;
  return std::memcmp(buffer, other.buffer, static_cast<std::size_t>(bufferSize)) == 0;
}

}  // namespace orvo
