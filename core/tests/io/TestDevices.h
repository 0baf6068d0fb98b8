// TestDevices.h: a byte device with knobs for misbehaving, and the checks
// that the stream tests share.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <stdexcept>

#include <orvo/core/Stream.h>

namespace orvo::test {

using Bytes = std::vector<std::uint8_t>;

// A first-in, first-out byte queue. By default it behaves; the public knobs
// make it return short counts, lie about what is available or throw.
class QueueDevice : public IO {
 public:
  static THandle<QueueDevice> create(Bytes bytes = {}) {
    THandle<QueueDevice> device(new QueueDevice);
    device->bytes = std::move(bytes);
    return device;
  }

  Bytes bytes;  // All that was ever in the queue; the unread part from readPosition.
  std::size_t readPosition = 0;
  int maxChunk = 1 << 30;    // Largest count one read moves.
  int writeLimit = 1 << 30;  // Bytes the device takes in all before it is full.
  int fakeAvailable = -2;    // Other than -2: what available() claims.
  bool throwOnRead = false;
  int largestRead = 0;  // The largest count a read asked for.
  int writeCalls = 0;
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
    largestRead = std::max(largestRead, size);
    if (throwOnRead) throw std::runtime_error("device failed");
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

 protected:
  QueueDevice() = default;
};

// Checks that `step` raises the library's exception with this message, from
// this file.
template <class Step>
void expectRaise(Step step, const wchar_t* message, const wchar_t* file) {
  try {
    step();
    ADD_FAILURE() << "no exception for " << testing::PrintToString(std::wstring(message));
  } catch (const Exception& e) {
    EXPECT_TRUE(e.message == message && e.file == file) << testing::PrintToString(e.message + L" in " + e.file);
    EXPECT_TRUE(e.code == -1 && e.line > 0 && !e.function.empty());
  }
}

template <class Value>
Bytes written(const Value& value) {
  THandle<QueueDevice> device = QueueDevice::create();
  OutputStream out(device.get());
  out << value;
  return device->bytes;
}

// Reads a value from `bytes`, which it must use up.
template <class Value>
Value readBack(const Bytes& bytes) {
  THandle<QueueDevice> device = QueueDevice::create(bytes);
  InputStream in(device.get());
  Value value{};
  in >> value;
  EXPECT_EQ(device->available(), 0);
  return value;
}

}  // namespace orvo::test
