// Reads arbitrary bytes as a mixed sequence of typed values. Each step takes
// a selector byte and then one value of the chosen type; every step either
// succeeds or raises Exception, and the device is never read past its end.
//
// A count in front of a value comes from the sender, so no reader may
// allocate on its word alone: while an input runs, no single allocation may
// exceed a fixed slack plus a small multiple of the input's size. Under a
// sanitizer's allocator the target checks that itself, whatever limit the
// fuzzer is started with.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <orvo/core/Buffer.h>
#include <orvo/core/Stream.h>
#include <orvo/core/String.h>
#include <orvo/core/StringHelper.h>
#include <orvo/core/Uuid.h>
#include <orvo/core/Varint.h>

namespace {

using namespace orvo;

// The fuzz input as a read-only device; it reports exactly what is left.
class BytesDevice : public IO {
 public:
  BytesDevice(const std::uint8_t* data, std::size_t size) : _data(data), _size(size) {}
  int available() const override { return static_cast<int>(_size - _position); }
  int peek(void* buffer, int size) const override {
    const int n = size < available() ? size : available();
    if (n > 0) std::memcpy(buffer, _data + _position, static_cast<std::size_t>(n));
    return n < 0 ? 0 : n;
  }
  int read(void* buffer, int size) override {
    const int n = peek(buffer, size);
    _position += static_cast<std::size_t>(n);
    return n;
  }
  int write(const void*, int size) override { return size; }

 private:
  const std::uint8_t* _data;
  std::size_t _size;
  std::size_t _position = 0;
};

// A sink that takes everything and checks nothing.
class NullDevice : public IO {
 public:
  int available() const override { return 0; }
  int peek(void*, int) const override { return 0; }
  int read(void*, int) override { return 0; }
  int write(const void*, int size) override { return size; }
};

void step(std::uint8_t selector, InputStream& in, OutputStream& echo) {
  switch (selector % 10) {
    case 0: {
      std::int32_t v;
      in >> v;
      echo << v;
      break;
    }
    case 1: {
      std::uint8_t v;
      in >> v;
      break;
    }
    case 2: {
      Varint v;
      in >> v;
      echo << v;
      break;
    }
    case 3: {
      std::int64_t v;
      in >> v;
      echo << v;
      break;
    }
    case 4: {
      Buffer v;
      in >> v;
      echo << v;
      break;
    }
    case 5: {
      Uuid v;
      in >> v;
      echo << v;
      break;
    }
    case 6: {
      String v;
      in >> v;
      echo << v;
      break;
    }
    case 7: {
      StringUtf8 v;
      in >> v;
      echo << v;
      break;
    }
    case 8: {
      StringAnsi v;
      in >> v;
      echo << v;
      break;
    }
    default: {
      // Copies what is left, in one go.
      echo << in;
      break;
    }
  }
}

// The largest allocation one input may make; 0 while no input runs.
std::size_t allocationLimit = 0;

void checkAllocation(const volatile void*, std::size_t size) {
  if (allocationLimit != 0 && size > allocationLimit) {
    std::fprintf(stderr, "allocation of %zu bytes, more than the input can justify (%zu)\n", size, allocationLimit);
    std::abort();
  }
}

void ignoreFree(const volatile void*) {}

}  // namespace

// Provided by the sanitizers' allocator; absent in a build without one.
extern "C" int __sanitizer_install_malloc_and_free_hooks(void (*)(const volatile void*, std::size_t),
                                                         void (*)(const volatile void*)) __attribute__((weak));

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  if (__sanitizer_install_malloc_and_free_hooks) __sanitizer_install_malloc_and_free_hooks(checkAllocation, ignoreFree);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  allocationLimit = (1u << 20) + 4 * size;
  THandle<BytesDevice> device(new BytesDevice(data, size));
  THandle<NullDevice> sink(new NullDevice);
  InputStream in(device.get());
  OutputStream echo(sink.get());
  try {
    while (in.available() > 0) {
      std::uint8_t selector;
      in >> selector;
      step(selector, in, echo);
    }
  } catch (const Exception&) {
    // A malformed value ends the walk; that is the designed outcome.
  }
  allocationLimit = 0;
  return 0;
}
