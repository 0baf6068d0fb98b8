// Frames fed to a PacketReader in pieces over a channel that fails on demand,
// and frames from a PacketWriter. fuzz/packet_reader.cpp tries the pieces
// at random.
#include <gtest/gtest.h>

#include <cstdlib>
#include <tuple>

#include <orvo/core/PacketReader.h>
#include <orvo/core/PacketWriter.h>
#include <orvo/core/String.h>

#include "diagnostics/LogCollector.h"
#include "io/TestDevices.h"

namespace orvo {
namespace {

constexpr const wchar_t* kFailed = L"PacketReader& PacketReader::operator >>(InputStream &) in src/io/Packet";

class PacketTest : public ::testing::Test {
 protected:
  PacketTest() { reader.attach(channel.get()); }
  // Feeds `bytes` and calls the reader once: the packet in hex, "-" if none
  // is complete, or what it raised.
  std::wstring call(const Bytes& bytes = {}, bool failing = false) {
    channel->bytes.insert(channel->bytes.end(), bytes.begin(), bytes.end());
    channel->failing = failing;
    Buffer packet(1);
    try {
      reader >> packet;
      return packet.getBufferSize() > 0 ? packet.convertToHex().getBuffer() : L"-";
    } catch (const Exception& e) {
      return e.message + L" in " + e.file;
    }
  }
  THandle<QueueDevice> channel{new QueueDevice};
  PacketReader reader;
  LogCollector log;
};

TEST_F(PacketTest, FramesComeTogetherOverAnyCallsAndBadOnesAreSkipped) {
  const std::vector<std::tuple<Bytes, bool, std::wstring>> script = {
      {{3}, false, L"-"}, {{0, 0}, false, L"-"}, {{0, 1}, false, L"-"}, {{2, 3}, false, L"010203"},
      {{2, 0, 0, 0, 7, 8, 0, 0, 0, 0, 1, 0, 0, 0, 9}, false, L"0708"},  // A burst: a frame a call,
      {{}, false, L"-"}, {{}, false, L"09"},                             // and the empty one gives none.
      {{0xFF, 0xFF, 0xFF, 0xFF, 1, 0}, false, L"Invalid packet size in src/io/Packet"}, {{}, false, L"-"},
      {{0, 0, 5}, true, kFailed}, {{}, false, L"05"},                                  // Failures keep a partial
      {{2, 0, 0, 0, 1}, false, L"-"}, {{}, true, kFailed}, {{2}, false, L"0102"},      // length or body,
      {{2, 0, 0, 0, 1}, false, L"-"}};                                                 // and so does attach.
  for (const auto& [bytes, failing, expected] : script) EXPECT_EQ(call(bytes, failing), expected);
  reader.attach(new QueueDevice({3}));
  reader = PacketReader(reader);
  EXPECT_EQ(call(), L"0103");
  reader.attach(channel.get());
  call({2, 0, 0, 0, 1});
  EXPECT_TRUE(reader.detach() == channel.get() && reader.attach(channel.get()));
  EXPECT_EQ(call({1, 0, 0, 0, 9, 0, 0, 0, 0, 0xFE, 0xFF, 0xFF, 0xFF}), L"09") << "detach kept the partial packet";
  InputStream out(channel.get());
  Buffer none(1);
  EXPECT_TRUE(reader.read(out) && !out && !reader.read(out) && !out) << "a packet from an empty frame or a bad one";
  EXPECT_TRUE(reader.read(none) && none.getBufferSize() == 0);
  EXPECT_TRUE(log.errors.empty()) << "read must not log";
}

TEST_F(PacketTest, TheWriterReportsWhatFailsAndAPacketThatCannotBeStoredIsDropped) {
  PacketWriter writer;
  writer.attach(channel.get());
  THandle<QueueDevice> source(new QueueDevice({4, 5}));
  InputStream in(source.get());
  EXPECT_TRUE(writer.write(Buffer()) && writer.write(in) && channel->available() == 10 && call() == L"-" && call() == L"0405");
  EXPECT_TRUE(writer.detach() == channel.get() && writer.attach(channel.get()));
  source->fakeAvailable = -1;
  EXPECT_FALSE(writer.write(in));
  EXPECT_EQ(log.errors, Texts({L"OutputStream& operator <<(OutputStream &,InputStream &)"}));
  EXPECT_EQ(call(), L"Invalid packet size in src/io/Packet") << "the length goes out before the copy fails";
  // Without a temporary file a MemoryStream holds 16 blocks, one less than this body.
  const std::string saved = std::getenv("TMPDIR") ? std::getenv("TMPDIR") : "/tmp";
  setenv("TMPDIR", "/nonexistent", 1);
  Bytes huge(4 + 17 * 4096);
  huge[1] = 0x10, huge[2] = 0x01;
  EXPECT_EQ(call(huge), L"Read packet error in src/io/Packet");
  setenv("TMPDIR", saved.c_str(), 1);
  EXPECT_EQ(call({1, 0, 0, 0, 6}), L"06") << "the dropped packet took more than its body";
}

}  // namespace
}  // namespace orvo
