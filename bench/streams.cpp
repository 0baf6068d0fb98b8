// Stream figures, each beside its peer in the same run:
//   Varint write and read of 1M mixed values through OutputStream and
//   InputStream on an in-memory device  vs  protobuf's CodedOutputStream /
//   CodedInputStream with zig-zag on the same values.
//   A String of 4096 characters written and read back (bytes on the wire per
//   second; the target is 1 GB/s).
#include <benchmark/benchmark.h>

#include <google/protobuf/io/coded_stream.h>
#include <google/protobuf/io/zero_copy_stream_impl_lite.h>
#include <google/protobuf/wire_format_lite.h>

#include <cstring>
#include <random>
#include <vector>

#include <orvo/core/Stream.h>
#include <orvo/core/String.h>
#include <orvo/core/Varint.h>

namespace {

using namespace orvo;

// A plain growable byte queue: the cheapest device there can be.
class VectorDevice : public IO {
 public:
  std::vector<unsigned char> bytes;
  std::size_t position = 0;

  int available() const override { return static_cast<int>(bytes.size() - position); }
  int peek(void* buffer, int size) const override {
    const int n = std::min(size, available());
    std::memcpy(buffer, bytes.data() + position, static_cast<std::size_t>(n));
    return n;
  }
  int read(void* buffer, int size) override {
    const int n = peek(buffer, size);
    position += static_cast<std::size_t>(n);
    return n;
  }
  int write(const void* buffer, int size) override {
    const auto* p = static_cast<const unsigned char*>(buffer);
    bytes.insert(bytes.end(), p, p + size);
    return size;
  }
};

constexpr int kValues = 1000000;

// Mostly small values, as identifiers and lengths are, with some of every size.
const std::vector<std::int32_t>& mixedValues() {
  static const std::vector<std::int32_t> values = [] {
    std::mt19937 random(42);
    std::vector<std::int32_t> v(kValues);
    for (auto& value : v) {
      const int bits = static_cast<int>(random() % 32);
      value = static_cast<std::int32_t>(random() >> (31 - bits)) * ((random() & 1) ? 1 : -1);
    }
    return v;
  }();
  return values;
}

void BM_Varint_WriteRead_Orvo(benchmark::State& state) {
  const auto& values = mixedValues();
  for (auto _ : state) {
    THandle<VectorDevice> device(new VectorDevice);
    device->bytes.reserve(values.size() * 5);
    OutputStream out(device.get());
    for (std::int32_t value : values) out << Varint(value);
    InputStream in(device.get());
    std::int32_t sum = 0;
    for (std::size_t i = 0; i < values.size(); ++i) {
      Varint v;
      in >> v;
      sum += v;
    }
    benchmark::DoNotOptimize(sum);
  }
  state.SetItemsProcessed(state.iterations() * kValues);
}
BENCHMARK(BM_Varint_WriteRead_Orvo)->Unit(benchmark::kMillisecond);

void BM_Varint_WriteRead_Protobuf(benchmark::State& state) {
  using google::protobuf::internal::WireFormatLite;
  const auto& values = mixedValues();
  std::vector<unsigned char> storage(values.size() * 5);
  for (auto _ : state) {
    int size = 0;
    {
      google::protobuf::io::ArrayOutputStream array(storage.data(), static_cast<int>(storage.size()));
      google::protobuf::io::CodedOutputStream out(&array);
      for (std::int32_t value : values) out.WriteVarint32(WireFormatLite::ZigZagEncode32(value));
      size = static_cast<int>(out.ByteCount());
    }
    google::protobuf::io::CodedInputStream in(storage.data(), size);
    std::int32_t sum = 0;
    for (std::size_t i = 0; i < values.size(); ++i) {
      std::uint32_t z;
      in.ReadVarint32(&z);
      sum += WireFormatLite::ZigZagDecode32(z);
    }
    benchmark::DoNotOptimize(sum);
  }
  state.SetItemsProcessed(state.iterations() * kValues);
}
BENCHMARK(BM_Varint_WriteRead_Protobuf)->Unit(benchmark::kMillisecond);

void BM_String4096_WriteRead(benchmark::State& state) {
  std::wstring text;
  for (int i = 0; i < 4096; ++i) text += static_cast<wchar_t>(L'a' + i % 26);
  const String original(text.c_str());
  THandle<VectorDevice> device(new VectorDevice);
  device->bytes.reserve(16384);
  OutputStream out(device.get());
  InputStream in(device.get());
  for (auto _ : state) {
    device->bytes.clear();
    device->position = 0;
    out << original;
    String back;
    in >> back;
    benchmark::DoNotOptimize(back);
  }
  state.SetBytesProcessed(state.iterations() * (4 + 2 * 4096));
}
BENCHMARK(BM_String4096_WriteRead);

}  // namespace

BENCHMARK_MAIN();
