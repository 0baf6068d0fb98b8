// MemoryStream: the queue across memory and file blocks, the shape of its
// cache list, its stream form, and its failures made to happen for real.
#include <gtest/gtest.h>

#include <signal.h>
#include <sys/resource.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
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
const std::string kMemory15(15, 'm');

// Each test has a temporary directory of its own, a stream, 40 blocks of
// bytes to write and room to read them.
class MemoryStreamTest : public testing::Test {
 protected:
  void SetUp() override {
    fs::create_directories(directory);
    setenv("TMPDIR", directory.c_str(), 1);
    for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<std::uint8_t>(i + i / 4093);
  }
  void TearDown() override {
    fs::remove_all(directory);
    original.empty() ? unsetenv("TMPDIR") : setenv("TMPDIR", original.c_str(), 1);
  }
  // Writes bytes [from, from + count) to the stream.
  int put(int from, int count) { return s->write(&bytes[std::size_t(from)], count); }
  Bytes part(int from, int to) const { return Bytes(bytes.begin() + from, bytes.begin() + to); }
  Bytes readAll(MemoryStream& stream, int step) {
    Bytes all;
    for (int n; (n = stream.read(out.data(), step)) > 0;) all.insert(all.end(), out.begin(), out.begin() + n);
    return all;
  }
  fs::path file() const { return Probe::file(*s) ? Probe::file(*s)->getFileName().getBuffer() : L""; }

  // Children whose checks give the exit code, the number of the first that
  // fails. Their limits go before they exit, so that what the process leaves
  // behind (a coverage profile) can be written.
  void expectChildPasses(const std::function<int()>& child) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    auto run = [&child] {
      const int code = child();
      const rlimit none{RLIM_INFINITY, RLIM_INFINITY};
      setrlimit(RLIMIT_FSIZE, &none);
      setrlimit(RLIMIT_AS, &none);
      return code;
    };
    EXPECT_EXIT(std::exit(run()), testing::ExitedWithCode(0), "");
  }

  const std::string original = std::getenv("TMPDIR") ? std::getenv("TMPDIR") : "";
  const fs::path directory = fs::temp_directory_path() / ("orvo-stream-" + std::to_string(getpid()));
  THandle<MemoryStream> s = MemoryStream::createInstance();
  Bytes bytes = Bytes(40 * kBlock), out = Bytes(40 * kBlock);
};

TEST_F(MemoryStreamTest, EmptyStreamCountsBelowOneAndEmptiedBlocks) {
  EXPECT_EQ(std::tuple(s->read(out.data(), 1), s->peek(out.data(), 1), s->available()), std::tuple(-1, 0, 0));
  for (int n : {0, -1}) EXPECT_EQ(std::tuple(s->read(out.data(), n), s->peek(out.data(), n), put(0, n)), std::tuple(0, 0, 0));
  // A block read empty goes at once, room left or not.
  put(0, 10);
  s->read(out.data(), 10);
  EXPECT_EQ(Probe::shape(*s), "");
  put(0, 10);
  EXPECT_EQ(std::tuple(Probe::shape(*s), Probe::memoryCaches(*s)), std::tuple("m", 1));
}

