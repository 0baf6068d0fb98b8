// TestDevices.h: byte devices for tests, with knobs for misbehaving.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <vector>

#include <orvo/core/IO.h>

namespace orvo::test {

// A first-in, first-out byte queue. By default it behaves; the public knobs
// make it return short or negative counts, or lie about what is available.
class QueueDevice : public IO {
 public:
  static THandle<QueueDevice> create(std::vector<std::uint8_t> bytes = {}) {
    THandle<QueueDevice> device(new QueueDevice);
    device->bytes = std::move(bytes);
    return device;
  }

  std::vector<std::uint8_t> bytes;
  std::size_t readPosition = 0;
  int maxChunk = 1 << 30;    // Largest count one read or write moves.
  int writeLimit = 1 << 30;  // Bytes the device takes in all before it is full.
  int fakeAvailable = -2;    // Other than -2: what available() claims.
  bool failReads = false;    // read() and peek() return -1.
  bool throwOnRead = false;  // read() throws std::runtime_error.
  int readCalls = 0;
  int writeCalls = 0;

  std::vector<std::uint8_t> unread() const {
    return std::vector<std::uint8_t>(bytes.begin() + static_cast<long>(readPosition), bytes.end());
  }

  int available() const override {
    if (fakeAvailable != -2) return fakeAvailable;
    return static_cast<int>(bytes.size() - readPosition);
  }
  int peek(void* buffer, int size) const override {
    if (failReads) return -1;
    const int n = std::min({size, maxChunk, static_cast<int>(bytes.size() - readPosition)});
    if (n > 0) std::memcpy(buffer, bytes.data() + readPosition, static_cast<std::size_t>(n));
    return n;
  }
  int read(void* buffer, int size) override {
    ++readCalls;
    if (throwOnRead) throw std::runtime_error("device failed");
    const int n = peek(buffer, size);
    if (n > 0) readPosition += static_cast<std::size_t>(n);
    return n;
  }
  int write(const void* buffer, int size) override {
    ++writeCalls;
    const int n = std::min({size, maxChunk, writeLimit});
    if (n <= 0) return n < 0 ? 0 : n;
    const auto* p = static_cast<const std::uint8_t*>(buffer);
    bytes.insert(bytes.end(), p, p + n);
    writeLimit -= n;
    return n;
  }

 protected:
  QueueDevice() = default;
};

}  // namespace orvo::test
