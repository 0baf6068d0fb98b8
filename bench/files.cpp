// File figures, each beside its peer in the same run:
//   64 MiB read through File::read in 4 KiB calls  vs  fread in 4 KiB calls.
//   64 MiB written through File::write in 4 KiB calls  vs  fwrite likewise.
//   calcFileMd5 of a 64 MiB file in the page cache  vs  MD5Checksum of the
//   same bytes in memory.
// The files lie in $TMPDIR (else /tmp) and are removed at the end.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include <orvo/core/Buffer.h>
#include <orvo/core/File.h>
#include <orvo/core/MD5.h>

namespace {

using namespace orvo;

constexpr int kFileBytes = 64 << 20;
constexpr int kStep = 4096;

std::string scratchName(const char* leaf) {
  const char* directory = std::getenv("TMPDIR");
  return std::string(directory && *directory ? directory : "/tmp") + "/" + leaf;
}

String wideName(const std::string& name) { return String(std::wstring(name.begin(), name.end()).c_str()); }

const std::vector<unsigned char>& fileBytes() {
  static const std::vector<unsigned char> bytes = [] {
    std::vector<unsigned char> b(kFileBytes);
    for (std::size_t i = 0; i < b.size(); ++i) b[i] = static_cast<unsigned char>(i * 131 + (i >> 12));
    return b;
  }();
  return bytes;
}

// The file that the read and digest figures read, written once.
const std::string& sourceFile() {
  static const std::string name = [] {
    std::string path = scratchName("orvo-bench-source");
    std::FILE* file = std::fopen(path.c_str(), "wb");
    std::fwrite(fileBytes().data(), 1, fileBytes().size(), file);
    std::fclose(file);
    return path;
  }();
  return name;
}

void setBytes(benchmark::State& state) { state.SetBytesProcessed(state.iterations() * kFileBytes); }

void BM_File_Read4KiB(benchmark::State& state) {
  const String name = wideName(sourceFile());
  std::vector<unsigned char> step(kStep);
  for (auto _ : state) {
    THandle<File> file = File::createInstance();
    file->open(name, File::OPEN_READ);
    for (int done = 0; done < kFileBytes; done += kStep) benchmark::DoNotOptimize(file->read(step.data(), kStep));
  }
  setBytes(state);
}
BENCHMARK(BM_File_Read4KiB)->Unit(benchmark::kMillisecond);

void BM_Fread_Read4KiB(benchmark::State& state) {
  std::vector<unsigned char> step(kStep);
  for (auto _ : state) {
    std::FILE* file = std::fopen(sourceFile().c_str(), "rb");
    for (int done = 0; done < kFileBytes; done += kStep) {
      benchmark::DoNotOptimize(std::fread(step.data(), 1, kStep, file));
    }
    std::fclose(file);
  }
  setBytes(state);
}
BENCHMARK(BM_Fread_Read4KiB)->Unit(benchmark::kMillisecond);

void BM_File_Write4KiB(benchmark::State& state) {
  const String name = wideName(scratchName("orvo-bench-written"));
  const unsigned char* bytes = fileBytes().data();
  for (auto _ : state) {
    THandle<File> file = File::createInstance();
    file->open(name, File::OPEN_WRITE | File::OPEN_CREATE);
    for (int done = 0; done < kFileBytes; done += kStep) benchmark::DoNotOptimize(file->write(bytes + done, kStep));
  }
  setBytes(state);
}
BENCHMARK(BM_File_Write4KiB)->Unit(benchmark::kMillisecond);

void BM_Fwrite_Write4KiB(benchmark::State& state) {
  const std::string name = scratchName("orvo-bench-written");
  const unsigned char* bytes = fileBytes().data();
  for (auto _ : state) {
    std::FILE* file = std::fopen(name.c_str(), "wb");
    for (int done = 0; done < kFileBytes; done += kStep) {
      benchmark::DoNotOptimize(std::fwrite(bytes + done, 1, kStep, file));
    }
    std::fclose(file);
  }
  setBytes(state);
}
BENCHMARK(BM_Fwrite_Write4KiB)->Unit(benchmark::kMillisecond);

void BM_CalcFileMd5_64MiB(benchmark::State& state) {
  const String name = wideName(sourceFile());
  Buffer digest;
  for (auto _ : state) benchmark::DoNotOptimize(calcFileMd5(name, digest));
  setBytes(state);
}
BENCHMARK(BM_CalcFileMd5_64MiB)->Unit(benchmark::kMillisecond);

void BM_MD5Checksum_64MiBInMemory(benchmark::State& state) {
  unsigned char digest[16];
  for (auto _ : state) {
    MD5Checksum(fileBytes().data(), kFileBytes, digest);
    benchmark::DoNotOptimize(digest);
  }
  setBytes(state);
}
BENCHMARK(BM_MD5Checksum_64MiBInMemory)->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  std::remove(scratchName("orvo-bench-source").c_str());
  std::remove(scratchName("orvo-bench-written").c_str());
  return 0;
}
