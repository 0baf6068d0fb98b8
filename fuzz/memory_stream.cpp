// Drives a MemoryStream with a sequence of writes, reads, peeks, stream-form
// round trips and spells of an unusable temporary directory, each of a size
// taken from the input, and compares every byte it gets back with a plain
// reference queue. The sizes reach past the sixteen blocks that stay in
// memory, so blocks go to the file, come back and have their regions reused.
//
// Each step is three bytes: an operation and a 16-bit size. A write takes
// what the stream says it took into the reference; it may fall short only
// while the temporary directory is unusable. A read or peek must give
// exactly the head of the reference, as much of it as was asked for.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <vector>

#include <orvo/core/MemoryStream.h>

namespace {

using namespace orvo;

// Takes everything written and gives it back in order.
class VectorDevice : public IO {
 public:
  std::vector<std::uint8_t> bytes;
  std::size_t position = 0;
  int available() const override { return static_cast<int>(bytes.size() - position); }
  int peek(void* buffer, int size) const override {
    const int n = size < available() ? size : available();
    if (n > 0) std::memcpy(buffer, bytes.data() + position, static_cast<std::size_t>(n));
    return n < 0 ? 0 : n;
  }
  int read(void* buffer, int size) override {
    const int n = peek(buffer, size);
    position += static_cast<std::size_t>(n);
    return n;
  }
  int write(const void* buffer, int size) override {
    const auto* p = static_cast<const std::uint8_t*>(buffer);
    bytes.insert(bytes.end(), p, p + size);
    return size;
  }
};

[[noreturn]] void fail(const char* what, long got, long expected) {
  std::fprintf(stderr, "%s: got %ld, expected %ld\n", what, got, expected);
  std::abort();
}

class Harness {
 public:
  void step(std::uint8_t operation, int size) {
    switch (operation % 6) {
      case 0:
      case 1:
        write(size * (operation % 2 + 1));
        break;
      case 2:
        take(size, true);
        break;
      case 3:
        take(size, false);
        break;
      case 4:
        roundTrip();
        break;
      default:
        // An unusable directory only matters when a file must be made.
        blocked = !blocked;
        setenv("TMPDIR", blocked ? "/proc/version/none" : "/tmp", 1);
        break;
    }
    if (stream->available() != static_cast<int>(reference.size())) {
      fail("available", stream->available(), static_cast<long>(reference.size()));
    }
  }

 private:
  void write(int size) {
    std::vector<std::uint8_t> bytes(static_cast<std::size_t>(size));
    for (auto& b : bytes) {
      b = static_cast<std::uint8_t>(counter * 131 + counter / 251);
      ++counter;
    }
    const int n = stream->write(bytes.data(), size);
    const int expected = size > 0 ? size : 0;
    if (n != expected && !(blocked && n < expected)) fail("write", n, expected);
    if (n > 0) reference.insert(reference.end(), bytes.begin(), bytes.begin() + n);
  }

  void take(int size, bool consume) {
    std::vector<std::uint8_t> out(static_cast<std::size_t>(size) + 1);
    const int n = consume ? stream->read(out.data(), size) : stream->peek(out.data(), size);
    const long have = static_cast<long>(reference.size());
    long expected = size < have ? size : have;
    if (size > 0 && have == 0 && consume) expected = -1;
    if (n != expected) fail(consume ? "read" : "peek", n, expected);
    for (int i = 0; i < n; ++i) {
      if (out[static_cast<std::size_t>(i)] != reference[static_cast<std::size_t>(i)]) fail("byte", i, -1);
    }
    if (consume && n > 0) reference.erase(reference.begin(), reference.begin() + n);
  }

  // The stream form into another stream, which then takes over.
  void roundTrip() {
    THandle<VectorDevice> device(new VectorDevice);
    OutputStream out(device.get());
    out << *stream;
    THandle<MemoryStream> copy = MemoryStream::createInstance();
    InputStream in(device.get());
    in >> *copy;
    if (copy->available() != static_cast<int>(reference.size())) {
      // Only a copy that could not spill may come up short; the original stays.
      if (!blocked) fail("copy", copy->available(), static_cast<long>(reference.size()));
      return;
    }
    stream = copy;
  }

  THandle<MemoryStream> stream = MemoryStream::createInstance();
  std::deque<std::uint8_t> reference;
  unsigned counter = 0;
  bool blocked = false;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  setenv("TMPDIR", "/tmp", 1);
  Harness harness;
  for (std::size_t i = 0; i + 3 <= size; i += 3) {
    harness.step(data[i], data[i + 1] | (data[i + 2] << 8));
  }
  return 0;
}
