// MemoryStream: the queue across memory and file blocks, the shape of its
// cache list, its stream form, and its failures made to happen for real.
#include <gtest/gtest.h>

#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <random>

#include <orvo/core/ClassFactory.h>
#include <orvo/core/File.h>
#include <orvo/core/MemoryStream.h>
#include <orvo/core/StringHelper.h>

#include "diagnostics/LogCollector.h"
#include "io/MemoryStreamCaches.h"
#include "io/TestDevices.h"

namespace orvo {
namespace {

using Probe = MemoryStreamInspector;
constexpr int kBlock = 4096;

Bytes pattern(std::size_t size, unsigned seed = 1) {
  Bytes bytes(size);
  for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<std::uint8_t>(i * seed + i / 4093);
  return bytes;
}

Bytes readAll(MemoryStream& s, int step) {
  Bytes out;
  Bytes chunk(static_cast<std::size_t>(step));
  for (int n; (n = s.read(chunk.data(), step)) > 0;) out.insert(out.end(), chunk.begin(), chunk.begin() + n);
  return out;
}

std::string fileName(const MemoryStream& s) {
  return reinterpret_cast<const char*>(StringHelper::wideToUtf8(Probe::file(s)->getFileName()).getBuffer());
}

// Types of the cache list from the head, 'm' for memory and 'f' for file.
std::string shape(const MemoryStream& s) {
  std::string types;
  for (int i = 0; i < Probe::entries(s); ++i) types += Probe::typeAt(s, i) == 0 ? 'm' : 'f';
  return types;
}

class MemoryStreamTest : public testing::Test {
 protected:
  // A temporary directory of the test's own, so that files can be seen.
  void SetUp() override {
    directory = std::filesystem::temp_directory_path() / ("orvo-ms-" + std::to_string(getpid()));
    std::filesystem::create_directories(directory);
    setenv("TMPDIR", directory.c_str(), 1);
  }
  void TearDown() override {
    std::filesystem::remove_all(directory);
    unsetenv("TMPDIR");
  }
  int write(const Bytes& bytes) { return s->write(bytes.data(), static_cast<int>(bytes.size())); }
  std::size_t files() const {
    return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator(directory), {}));
  }

  std::filesystem::path directory;
  THandle<MemoryStream> s = MemoryStream::createInstance();
};

TEST_F(MemoryStreamTest, EmptyStreamAndCountsBelowOne) {
  std::uint8_t byte = 0;
  EXPECT_EQ(s->read(&byte, 1), -1);
  EXPECT_EQ(s->peek(&byte, 1), 0);
  EXPECT_EQ(s->available(), 0);
  s->write("ab", 2);
  for (int n : {0, -1}) {
    EXPECT_EQ(s->read(&byte, n), 0);
    EXPECT_EQ(s->peek(&byte, n), 0);
    EXPECT_EQ(s->write(&byte, n), 0);
  }
  EXPECT_EQ(s->available(), 2);
  EXPECT_EQ(readAll(*s, 5), (Bytes{'a', 'b'}));
}

TEST_F(MemoryStreamTest, SixteenBlocksStayInMemoryAndTheNextSpills) {
  const Bytes bytes = pattern(100000);
  ASSERT_EQ(s->write(bytes.data(), 16 * kBlock), 16 * kBlock);
  EXPECT_EQ(shape(*s), std::string(16, 'm'));
  EXPECT_EQ(files(), 0u);
  ASSERT_EQ(s->write(bytes.data() + 16 * kBlock, 1), 1);
  EXPECT_EQ(shape(*s), std::string(15, 'm') + "fm");
  const std::string name = fileName(*s);
  EXPECT_EQ(std::filesystem::file_size(name), std::size_t(kBlock));
  ASSERT_EQ(s->write(bytes.data() + 16 * kBlock + 1, 100000 - 16 * kBlock - 1), 100000 - 16 * kBlock - 1);
  EXPECT_EQ(shape(*s), std::string(15, 'm') + std::string(100000 / kBlock - 15, 'f') + "m");
  EXPECT_EQ(Probe::memoryCaches(*s), 16);
  Bytes seen(100000);
  EXPECT_EQ(s->peek(seen.data(), 200000), 100000);
  EXPECT_EQ(seen, bytes);
  EXPECT_EQ(readAll(*s, 1000), bytes);
  EXPECT_EQ(Probe::entries(*s) + Probe::memoryCaches(*s) + Probe::fileCaches(*s), 0);
  EXPECT_FALSE(std::filesystem::exists(name));
}

