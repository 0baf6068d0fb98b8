// Disk files, temporary files and file digests, against real files in a
// scratch directory, with the failures made to happen for real.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>

#include <orvo/core/ErrorText.h>
#include <orvo/core/File.h>
#include <orvo/core/FileSystemManager.h>
#include <orvo/core/MD5.h>
#include <orvo/core/TempFile.h>

#include "diagnostics/LogCollector.h"

namespace orvo {
namespace {

namespace fs = std::filesystem;

class FileTest : public testing::Test {
 protected:
  void SetUp() override {
    char pattern[] = "/tmp/orvo-file-test-XXXXXX";
    ASSERT_NE(mkdtemp(pattern), nullptr);
    dir = pattern;
  }
  void TearDown() override { fs::remove_all(dir); }

  String name(const char* leaf) const { return wide(dir / leaf); }
  static String wide(const fs::path& path) { return String(path.wstring().c_str()); }
  // A file holding `bytes`; its name.
  String make(const char* leaf, const std::string& bytes) const {
    std::ofstream(dir / leaf, std::ios::binary) << bytes;
    return name(leaf);
  }
  static std::string contents(const String& file) {
    std::ifstream in(fs::path(file.getBuffer()), std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
  }
  THandle<File> opened(const String& file, int mode) {
    THandle<File> f = File::createInstance();
    EXPECT_TRUE(f->open(file, mode));
    return f;
  }

  fs::path dir;
  THandle<File> file = File::createInstance();
  LogCollector log;
};

TEST_F(FileTest, EachModeOpensAsItsStreamModeAndOtherModesFail) {
  const struct {
    int mode;
    bool opensMissing;
    const char* afterWritingX;
  } modes[] = {{4, false, "abc"}, {9, true, "X"}, {11, true, "abcX"}, {12, false, "Xbc"}, {13, true, "X"}, {15, true, "abcX"}};
  for (const auto& m : modes) {
    SCOPED_TRACE(m.mode);
    const String existing = make("existing", "abc");
    ASSERT_TRUE(file->open(existing, m.mode));
    file->write("X", 1);
    file->close();
    EXPECT_EQ(contents(existing), m.afterWritingX);
    EXPECT_EQ(file->open(name("missing"), m.mode), m.opensMissing);
    file->close();
    fs::remove(dir / "missing");
  }
  log.errors.clear();
  for (int mode : {0, 1, 8, 14, 16}) EXPECT_FALSE(file->open(make("any", ""), mode));
  EXPECT_EQ(log.errors.back(), L"Open file error! EINVAL: Invalid argument. File:" + std::wstring(name("any")));
}

TEST_F(FileTest, FailedOpensLogTheReasonAndLeaveTheFileClosed) {
  const String plain = make("plain", "abc");
  const struct {
    String target;
    int mode;
    const wchar_t* reason;
  } failures[] = {{name("no/such"), 4, L"ENOENT: No such file or directory."},
                  {wide(dir / "plain" / "x"), 9, L"ENOTDIR: Not a directory."},
                  {wide(dir), 9, L"EISDIR: Is a directory."}};
  for (const auto& f : failures) {
    file->open(plain, 4);
    log.errors.clear();
    EXPECT_FALSE(file->open(f.target, f.mode));
    EXPECT_TRUE(file->isInvalid());
    EXPECT_EQ(file->getFileName(), L"");
    ASSERT_EQ(log.errors.size(), 1u);
    EXPECT_EQ(log.errors[0], L"Open file error! " + std::wstring(f.reason) + L" File:" + f.target.getBuffer());
  }
  file->open(plain, 4);
  log.errors.clear();
  EXPECT_FALSE(file->open(L"", 4));
  EXPECT_TRUE(file->isInvalid());
  EXPECT_TRUE(log.errors.empty());
  // Reopening under its own name: the name outlives the close on the way.
  file->open(plain, 4);
  EXPECT_TRUE(file->open(file->getFileName(), 4));
  EXPECT_EQ(file->getFileName(), plain);
}

TEST_F(FileTest, NamesBeyondAsciiReachTheDiskAsUtf8) {
  const String unusual(L"\u00fcber-\u20ac-\U0001F600");
  ASSERT_TRUE(file->open(wide(dir) + L"/" + unusual, 9));
  file->close();
  EXPECT_TRUE(fs::exists(dir / "\xC3\xBC" "ber-\xE2\x82\xAC-\xF0\x9F\x98\x80"));
}

TEST_F(FileTest, ClosedFilesAnswerMinusOneAndEmptyTransfersZero) {
  char byte = 0;
  EXPECT_EQ(file->read(&byte, 1), -1);
  EXPECT_EQ(file->peek(&byte, 1), -1);
  EXPECT_EQ(file->write(&byte, 1), -1);
  EXPECT_EQ(file->available(), -1);
  EXPECT_EQ(file->getArchiveSize(), -1);
  EXPECT_EQ(file->getPosition(), -1);
  EXPECT_EQ(file->setPosition(0), -1);
  file->close();
  file->open(make("f", "abc"), 12);
  for (int size : {0, -1}) {
    EXPECT_EQ(file->read(&byte, size), 0);
    EXPECT_EQ(file->peek(&byte, size), 0);
    EXPECT_EQ(file->write(&byte, size), 0);
  }
  EXPECT_TRUE(log.errors.empty());
  static_assert(!std::is_copy_constructible_v<File> && !std::is_copy_assignable_v<File>);
}

TEST_F(FileTest, PeekSizeAndAvailableKeepThePositionAndTheEndShowsAsMinusOne) {
  const String f = make("f", "abcdef");
  file->open(f, 4);
  EXPECT_EQ(file->available(), 6);
  char first[4] = {}, second[4] = {};
  EXPECT_EQ(file->setPosition(1), 1);
  EXPECT_EQ(file->peek(first, 3), 3);
  EXPECT_EQ(file->peek(second, 3), 3);
  EXPECT_STREQ(first, "bcd");
  EXPECT_STREQ(second, "bcd");
  EXPECT_EQ(file->getArchiveSize(), 6);
  EXPECT_EQ(file->getPosition(), 1);
  char rest[8];
  EXPECT_EQ(file->read(rest, 8), 5);
  EXPECT_EQ(file->available(), -1);
  EXPECT_EQ(file->setPosition(4), 4);
  EXPECT_EQ(file->available(), 2);
  EXPECT_EQ(file->setPosition(9), 9);  // not clamped
  EXPECT_TRUE(log.errors.empty());
}

TEST_F(FileTest, ReadingAtTheEndLogsUnlessErrnoSaysInvalidArgument) {
  const String f = make("f", "");
  file->open(f, 4);
  char byte;
  errno = EINVAL;
  EXPECT_EQ(file->read(&byte, 1), 0);
  EXPECT_TRUE(log.errors.empty());
  errno = 0;
  EXPECT_EQ(file->read(&byte, 1), 0);
  EXPECT_EQ(file->peek(&byte, 1), 0);
  EXPECT_EQ(log.errors, Texts(2, L"Read file error! File:" + std::wstring(f)));
}

TEST_F(FileTest, FailuresOfTheSystemAreLoggedWithTheirMessages) {
  file->open(wide(dir), 4);  // a directory opens for reading but cannot be read
  char byte;
  EXPECT_EQ(file->read(&byte, 1), 0);
  EXPECT_EQ(log.errors, Texts{L"Read file error! File:" + dir.wstring()});
  log.errors.clear();
  file->open(L"/dev/full", 9);
  EXPECT_EQ(file->write("x", 1), 1);  // buffered: the device refuses it at close
  file->close();
  EXPECT_EQ(log.errors, Texts{L"Close file error! File:/dev/full"});
  log.errors.clear();
  int pipeEnds[2];
  ASSERT_EQ(pipe(pipeEnds), 0);
  const String pipeName = wide("/proc/self/fd/" + std::to_string(pipeEnds[0]));
  file->open(pipeName, 4);
  EXPECT_EQ(file->getPosition(), -1);
  EXPECT_EQ(file->setPosition(0), -1);
  ASSERT_EQ(log.errors.size(), 2u);
  const std::wstring reason = L"ESPIPE: Invalid seek. File:" + std::wstring(pipeName);
  EXPECT_EQ(log.errors[0], L"Get file position error! " + reason);
  EXPECT_EQ(log.errors[1].rfind(L"Set file position:fseek(", 0), 0u);
  EXPECT_EQ(log.errors[1].substr(log.errors[1].find(L',')), L",0,0) error! " + reason);
  file->close();
  close(pipeEnds[0]);
  close(pipeEnds[1]);
}

TEST_F(FileTest, Md5HashesTheWholeFileAndKeepsThePosition) {
  std::string bytes(70000, '\0');
  for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<char>(i * 7 + i / 251);
  unsigned char expected[16], empty[16];
  MD5Checksum(bytes.data(), static_cast<int>(bytes.size()), expected);
  MD5Checksum("", 0, empty);
  Buffer digest;
  file->open(make("big", bytes), 4);
  file->setPosition(100);
  ASSERT_TRUE(file->calcMd5(digest));
  EXPECT_EQ(digest.getBufferSize(), 16);
  EXPECT_EQ(std::memcmp(digest, expected, 16), 0);
  EXPECT_EQ(file->getPosition(), 100);
  file->close();
  ASSERT_TRUE(file->calcMd5(digest));  // a closed file hashes as an empty one
  EXPECT_EQ(std::memcmp(digest, empty, 16), 0);
  ASSERT_TRUE(calcFileMd5(make("empty", ""), digest));
  EXPECT_EQ(std::memcmp(digest, empty, 16), 0);
  ASSERT_TRUE(calcFileMd5(name("big"), digest));
  EXPECT_EQ(std::memcmp(digest, expected, 16), 0);
  EXPECT_FALSE(calcFileMd5(name("missing"), digest));
  EXPECT_EQ(std::memcmp(digest, expected, 16), 0);
}

TEST_F(FileTest, Md5OfAShortReadFailsAndLeavesDigestAndPosition) {
  struct ShortFile : File {
    int read(void* data, int size) override { return File::read(data, size - 1); }
  };
  THandle<ShortFile> shorter(new ShortFile);
  shorter->open(make("f", "abcdef"), 4);
  shorter->setPosition(2);
  Buffer digest(3);
  EXPECT_FALSE(shorter->calcMd5(digest));
  EXPECT_EQ(digest.getBufferSize(), 3);
  EXPECT_EQ(shorter->getPosition(), 2);
}

TEST(FileErrorTest, ErrnoTextsGoByConstantName) {
  const struct {
    int code;
    const wchar_t* text;
  } rows[] = {{0, L""},
              {ENOENT, L"ENOENT: No such file or directory."},
              {EDEADLK, L"EDEADLK: Resource deadlock would occur."},
              {EILSEQ, L"EILSEQ: Illegal byte sequence."},
              {15, L"UNKNOWN: Unknown error(15)."},
              {42, L"UNKNOWN: Unknown error(42)."},
              {43, L"UNKNOWN: Unknown error"},
              {80, L"UNKNOWN: Unknown error"},
              {-1, L"UNKNOWN: Unknown error"}};
  for (const auto& row : rows) {
    errno = row.code;
    EXPECT_STREQ(File::getLastError(), row.text) << row.code;
  }
}

TEST_F(FileTest, TempFilesLieInTheTemporaryDirectoryAndDeleteThemselves) {
  setenv("TMPDIR", (dir.string() + "/").c_str(), 1);
  const String first = TempFile::getTempFileName(), second = TempFile::getTempFileName();
  EXPECT_NE(first, second);
  EXPECT_TRUE(fs::exists(first.getBuffer()) && fs::exists(second.getBuffer()));
  EXPECT_EQ(fs::path(first.getBuffer()).parent_path(), dir);
  THandle<TempFile> temp = TempFile::createTempFile();
  ASSERT_TRUE(temp);
  EXPECT_STREQ(temp->getClassName(), L"TempFile");
  const fs::path path = temp->getFileName().getBuffer();
  EXPECT_EQ(temp->write("spill", 5), 5);
  char back[5];
  EXPECT_EQ(temp->setPosition(1), 1);
  EXPECT_EQ(temp->read(back, 4), 4);
  EXPECT_EQ(std::string(back, 4), "pill");
  temp = nullptr;
  EXPECT_FALSE(fs::exists(path));
  // Closed by hand, a temporary file has no name left and stays.
  temp = TempFile::createTempFile();
  const fs::path kept = temp->getFileName().getBuffer();
  temp->close();
  temp = nullptr;
  EXPECT_TRUE(fs::exists(kept));
  EXPECT_TRUE(log.errors.empty());

  setenv("TMPDIR", (dir / "missing").c_str(), 1);
  EXPECT_EQ(TempFile::getTempFileName(), L"");
  EXPECT_FALSE(TempFile::createTempFile());
  unsetenv("TMPDIR");
  const String reason = getErrorString(ENOENT);
  EXPECT_EQ(log.errors, (Texts{reason.getBuffer(), reason.getBuffer(), L"Create temp file error!"}));
  EXPECT_EQ(fs::path(TempFile::getTempFileName().getBuffer()).parent_path(), "/tmp");
}

TEST(FileSystemManagerTest, OneObjectExistsWhileTheLibraryIsLoaded) {
  ASSERT_NE(FileSystemManager::getSingletonPtr(), nullptr);
  EXPECT_EQ(&FileSystemManager::getSingleton(), FileSystemManager::getSingletonPtr());
}

}  // namespace
}  // namespace orvo
