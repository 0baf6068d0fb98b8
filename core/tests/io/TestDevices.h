// TestDevices.h: a byte queue for tests of the stream forms, whose knobs make
// it misbehave, and a check for the library's exception.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include <orvo/core/Exception.h>
#include <orvo/core/IO.h>

namespace orvo {

using Bytes = std::vector<std::uint8_t>;

// A first-in, first-out byte queue. By default it behaves; the public knobs
// make it return short counts, fail its reads, lie about what is available or
// act on each call.
class QueueDevice : public IO {
 public:
  explicit QueueDevice(Bytes bytes = {}) : bytes(std::move(bytes)) {}

  Bytes bytes;  // All that was ever in the queue; the unread part from readPosition.
  std::size_t readPosition = 0;
  int maxChunk = 1 << 30;    // Largest count one read moves.
  int writeLimit = 1 << 30;  // Bytes the device takes in all before it is full.
  int fakeAvailable = -2;    // Other than -2: what available() claims.
  bool failing = false;      // Makes read() answer -1.
  int largestRead = 0, writeCalls = 0;  // The largest count a read asked for; the writes.
  std::function<void()> onCall;  // Runs at the start of every operation.

  int available() const override {
    if (onCall) onCall();
    return fakeAvailable != -2 ? fakeAvailable : static_cast<int>(bytes.size() - readPosition);
  }
  int peek(void* buffer, int size) const override {
    if (onCall) onCall();
    const int n = std::max(0, std::min({size, maxChunk, static_cast<int>(bytes.size() - readPosition)}));
    std::copy_n(bytes.begin() + static_cast<long>(readPosition), n, static_cast<std::uint8_t*>(buffer));
    return n;
  }
  int read(void* buffer, int size) override {
    if (failing) return -1;
    largestRead = std::max(largestRead, size);
    const int n = peek(buffer, size);
    readPosition += static_cast<std::size_t>(n);
    return n;
  }
  int write(const void* buffer, int size) override {
    if (onCall) onCall();
    ++writeCalls;
    const int n = std::max(0, std::min(size, writeLimit));
    bytes.insert(bytes.end(), static_cast<const std::uint8_t*>(buffer), static_cast<const std::uint8_t*>(buffer) + n);
    writeLimit -= n;
    return n;
  }
};

// Checks that `step` raises the library's exception with this message, from
// this file.
template <class Step>
void expectRaise(Step step, const wchar_t* message, const wchar_t* file) {
  try {
    step();
    ADD_FAILURE() << "no exception for " << testing::PrintToString(std::wstring(message));
  } catch (const Exception& e) {
    EXPECT_TRUE(e.message == message && e.file == file && e.code == -1) << testing::PrintToString(e.message + L" in " + e.file);
  }
}

}  // namespace orvo