TEST_F(MemoryStreamTest, PartialReadBringsAFileBlockBackAndItsRegionIsReused) {
  const Bytes bytes = pattern(21 * kBlock, 3);
  ASSERT_EQ(write(bytes), 21 * kBlock);
  Bytes out(15 * kBlock);
  ASSERT_EQ(s->read(out.data(), 15 * kBlock), 15 * kBlock);
  out.clear();
  EXPECT_EQ(shape(*s), "fffffm");
  std::uint8_t byte;
  for (int i = 0; i < kBlock; ++i) {
    ASSERT_EQ(s->read(&byte, 1), 1);
    out.push_back(byte);
    if (i == 0) {
      EXPECT_EQ(shape(*s), "mffffm");
    }
  }
  EXPECT_EQ(Probe::freeFileCaches(*s), 1);
  // Back at sixteen blocks in memory, the next spill fills the free region
  // instead of growing the file.
  const Bytes more = pattern(16 * kBlock, 5);
  ASSERT_EQ(write(more), 16 * kBlock);
  EXPECT_EQ(shape(*s), "ffff" + std::string(15, 'm') + "fm");
  EXPECT_EQ(Probe::freeFileCaches(*s), 0);
  EXPECT_EQ(std::filesystem::file_size(fileName(*s)), std::size_t(5 * kBlock));
  const Bytes rest = readAll(*s, 3000);
  out.insert(out.end(), rest.begin(), rest.end());
  Bytes expected(bytes.begin() + 15 * kBlock, bytes.end());
  expected.insert(expected.end(), more.begin(), more.end());
  EXPECT_EQ(out, expected);
}

TEST_F(MemoryStreamTest, ABlockReadEmptyIsDroppedEvenWithRoomLeft) {
  Bytes ten(10);
  s->write(ten.data(), 10);
  s->read(ten.data(), 10);
  EXPECT_EQ(Probe::entries(*s), 0);
  s->write(ten.data(), 10);
  EXPECT_EQ(shape(*s), "m");
}

TEST_F(MemoryStreamTest, InterleavedTrafficKeepsOrder) {
  std::mt19937 random(7);
  Bytes reference;
  std::size_t head = 0;
  unsigned counter = 0;
  for (int round = 0; round < 400; ++round) {
    Bytes chunk(random() % 9000);
    for (auto& b : chunk) b = static_cast<std::uint8_t>(counter++ * 31);
    ASSERT_EQ(write(chunk), chunk.empty() ? 0 : int(chunk.size()));
    reference.insert(reference.end(), chunk.begin(), chunk.end());
    Bytes out(random() % 8000 + 1);
    const int n = (round % 3 == 0) ? s->peek(out.data(), int(out.size())) : s->read(out.data(), int(out.size()));
    const int expected = int(std::min(out.size(), reference.size() - head));
    ASSERT_EQ(n, expected == 0 ? (round % 3 == 0 ? 0 : -1) : expected);
    ASSERT_TRUE(std::equal(out.begin(), out.begin() + std::max(n, 0), reference.begin() + long(head)));
    if (round % 3 != 0) head += std::size_t(std::max(n, 0));
    ASSERT_EQ(s->available(), int(reference.size() - head));
  }
}

TEST_F(MemoryStreamTest, StreamFormIsABufferAndImportReplaces) {
  const Bytes bytes = pattern(70000);
  write(bytes);
  THandle<QueueDevice> device(new QueueDevice);
  OutputStream out(device.get());
  s->exportTo(out);
  EXPECT_EQ(s->available(), 70000);
  Bytes expected = {0x70, 0x11, 0x01, 0x00};  // 70000 as int32_t
  expected.insert(expected.end(), bytes.begin(), bytes.end());
  EXPECT_EQ(device->bytes, expected);

  THandle<Unknown> made = Unknown::RtFactory::createClassInstance(String(L"MemoryStream"));
  auto* other = made.dynamicCast<MemoryStream>();
  ASSERT_NE(other, nullptr);
  other->write("old bytes", 9);
  InputStream in(device.get());
  other->importFrom(in);
  EXPECT_EQ(readAll(*other, 7000), bytes);
  EXPECT_TRUE(MemoryStream::_setUpCreator_);
  EXPECT_EQ(s->rtCreateInstance().dynamicCast<MemoryStream>()->available(), 0);
}