TEST_F(MemoryStreamTest, SpillsTheNewestBlockBringsPartsBackAndReusesRegions) {
  ASSERT_EQ(put(0, 16 * kBlock), 16 * kBlock);
  EXPECT_EQ(Probe::shape(*s) + (fs::is_empty(directory) ? " no file" : ""), std::string(16, 'm') + " no file");
  ASSERT_EQ(put(16 * kBlock, 1), 1);
  EXPECT_EQ(Probe::shape(*s), kMemory15 + "fm");
  const fs::path spilled = file();
  EXPECT_EQ(fs::file_size(spilled), 4096u);
  ASSERT_EQ(put(16 * kBlock + 1, 5 * kBlock - 1), 5 * kBlock - 1);
  EXPECT_EQ(Probe::shape(*s), kMemory15 + "fffffm");
  EXPECT_EQ(s->peek(out.data(), 30 * kBlock), 21 * kBlock);
  EXPECT_EQ(Bytes(out.begin(), out.begin() + 21 * kBlock), part(0, 21 * kBlock));
  EXPECT_EQ(s->peek(out.data(), 17 * kBlock), 17 * kBlock);
  // A read that ends inside the first file block brings it back whole.
  ASSERT_EQ(s->read(out.data(), 16 * kBlock - 1), 16 * kBlock - 1);
  EXPECT_EQ(std::tuple(Probe::shape(*s), Probe::freeFileCaches(*s)), std::tuple("mffffm", 1));
  // Sixteen blocks in memory again: the newest goes to the free region, the
  // next one to a new region.
  ASSERT_EQ(put(21 * kBlock, 16 * kBlock), 16 * kBlock);
  EXPECT_EQ(Probe::shape(*s), "mffff" + std::string(14, 'm') + "ffm");
  EXPECT_EQ(std::tuple(Probe::freeFileCaches(*s), Probe::fileCaches(*s), fs::file_size(spilled)), std::tuple(0, 6, 6u * 4096));
  EXPECT_EQ(readAll(*s, 3000), part(16 * kBlock - 1, 37 * kBlock));
  EXPECT_EQ(std::tuple(Probe::shape(*s), Probe::memoryCaches(*s), Probe::fileCaches(*s)), std::tuple("", 0, 0));
  EXPECT_FALSE(fs::exists(spilled));
}

TEST_F(MemoryStreamTest, StreamFormIsABufferAndImportReplaces) {
  put(0, 70000);
  THandle<QueueDevice> device(new QueueDevice);
  OutputStream sink(device.get());
  s->exportTo(sink);
  s->exportTo(sink);
  EXPECT_EQ(s->available(), 70000);
  EXPECT_EQ(Bytes(device->bytes.begin(), device->bytes.begin() + 4), (Bytes{0x70, 0x11, 0x01, 0x00}));
  THandle<MemoryStream> other(Unknown::RtFactory::createClassInstance(String(L"MemoryStream")).dynamicCast<MemoryStream>());
  ASSERT_TRUE(other);
  other->write(bytes.data(), 5 * kBlock);
  InputStream source(device.get());
  other->importFrom(source);
  // A copy shares the caches: what one reads, the other may not read again.
  THandle<MemoryStream> copy(new MemoryStream(*other));
  EXPECT_EQ(readAll(*copy, 7000), part(0, 70000));
  *copy = *s->rtCreateInstance().dynamicCast<MemoryStream>();
  copy->importFrom(source);
  EXPECT_EQ(readAll(*copy, 9000), part(0, 70000));
}

// The directory cannot be made while its parent is a regular file.
TEST_F(MemoryStreamTest, TemporaryDirectoryThatCannotBeUsedFailsTheSpillUntilItCan) {
  std::ofstream(directory / "plain").put('x');
  setenv("TMPDIR", (directory / "plain" / "sub").c_str(), 1);
  LogCollector log;
  EXPECT_EQ(put(0, 16 * kBlock + 100), 16 * kBlock);
  ASSERT_GE(log.errors.size(), 2u);
  EXPECT_EQ(Texts(log.errors.end() - 2, log.errors.end()), (Texts{L"Create file cache error!", L"Write cache error!"}));
  EXPECT_EQ(put(16 * kBlock, 100), -1);
  fs::remove(directory / "plain");
  fs::create_directories(directory / "plain" / "sub");
  EXPECT_EQ(put(16 * kBlock, 4 * kBlock), 4 * kBlock);
  EXPECT_EQ(readAll(*s, 5000), part(0, 20 * kBlock));
}

