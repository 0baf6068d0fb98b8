// Packet figure, beside its peer in the same run:
//   1M packets of 100 bytes written with PacketWriter into a MemoryStream and
//   put back together by PacketReader, each read out of its packet (time per
//   packet; the target is 2M packets per second, 500 ns a packet)  vs  the
//   same frames cut by hand from a std::vector byte queue into one
//   std::vector per packet.
// Packets go in bursts of 250, 26 000 bytes, which a MemoryStream holds in
// memory: the figure is the framing, not the stream's temporary file.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstring>
#include <vector>

#include <orvo/core/MemoryStream.h>
#include <orvo/core/PacketReader.h>
#include <orvo/core/PacketWriter.h>

namespace {

using namespace orvo;

constexpr int kPackets = 1000000;
constexpr int kBurst = 250;
constexpr int kPacketSize = 100;

void countPackets(benchmark::State& state) {
  state.counters["ns_per_packet"] = benchmark::Counter(static_cast<double>(state.iterations()) * kPackets,
                                                       benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

void BM_Packets_WriterReader(benchmark::State& state) {
  const THandle<MemoryStream> channel = MemoryStream::createInstance();
  PacketWriter writer;
  writer.attach(channel.get());
  PacketReader reader;
  reader.attach(channel.get());
  Buffer payload(kPacketSize);
  std::memset(payload.getBuffer(), 0x5A, kPacketSize);
  unsigned char received[kPacketSize];
  for (auto _ : state) {
    for (int sent = 0; sent < kPackets; sent += kBurst) {
      for (int i = 0; i < kBurst; ++i) writer << payload;
      for (int i = 0; i < kBurst; ++i) {
        InputStream packet;
        reader >> packet;
        if (!packet || packet.read(received, kPacketSize) != kPacketSize) {
          state.SkipWithError("a packet went missing");
          return;
        }
        benchmark::DoNotOptimize(received);
      }
    }
  }
  countPackets(state);
}
BENCHMARK(BM_Packets_WriterReader)->Unit(benchmark::kMillisecond);

// The peer: a length and the bytes appended to a vector, and cut out of it
// again into a vector of their own.
void BM_Packets_HandFramedVector(benchmark::State& state) {
  std::vector<unsigned char> channel;
  std::size_t readPosition = 0;
  const std::vector<unsigned char> payload(kPacketSize, 0x5A);
  for (auto _ : state) {
    for (int sent = 0; sent < kPackets; sent += kBurst) {
      channel.clear();
      readPosition = 0;
      for (int i = 0; i < kBurst; ++i) {
        const std::int32_t length = kPacketSize;
        const auto* bytes = reinterpret_cast<const unsigned char*>(&length);
        channel.insert(channel.end(), bytes, bytes + sizeof length);
        channel.insert(channel.end(), payload.begin(), payload.end());
      }
      for (int i = 0; i < kBurst; ++i) {
        std::int32_t length;
        std::memcpy(&length, channel.data() + readPosition, sizeof length);
        readPosition += sizeof length;
        std::vector<unsigned char> packet(channel.data() + readPosition, channel.data() + readPosition + length);
        readPosition += static_cast<std::size_t>(length);
        benchmark::DoNotOptimize(packet.data());
      }
    }
  }
  countPackets(state);
}
BENCHMARK(BM_Packets_HandFramedVector)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