// A directory that cannot be made: its parent is a regular file.
TEST_F(MemoryStreamTest, UnwritableTemporaryDirectoryFailsTheSpillUntilItIsThere) {
  const std::filesystem::path blocked = directory / "plain" / "sub";
  std::FILE* plain = std::fopen((directory / "plain").c_str(), "w");
  std::fclose(plain);
  setenv("TMPDIR", blocked.c_str(), 1);
  const Bytes bytes = pattern(20 * kBlock);
  LogCollector log;
  EXPECT_EQ(s->write(bytes.data(), 16 * kBlock + 100), 16 * kBlock);
  ASSERT_GE(log.errors.size(), 2u);
  EXPECT_EQ(log.errors[log.errors.size() - 2], L"Create file cache error!");
  EXPECT_EQ(log.errors.back(), L"Write cache error!");
  EXPECT_EQ(s->write(bytes.data() + 16 * kBlock, 100), -1);
  EXPECT_EQ(s->available(), 16 * kBlock);
  std::filesystem::remove(directory / "plain");
  std::filesystem::create_directories(blocked);
  EXPECT_EQ(s->write(bytes.data() + 16 * kBlock, 4 * kBlock), 4 * kBlock);
  EXPECT_EQ(Probe::fileCaches(*s), 4);
  EXPECT_EQ(readAll(*s, 5000), bytes);
}

// The file stands at its limit without taking room on the disk: one byte far
// out makes it sparse.
TEST_F(MemoryStreamTest, FileAtItsLimitLeavesTheDataInMemory) {
  const Bytes bytes = pattern(20 * kBlock);
  write(Bytes(bytes.begin(), bytes.begin() + 17 * kBlock));
  auto* file = const_cast<File*>(Probe::file(*s));
  ASSERT_EQ(file->setPosition(0x7FFFDFFE), 0x7FFFDFFE);
  ASSERT_EQ(file->write("x", 1), 1);
  write(Bytes(bytes.begin() + 17 * kBlock, bytes.end()));
  EXPECT_EQ(shape(*s), std::string(15, 'm') + "f" + std::string(4, 'm'));
  EXPECT_EQ(readAll(*s, 3000), bytes);
}

// A file whose stream was closed behind the stream's back fails every
// transfer: the read that would bring its block back, and peek.
TEST_F(MemoryStreamTest, UnreadableFileBlockFailsReadAndPeek) {
  const Bytes bytes = pattern(17 * kBlock);
  write(bytes);
  Bytes out(15 * kBlock);
  ASSERT_EQ(s->read(out.data(), 15 * kBlock), 15 * kBlock);
  const std::string name = fileName(*s);
  const_cast<File*>(Probe::file(*s))->close();
  std::filesystem::remove(name);
  LogCollector log;
  EXPECT_EQ(s->read(out.data(), 1), -1);
  EXPECT_EQ(s->peek(out.data(), 1), -1);
  EXPECT_EQ(log.errors, Texts{L"Read cache error!"});
  EXPECT_EQ(s->available(), 2 * kBlock);
}

// The child process may not grow a file beyond three blocks; SIGXFSZ is
// ignored, so writes beyond that fail with EFBIG. Checks give the exit code.
int spillAgainstAFileSizeLimit() {
  signal(SIGXFSZ, SIG_IGN);
  rlimit limit{3 * kBlock, 3 * kBlock};
  setrlimit(RLIMIT_FSIZE, &limit);
  THandle<MemoryStream> s = MemoryStream::createInstance();
  const Bytes bytes = pattern(40 * kBlock, 11);
  LogCollector log;
  if (s->write(bytes.data(), 30 * kBlock) != 30 * kBlock) return 1;
  if (shape(*s) != std::string(15, 'm') + "fff" + std::string(12, 'm')) return 2;
  if (log.errors.back() != L"Write file cache error!") return 3;
  Bytes out = Bytes(15 * kBlock + 1);
  s->read(out.data(), 15 * kBlock + 1);  // Frees the first region, brings the block back.
  limit.rlim_cur = 0;  // Now even the free region cannot be written again.
  setrlimit(RLIMIT_FSIZE, &limit);
  if (s->write(bytes.data() + 30 * kBlock, 2 * kBlock) != 2 * kBlock || Probe::freeFileCaches(*s) != 1) return 4;
  limit.rlim_cur = 3 * kBlock;
  setrlimit(RLIMIT_FSIZE, &limit);
  if (s->write(bytes.data() + 32 * kBlock, 8 * kBlock) != 8 * kBlock || Probe::freeFileCaches(*s) != 0) return 5;
  out = readAll(*s, 10000);
  return std::equal(out.begin(), out.end(), bytes.begin() + 15 * kBlock + 1) && out.size() == 25 * kBlock - 1 ? 0 : 6;
}

TEST_F(MemoryStreamTest, FileThatStopsGrowingLeavesTheDataInMemory) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(std::_Exit(spillAgainstAFileSizeLimit()), testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace orvo