// A byte far out makes the file stand at its limit without taking the room.
// Then the file is cut short and closed behind the stream's back: its block
// first reads as nothing, comes back in part, then fails to read, and the
// stream form that would hold it cannot be made.
TEST_F(MemoryStreamTest, FileAtItsLimitLeavesDataInMemoryAndABrokenOneFailsReads) {
  put(0, 17 * kBlock);
  ASSERT_EQ(Probe::file(*s)->setPosition(0x7FFFDFFE), 0x7FFFDFFE);
  ASSERT_EQ(Probe::file(*s)->write("x", 1), 1);
  put(17 * kBlock, 3 * kBlock);
  EXPECT_EQ(Probe::shape(*s), kMemory15 + "fmmmm");
  const fs::path spilled = file();
  fs::resize_file(spilled, 0);
  EXPECT_EQ(s->peek(out.data(), 20 * kBlock), 15 * kBlock);
  OutputStream sink(THandle<QueueDevice>(new QueueDevice).get());
  expectRaise([&] { s->exportTo(sink); }, L"peek data error!", L"src/io/MemoryStream");
  s->read(out.data(), 15 * kBlock);
  EXPECT_EQ(s->read(out.data(), 1), 0);
  std::ofstream(spilled, std::ios::binary).write(reinterpret_cast<const char*>(&bytes[15 * kBlock]), 2000);
  EXPECT_EQ(std::tuple(s->read(out.data(), 2000), Probe::shape(*s)), std::tuple(2000, "fmmmm"));
  EXPECT_EQ(Bytes(out.begin(), out.begin() + 2000), part(15 * kBlock, 15 * kBlock + 2000));
  Probe::file(*s)->close();
  fs::remove(spilled);
  LogCollector log;
  EXPECT_EQ(std::tuple(s->read(out.data(), 1), s->peek(out.data(), 1)), std::tuple(-1, -1));
  EXPECT_EQ(std::tuple(log.errors, Probe::shape(*s), s->available()),
            std::tuple(Texts{L"Read cache error!"}, "fmmmm", 5 * kBlock - 2000));
}

// The file may not grow beyond three blocks, and writes beyond fail with
// EFBIG rather than a signal. Then it may not be written at all, not even in
// the region that a read has freed.
TEST_F(MemoryStreamTest, FileThatStopsGrowingLeavesTheDataInMemory) {
  expectChildPasses([this] {
    signal(SIGXFSZ, SIG_IGN);
    rlimit limit{3 * kBlock, RLIM_INFINITY};
    setrlimit(RLIMIT_FSIZE, &limit);
    LogCollector log;
    if (put(0, 30 * kBlock) != 30 * kBlock || log.errors.back() != L"Write file cache error!") return 1;
    if (Probe::shape(*s) != kMemory15 + "fff" + std::string(12, 'm')) return 2;
    s->read(out.data(), 15 * kBlock + 1);
    limit.rlim_cur = 0;
    setrlimit(RLIMIT_FSIZE, &limit);
    if (put(30 * kBlock, 2 * kBlock) != 2 * kBlock || Probe::freeFileCaches(*s) != 1) return 3;
    limit.rlim_cur = 3 * kBlock;
    setrlimit(RLIMIT_FSIZE, &limit);
    if (put(32 * kBlock, 8 * kBlock) != 8 * kBlock || Probe::freeFileCaches(*s) != 0) return 4;
    return readAll(*s, 10000) == part(15 * kBlock + 1, 40 * kBlock) ? 0 : 5;
  });
}

// No more address space than the child has: the pool gets no new slab. Other
// streams fill until a write ends early; then a partial read of a file block
// reads straight from the file.
TEST_F(MemoryStreamTest, NoMemoryForABlock) {
  if (&__asan_init || &__tsan_init) GTEST_SKIP() << "a sanitizer's allocator cannot run in a limited address space";
  expectChildPasses([this] {
    put(0, 17 * kBlock);
    s->read(out.data(), 15 * kBlock);
    LogCollector log;
    rlim_t pages = 0;
    std::ifstream("/proc/self/statm") >> pages;
    const rlimit limit{(pages + 128) * 4096, RLIM_INFINITY};
    setrlimit(RLIMIT_AS, &limit);
    std::vector<THandle<MemoryStream>> fillers(1000);
    int n = 16 * kBlock;
    for (std::size_t i = 0; i < fillers.size() && n == 16 * kBlock; ++i) {
      fillers[i] = MemoryStream::createInstance();
      if ((n = fillers[i]->write(bytes.data(), 16 * kBlock)) < 16 * kBlock && fillers[i]->write(bytes.data(), 1) != -1) return 1;
      // A write that ends early answers what it placed, or -1 for nothing.
      if (n != (fillers[i]->available() > 0 ? fillers[i]->available() : -1)) return 2;
    }
    if (log.errors.back() != L"Create memory cache error!") return 2;
    if (s->read(out.data(), 1) != 1 || out[0] != bytes[15 * kBlock]) return 3;
    return log.warnings == Texts{L"Create memory cache fail!"} && Probe::shape(*s) == "fm" ? 0 : 4;
  });
}

}  // namespace
}  // namespace orvo
