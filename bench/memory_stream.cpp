// MemoryStream figures, each beside its peer in the same run:
//   A FIFO with 28 to 32 KiB queued, one 4 KiB write and one 4 KiB read an
//   iteration  vs  memcpy of the same 4 KiB into and out of a 32 KiB ring
//   (the two copies any queue makes), and  vs  one memcpy of 4 KiB.
//   64 MiB queued in 4 KiB writes, so that all but sixteen blocks go to the
//   temporary file, then read out in 4 KiB reads  vs  fwrite of the same
//   bytes to a temporary file in 4 KiB calls, then fread back in 4 KiB calls.
#include <benchmark/benchmark.h>

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include <orvo/core/MemoryStream.h>

namespace {

using namespace orvo;

constexpr int kChunk = 4096;
constexpr int kQueued = 28 * 1024;
constexpr int kSpilled = 64 * 1024 * 1024;

std::vector<unsigned char> source(std::size_t size) {
  std::vector<unsigned char> bytes(size);
  for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<unsigned char>(i * 13);
  return bytes;
}

void BM_MemoryStream_Fifo4KiB(benchmark::State& state) {
  const std::vector<unsigned char> in = source(kChunk);
  std::vector<unsigned char> out(kChunk);
  THandle<MemoryStream> queue = MemoryStream::createInstance();
  const std::vector<unsigned char> backlog = source(kQueued);
  queue->write(backlog.data(), kQueued);
  for (auto _ : state) {
    queue->write(in.data(), kChunk);
    benchmark::DoNotOptimize(queue->read(out.data(), kChunk));
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * kChunk);
}
BENCHMARK(BM_MemoryStream_Fifo4KiB);

void BM_Memcpy_Ring4KiB(benchmark::State& state) {
  const std::vector<unsigned char> in = source(kChunk);
  std::vector<unsigned char> out(kChunk), ring(kQueued + kChunk);
  std::size_t head = 0, tail = kQueued;
  for (auto _ : state) {
    std::memcpy(ring.data() + tail, in.data(), kChunk);
    tail = (tail + kChunk) % ring.size();
    std::memcpy(out.data(), ring.data() + head, kChunk);
    head = (head + kChunk) % ring.size();
    benchmark::DoNotOptimize(out.data());
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * kChunk);
}
BENCHMARK(BM_Memcpy_Ring4KiB);

void BM_Memcpy_Once4KiB(benchmark::State& state) {
  const std::vector<unsigned char> in = source(kChunk);
  std::vector<unsigned char> out(kChunk);
  for (auto _ : state) {
    std::memcpy(out.data(), in.data(), kChunk);
    benchmark::DoNotOptimize(out.data());
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * kChunk);
}
BENCHMARK(BM_Memcpy_Once4KiB);

void BM_MemoryStream_Spill64MiB(benchmark::State& state) {
  const std::vector<unsigned char> in = source(kChunk);
  std::vector<unsigned char> out(kChunk);
  for (auto _ : state) {
    THandle<MemoryStream> queue = MemoryStream::createInstance();
    for (int done = 0; done < kSpilled; done += kChunk) queue->write(in.data(), kChunk);
    for (int done = 0; done < kSpilled; done += kChunk) {
      if (queue->read(out.data(), kChunk) != kChunk) state.SkipWithError("short read");
    }
  }
  state.SetBytesProcessed(state.iterations() * kSpilled);
}
BENCHMARK(BM_MemoryStream_Spill64MiB)->Unit(benchmark::kMillisecond);

// The same file traffic through the C library, in the same directory as the
// stream's temporary file.
void BM_Stdio_WriteRead64MiB(benchmark::State& state) {
  const std::vector<unsigned char> in = source(kChunk);
  std::vector<unsigned char> out(kChunk);
  const char* directory = std::getenv("TMPDIR");
  for (auto _ : state) {
    std::string name = std::string(directory && *directory ? directory : "/tmp") + "/bench-XXXXXX";
    const int descriptor = mkstemp(name.data());
    std::FILE* file = fdopen(descriptor, "w+b");
    for (int done = 0; done < kSpilled; done += kChunk) std::fwrite(in.data(), 1, kChunk, file);
    std::rewind(file);
    for (int done = 0; done < kSpilled; done += kChunk) {
      if (std::fread(out.data(), 1, kChunk, file) != kChunk) state.SkipWithError("short read");
    }
    std::fclose(file);
    std::remove(name.c_str());
  }
  state.SetBytesProcessed(state.iterations() * kSpilled);
}
BENCHMARK(BM_Stdio_WriteRead64MiB)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
