// MemoryStream: the queue across memory and file blocks, the shape of its
// cache list, its stream form, and its failures made to happen for real.
#include <gtest/gtest.h>

#include <signal.h>
#include <sys/resource.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <tuple>

#include <orvo/core/ClassFactory.h>
#include <orvo/core/File.h>

#include "diagnostics/LogCollector.h"
#include "io/MemoryStreamCaches.h"
#include "io/TestDevices.h"

extern "C" void __asan_init() __attribute__((weak));
extern "C" void __tsan_init() __attribute__((weak));

namespace orvo {
namespace {

using Probe = MemoryStreamInspector;
namespace fs = std::filesystem;
constexpr int kBlock = 4096;
const std::string kMemory16(16, 'm'), kMemory15(15, 'm');

Bytes pattern(int size, unsigned seed = 1) {
  Bytes bytes(static_cast<std::size_t>(size));
  for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<std::uint8_t>(i * seed + i / 4093);
  return bytes;
}

Bytes readAll(MemoryStream& s, int step) {
  Bytes out, chunk(static_cast<std::size_t>(step));
  for (int n; (n = s.read(chunk.data(), step)) > 0;) out.insert(out.end(), chunk.begin(), chunk.begin() + n);
  return out;
}

fs::path fileOf(const MemoryStream& s) { return Probe::file(s) ? Probe::file(s)->getFileName().getBuffer() : L""; }

// Each test has a temporary directory of its own.
class MemoryStreamTest : public testing::Test {
 protected:
  void SetUp() override {
    fs::create_directories(directory);
    setenv("TMPDIR", directory.c_str(), 1);
  }
  void TearDown() override {
    fs::remove_all(directory);
    original.empty() ? unsetenv("TMPDIR") : setenv("TMPDIR", original.c_str(), 1);
  }

