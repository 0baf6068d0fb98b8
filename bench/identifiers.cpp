// Identifier figures, each beside its peer in the same run:
//   MD5 over 1 MiB buffers  vs  OpenSSL's MD5
//   uuid_create             vs  libuuid's uuid_generate_time
#include <benchmark/benchmark.h>

#include <openssl/md5.h>
#include <uuid/uuid.h>

#include <vector>

#include <orvo/core/MD5.h>
#include <orvo/core/Uuid.h>

namespace {

const std::vector<unsigned char>& mebibyte() {
  static const std::vector<unsigned char> data = [] {
    std::vector<unsigned char> bytes(1 << 20);
    for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<unsigned char>(i * 2654435761u >> 24);
    return bytes;
  }();
  return data;
}

void BM_MD5_1MiB_Orvo(benchmark::State& state) {
  const auto& data = mebibyte();
  unsigned char digest[16];
  for (auto _ : state) {
    orvo::MD5Checksum(data.data(), static_cast<int>(data.size()), digest);
    benchmark::DoNotOptimize(digest);
  }
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(data.size()));
}
BENCHMARK(BM_MD5_1MiB_Orvo);

void BM_MD5_1MiB_OpenSSL(benchmark::State& state) {
  const auto& data = mebibyte();
  unsigned char digest[16];
  for (auto _ : state) {
    MD5_CTX context;
    MD5_Init(&context);
    MD5_Update(&context, data.data(), data.size());
    MD5_Final(digest, &context);
    benchmark::DoNotOptimize(digest);
  }
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(data.size()));
}
BENCHMARK(BM_MD5_1MiB_OpenSSL);

void BM_UuidCreate_Orvo(benchmark::State& state) {
  orvo::Uuid id;
  for (auto _ : state) {
    orvo::uuid_create(id);
    benchmark::DoNotOptimize(id);
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_UuidCreate_Orvo);

void BM_UuidCreate_Libuuid(benchmark::State& state) {
  uuid_t id;
  for (auto _ : state) {
    uuid_generate_time(id);
    benchmark::DoNotOptimize(id);
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_UuidCreate_Libuuid);

}  // namespace

BENCHMARK_MAIN();