  const std::string original = std::getenv("TMPDIR") ? std::getenv("TMPDIR") : "";
  const fs::path directory = fs::temp_directory_path() / ("orvo-stream-" + std::to_string(getpid()));
  THandle<MemoryStream> s = MemoryStream::createInstance();
};

TEST_F(MemoryStreamTest, EmptyStreamCountsBelowOneAndEmptiedBlocks) {
  std::uint8_t bytes[10] = {};
  EXPECT_EQ(std::tuple(s->read(bytes, 1), s->peek(bytes, 1), s->available()), std::tuple(-1, 0, 0));
  for (int n : {0, -1}) EXPECT_EQ(std::tuple(s->read(bytes, n), s->peek(bytes, n), s->write(bytes, n)), std::tuple(0, 0, 0));
  // A block read empty goes at once, room left or not.
  s->write(bytes, 10);
  s->read(bytes, 10);
  EXPECT_EQ(Probe::shape(*s), "");
  s->write(bytes, 10);
  EXPECT_EQ(std::tuple(Probe::shape(*s), Probe::memoryCaches(*s)), std::tuple("m", 1));
}

TEST_F(MemoryStreamTest, SpillsTheNewestBlockBringsPartsBackAndReusesRegions) {
  const Bytes bytes = pattern(37 * kBlock);
  ASSERT_EQ(s->write(bytes.data(), 16 * kBlock), 16 * kBlock);
  EXPECT_EQ(Probe::shape(*s), kMemory16);
  EXPECT_TRUE(fs::is_empty(directory));
  ASSERT_EQ(s->write(&bytes[16 * kBlock], 1), 1);
  EXPECT_EQ(Probe::shape(*s), kMemory15 + "fm");
  const fs::path file = fileOf(*s);
  EXPECT_EQ(fs::file_size(file), 4096u);
  ASSERT_EQ(s->write(&bytes[16 * kBlock + 1], 5 * kBlock - 1), 5 * kBlock - 1);
  EXPECT_EQ(Probe::shape(*s), kMemory15 + "fffffm");
  Bytes out(21 * kBlock);
  EXPECT_EQ(s->peek(out.data(), 30 * kBlock), 21 * kBlock);
  EXPECT_EQ(out, Bytes(bytes.begin(), bytes.begin() + 21 * kBlock));
  // A read that ends inside the first file block brings it back whole.
  ASSERT_EQ(s->read(out.data(), 16 * kBlock - 1), 16 * kBlock - 1);
  EXPECT_EQ(std::tuple(Probe::shape(*s), Probe::freeFileCaches(*s)), std::tuple("mffffm", 1));
  // Sixteen blocks in memory again: the newest goes to the free region, the
  // next one to a new region.
  ASSERT_EQ(s->write(&bytes[21 * kBlock], 16 * kBlock), 16 * kBlock);
  EXPECT_EQ(Probe::shape(*s), "mffff" + std::string(14, 'm') + "ffm");
  EXPECT_EQ(std::tuple(Probe::freeFileCaches(*s), Probe::fileCaches(*s)), std::tuple(0, 6));
  EXPECT_EQ(fs::file_size(file), 6u * 4096);
  EXPECT_EQ(readAll(*s, 3000), Bytes(bytes.begin() + 16 * kBlock - 1, bytes.end()));
  EXPECT_EQ(std::tuple(Probe::shape(*s), Probe::memoryCaches(*s), Probe::fileCaches(*s)), std::tuple("", 0, 0));
  EXPECT_FALSE(fs::exists(file));
}

TEST_F(MemoryStreamTest, StreamFormIsABufferAndImportReplaces) {
  const Bytes bytes = pattern(70000);
  s->write(bytes.data(), 70000);
  THandle<QueueDevice> device(new QueueDevice);
  OutputStream out(device.get());
  s->exportTo(out);
  EXPECT_EQ(s->available(), 70000);
  EXPECT_EQ(Bytes(device->bytes.begin(), device->bytes.begin() + 4), (Bytes{0x70, 0x11, 0x01, 0x00}));
  THandle<MemoryStream> other(Unknown::RtFactory::createClassInstance(String(L"MemoryStream")).dynamicCast<MemoryStream>());
  ASSERT_TRUE(other);
  other->write(bytes.data(), 5 * kBlock);
  InputStream in(device.get());
  other->importFrom(in);
  // A copy shares the caches: what one reads, the other may not read again.
  THandle<MemoryStream> copy(new MemoryStream(*other));
  EXPECT_EQ(readAll(*copy, 7000), bytes);
  *copy = *s->rtCreateInstance().dynamicCast<MemoryStream>();
  EXPECT_EQ(copy->available(), 0);
}

// The directory cannot be made while its parent is a regular file.
TEST_F(MemoryStreamTest, TemporaryDirectoryThatCannotBeUsedFailsTheSpillUntilItCan) {
  const fs::path blocked = directory / "plain" / "sub";
  std::fclose(std::fopen((directory / "plain").c_str(), "w"));
  setenv("TMPDIR", blocked.c_str(), 1);
  const Bytes bytes = pattern(20 * kBlock);
  LogCollector log;
  EXPECT_EQ(s->write(bytes.data(), 16 * kBlock + 100), 16 * kBlock);
  ASSERT_GE(log.errors.size(), 2u);
  EXPECT_EQ(Texts(log.errors.end() - 2, log.errors.end()), (Texts{L"Create file cache error!", L"Write cache error!"}));
  EXPECT_EQ(s->write(&bytes[16 * kBlock], 100), -1);
  fs::remove(directory / "plain");
  fs::create_directories(blocked);
  EXPECT_EQ(s->write(&bytes[16 * kBlock], 4 * kBlock), 4 * kBlock);
  EXPECT_EQ(readAll(*s, 5000), bytes);
}

// A byte far out makes the file stand at its limit without taking the room.
// Then the file is cut short and closed behind the stream's back: its block
// first reads as nothing, then fails to read, and the stream form that would
// hold it cannot be made.
TEST_F(MemoryStreamTest, FileAtItsLimitLeavesDataInMemoryAndABrokenOneFailsReads) {
  const Bytes bytes = pattern(20 * kBlock);
  s->write(bytes.data(), 17 * kBlock);
  ASSERT_EQ(Probe::file(*s)->setPosition(0x7FFFDFFE), 0x7FFFDFFE);
  ASSERT_EQ(Probe::file(*s)->write("x", 1), 1);
  s->write(&bytes[17 * kBlock], 3 * kBlock);
  EXPECT_EQ(Probe::shape(*s), kMemory15 + "fmmmm");
  const fs::path file = fileOf(*s);
  fs::resize_file(file, 0);
  Bytes bytesOut(20 * kBlock);
  EXPECT_EQ(s->peek(bytesOut.data(), 20 * kBlock), 15 * kBlock);
  OutputStream out(THandle<QueueDevice>(new QueueDevice).get());
  expectRaise([&] { s->exportTo(out); }, L"peek data error!", L"src/io/MemoryStream");
  s->read(bytesOut.data(), 15 * kBlock);
  EXPECT_EQ(s->read(bytesOut.data(), 1), 0);
  // Part of the block is there again: that part comes back to memory.
  std::ofstream(file, std::ios::binary).write(reinterpret_cast<const char*>(&bytes[15 * kBlock]), 2000);
  EXPECT_EQ(std::tuple(s->read(bytesOut.data(), 2000), Probe::shape(*s)), std::tuple(2000, "fmmmm"));
  EXPECT_EQ(Bytes(bytesOut.begin(), bytesOut.begin() + 2000), Bytes(&bytes[15 * kBlock], &bytes[15 * kBlock + 2000]));
  Probe::file(*s)->close();
  fs::remove(file);
  LogCollector log;
  EXPECT_EQ(std::tuple(s->read(bytesOut.data(), 1), s->peek(bytesOut.data(), 1)), std::tuple(-1, -1));
  EXPECT_EQ(log.errors, Texts{L"Read cache error!"});
  EXPECT_EQ(std::tuple(Probe::shape(*s), s->available()), std::tuple("fmmmm", 5 * kBlock - 2000));
}

// Children whose checks give the exit code, the number of the first that fails.
void expectChildPasses(int (*child)()) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(std::exit(child()), testing::ExitedWithCode(0), "");
}

// The file may not grow beyond three blocks, and writes beyond fail with
// EFBIG rather than a signal. Then it may not be written at all, not even in
// the region that a read has freed.
int spillAgainstAFileSizeLimit() {
  signal(SIGXFSZ, SIG_IGN);
  rlimit limit{3 * kBlock, RLIM_INFINITY};
  setrlimit(RLIMIT_FSIZE, &limit);
  THandle<MemoryStream> s = MemoryStream::createInstance();
  const Bytes bytes = pattern(40 * kBlock, 11);
  LogCollector log;
  if (s->write(bytes.data(), 30 * kBlock) != 30 * kBlock || log.errors.back() != L"Write file cache error!") return 1;
  if (Probe::shape(*s) != kMemory15 + "fff" + std::string(12, 'm')) return 2;
  Bytes out(15 * kBlock + 1);
  s->read(out.data(), 15 * kBlock + 1);
  limit.rlim_cur = 0;
  setrlimit(RLIMIT_FSIZE, &limit);
  if (s->write(&bytes[30 * kBlock], 2 * kBlock) != 2 * kBlock || Probe::freeFileCaches(*s) != 1) return 3;
  limit.rlim_cur = 3 * kBlock;
  setrlimit(RLIMIT_FSIZE, &limit);
  if (s->write(&bytes[32 * kBlock], 8 * kBlock) != 8 * kBlock || Probe::freeFileCaches(*s) != 0) return 4;
  return readAll(*s, 10000) == Bytes(bytes.begin() + 15 * kBlock + 1, bytes.end()) ? 0 : 5;
}

TEST_F(MemoryStreamTest, FileThatStopsGrowingLeavesTheDataInMemory) { expectChildPasses(&spillAgainstAFileSizeLimit); }

// No more address space than the child has: the pool gets no new slab. A
// stream fills until its write ends early; then a partial read of a file
// block reads straight from the file.
int blocksWithoutMemory() {
  THandle<MemoryStream> spilled = MemoryStream::createInstance();
  const Bytes bytes = pattern(17 * kBlock, 9);
  Bytes out(15 * kBlock);
  spilled->write(bytes.data(), 17 * kBlock);
  spilled->read(out.data(), 15 * kBlock);
  LogCollector log;
  rlim_t pages = 0;
  std::ifstream("/proc/self/statm") >> pages;
  rlimit limit{(pages + 128) * 4096, RLIM_INFINITY};
  setrlimit(RLIMIT_AS, &limit);
  std::vector<THandle<MemoryStream>> fillers(1000);
  int n = 16 * kBlock;
  for (std::size_t i = 0; i < fillers.size() && n == 16 * kBlock; ++i) {
    fillers[i] = MemoryStream::createInstance();
    if ((n = fillers[i]->write(bytes.data(), 16 * kBlock)) < 16 * kBlock && fillers[i]->write(bytes.data(), 1) != -1) return 1;
  }
  if ((n != -1 && n % kBlock != 0) || log.errors.back() != L"Create memory cache error!") return 2;
  std::uint8_t byte = 0;
  if (spilled->read(&byte, 1) != 1 || byte != bytes[15 * kBlock]) return 3;
  return log.warnings == Texts{L"Create memory cache fail!"} && Probe::shape(*spilled) == "fm" ? 0 : 4;
}

TEST_F(MemoryStreamTest, NoMemoryForABlock) {
  if (&__asan_init || &__tsan_init) GTEST_SKIP() << "a sanitizer's allocator cannot run in a limited address space";
  expectChildPasses(&blocksWithoutMemory);
}

}  // namespace
}  // namespace orvo
