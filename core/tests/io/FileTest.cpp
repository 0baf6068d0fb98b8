// Disk files, temporary files and file digests, on real files in a scratch
// directory, with the failures made to happen for real.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cerrno>
#include <climits>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

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
  ~FileTest() override { fs::remove_all(dir); }

  String at(const fs::path& leaf) const { return (dir / leaf).wstring().c_str(); }
  String make(const char* leaf, const std::string& bytes) const {
    std::ofstream(dir / leaf, std::ios::binary) << bytes;
    return at(leaf);
  }
  static std::string contents(const String& name) {
    std::ifstream in(fs::path(name.getBuffer()), std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
  }

  char pattern[27] = "/tmp/orvo-file-test-XXXXXX";
  const fs::path dir = mkdtemp(pattern);
  THandle<File> file = File::createInstance();
  LogCollector log;
};

TEST_F(FileTest, EachModeOpensAsItsStreamModeAndOtherModesFail) {
  const struct { int mode; bool opensMissing; const char* afterWritingX; } modes[] = {
      {4, false, "abc"}, {9, true, "X"}, {11, true, "abcX"}, {12, false, "Xbc"}, {13, true, "X"}, {15, true, "abcX"}};
  for (const auto& m : modes) {
    ASSERT_TRUE(file->open(make("old", "abc"), m.mode));
    file->write("X", 1);
    file->close();
    EXPECT_EQ(contents(at("old")), m.afterWritingX) << m.mode;
    EXPECT_EQ(file->open(at("new" + std::to_string(m.mode)), m.mode), m.opensMissing) << m.mode;
  }
  log.errors.clear();
  for (int mode : {0, 1, 8, 14, 16}) EXPECT_FALSE(file->open(at("old"), mode));
  EXPECT_EQ(log.errors, Texts(5, L"Open file error! EINVAL: Invalid argument. File:" + (dir / "old").wstring()));
}

TEST_F(FileTest, FailedOpensLogTheReasonAndLeaveTheFileClosed) {
  const String plain = make("plain", "abc");
  const struct { String name; const wchar_t* reason; } failures[] = {
      {at("no/such"), L"ENOENT: No such file or directory. File:"},
      {at(""), L"EISDIR: Is a directory. File:"},
      {L"", nullptr}};
  for (const auto& f : failures) {
    file->open(plain, 4);
    log.errors.clear();
    EXPECT_FALSE(file->open(f.name, 4));
    EXPECT_TRUE(file->isInvalid() && file->getFileName() == L"");
    EXPECT_EQ(log.errors, f.reason ? Texts{L"Open file error! " + (f.reason + std::wstring(f.name))} : Texts{});
  }
  // The name outlives the close on the way; wide names reach the disk as UTF-8.
  EXPECT_TRUE(file->open(plain, 4) && file->open(file->getFileName(), 4));
  EXPECT_EQ(file->getFileName(), plain);
  EXPECT_TRUE(file->open((dir.wstring() + L"/\u00fcber-\U0001F600").c_str(), 9));
  EXPECT_TRUE(fs::exists(dir / "\xC3\xBC" "ber-\xF0\x9F\x98\x80"));
}

TEST_F(FileTest, ClosedFilesFailAndPeekSizeAndAvailableKeepThePosition) {
  char byte = 0, peeked[7] = {}, rest[8];
  EXPECT_EQ(file->available() & file->getArchiveSize() & file->getPosition() & file->setPosition(0), -1);
  const auto moved = [&](int n) { return file->read(&byte, n) + file->peek(&byte, n) + file->write(&byte, n); };
  EXPECT_EQ(moved(1), -3);
  file->open(make("f", "abc"), 12);
  EXPECT_EQ(moved(0) | moved(-1), 0);
  static_assert(!std::is_copy_constructible_v<File> && !std::is_copy_assignable_v<File>);
  EXPECT_STREQ(file->getClassName(), L"File");
  file->open(make("f", "abcdef"), 4);
  // Braced lists run their calls in order: a script of calls and their answers.
  const std::vector<int> answers{file->available(),      file->setPosition(1), file->peek(peeked, 3),
                                 file->peek(peeked + 3, 3), file->getArchiveSize(), file->getPosition(),
                                 file->read(rest, 8),      file->available(),     file->setPosition(4),
                                 file->available(),        file->setPosition(9)};
  EXPECT_EQ(answers, (std::vector<int>{6, 1, 3, 3, 6, 1, 5, -1, 4, 2, 9}));
  EXPECT_STREQ(peeked, "bcdbcd");
  EXPECT_TRUE(log.errors.empty());
}

// A seek to where the stream stands is skipped when it has nothing to flush
// or clear; reads, writes, sizes and the end-of-file rule stay as with seeks.
TEST_F(FileTest, SeeksToTheCurrentPositionKeepEverySideEffectThatShows) {
  for (const bool buffered : {true, false}) {
    SCOPED_TRACE(buffered);
    const String name = make("g", "abcdef");
    ASSERT_TRUE(file->open(name, File::OPEN_READ | File::OPEN_WRITE) && file->setBuffered(buffered));
    char got[8] = {};
    const std::vector<int> first{file->read(got, 2), file->setPosition(2), file->write("XY", 2), file->setPosition(4)};
    EXPECT_EQ(contents(name), "abXYef");  // the seek flushed
    const std::vector<int> then{file->getArchiveSize(), file->read(got + 2, 2), file->setPosition(6),
                                file->write("Z", 1),    file->getArchiveSize(), file->setPosition(0),
                                file->read(got, 8),     file->available(),      file->getArchiveSize(),
                                file->available()};
    EXPECT_EQ(first, (std::vector<int>{2, 2, 2, 4}));
    EXPECT_EQ(then, (std::vector<int>{6, 2, 6, 1, 7, 0, 7, -1, 7, 0}));
    EXPECT_STREQ(got, "abXYefZ");
    file->close();
    EXPECT_EQ(contents(name), "abXYefZ");
  }
  EXPECT_FALSE(file->setBuffered(true));
}

TEST_F(FileTest, FailuresOfTheSystemAreLoggedWithTheirMessages) {
  char byte;
  const String empty = make("empty", "");
  file->open(empty, 4);
  errno = EINVAL;  // with this errno a read at the end passes in silence
  EXPECT_EQ(file->read(&byte, 1), 0);
  errno = 0;
  EXPECT_EQ((std::vector<int>{file->read(&byte, 1), file->peek(&byte, 1), file->write("x", 1)}), std::vector<int>(3));
  file->open(empty, 9);
  EXPECT_EQ(file->read(&byte, 1), 0);  // a write-only stream
  file->open(L"/dev/full", 9);
  EXPECT_EQ(file->write("x", 1), 1);  // buffered: the device refuses it at close
  file->close();
  const std::wstring read = L"Read file error! File:" + std::wstring(empty);
  EXPECT_EQ(log.errors, (Texts{read, read, L"Write file error! File:" + std::wstring(empty), read,
                              L"Close file error! File:/dev/full"}));
  log.errors.clear();
  ASSERT_EQ(mkfifo((dir / "fifo").c_str(), 0600), 0);  // read and write: opens without a partner
  const std::wstring name = (dir / "fifo").wstring();
  file->open(name.c_str(), 12);
  const std::vector<int> answers{file->getPosition(), file->setPosition(0), file->getArchiveSize(), file->available()};
  EXPECT_EQ(answers, std::vector<int>(4, -1));
  const std::wstring getFailed = L"Get file position error! ESPIPE: Invalid seek. File:" + name;
  ASSERT_EQ(log.errors.size(), 4u);
  EXPECT_EQ(Texts({log.errors[0], log.errors[2], log.errors[3]}), Texts(3, getFailed));
  EXPECT_EQ(log.errors[1].rfind(L"Set file position:fseek(0x", 0), 0u);
  EXPECT_EQ(log.errors[1].substr(log.errors[1].find(L',')), L",0,0) error! ESPIPE: Invalid seek. File:" + name);
  log.errors.clear();
  file->open(at("sparse"), 13);  // positions end at 2^31 - 1
  const std::vector<int> beyond{file->setPosition(INT_MAX), file->write("x", 1), file->getPosition(),
                                file->setPosition(0),       file->getArchiveSize(), file->setPosition(-1)};
  EXPECT_EQ(beyond, (std::vector<int>{INT_MAX, 1, -1, 0, -1, -1}));
  const std::wstring sparse = (dir / "sparse").wstring();
  const std::wstring tooFar = L"Get file position error! UNKNOWN: Unknown error File:" + sparse;
  EXPECT_EQ(Texts(log.errors.begin(), log.errors.begin() + 2), Texts(2, tooFar));
  EXPECT_EQ(log.errors.at(2).substr(log.errors[2].find(L',')), L",-1,0) error! EINVAL: Invalid argument. File:" + sparse);
  file->open(L"/dev/zero", 4);  // no regular file: sized by seeking
  EXPECT_EQ(file->getArchiveSize(), 0);
}

TEST_F(FileTest, Md5HashesTheWholeFileAndKeepsThePosition) {
  const std::string bytes(70000, 'x');  // over two steps of 32 KiB
  Buffer whole(16), empty(16), digest;
  MD5Checksum(bytes.data(), static_cast<int>(bytes.size()), static_cast<unsigned char*>(whole.getBuffer()));
  MD5Checksum("", 0, static_cast<unsigned char*>(empty.getBuffer()));
  file->open(make("big", bytes), 4);
  file->setPosition(100);
  EXPECT_TRUE(file->calcMd5(digest) && digest == whole);
  EXPECT_EQ(file->getPosition(), 100);
  file->close();
  EXPECT_TRUE(file->calcMd5(digest) && digest == empty);  // closed: no read at all
  EXPECT_TRUE(calcFileMd5(at("big"), digest) && digest == whole);
  EXPECT_FALSE(calcFileMd5(at("missing"), digest));
  struct ShortFile : File {
    int read(void* data, int size) override { return File::read(data, size - 1); }
  };
  THandle<ShortFile> shorter(new ShortFile);
  EXPECT_TRUE(shorter->open(at("big"), 4) && shorter->setPosition(2) == 2 && !shorter->calcMd5(digest));
  EXPECT_TRUE(digest == whole && shorter->getPosition() == 2);
}

TEST(FileErrorTest, ErrnoTextsGoByConstantName) {
  const std::pair<int, const wchar_t*> rows[] = {
      {0, L""}, {ENOENT, L"ENOENT: No such file or directory."}, {EILSEQ, L"EILSEQ: Illegal byte sequence."},
      {EDEADLK, L"EDEADLK: Resource deadlock would occur."}, {15, L"UNKNOWN: Unknown error(15)."},
      {42, L"UNKNOWN: Unknown error(42)."}, {43, L"UNKNOWN: Unknown error"}, {-1, L"UNKNOWN: Unknown error"}};
  for (const auto& [code, text] : rows) {
    errno = code;
    EXPECT_STREQ(File::getLastError(), text) << code;
  }
}

TEST_F(FileTest, TempFilesLieInTheTemporaryDirectoryAndDeleteThemselves) {
  setenv("TMPDIR", (dir.string() + "/").c_str(), 1);
  const fs::path first = TempFile::getTempFileName().getBuffer(), second = TempFile::getTempFileName().getBuffer();
  EXPECT_TRUE(first != second && fs::exists(first) && fs::exists(second) && first.parent_path() == dir);
  THandle<TempFile> temp = TempFile::createTempFile();
  const fs::path path = temp->getFileName().getBuffer();
  EXPECT_STREQ(temp->getClassName(), L"TempFile");
  char back[4];
  const std::vector<int> answers{temp->write("spill", 5), temp->setPosition(1), temp->read(back, 4)};
  EXPECT_EQ(answers, (std::vector<int>{5, 1, 4}));
  EXPECT_EQ(std::string(back, 4), "pill");
  temp = nullptr;
  EXPECT_FALSE(fs::exists(path));

  setenv("TMPDIR", (dir / "missing").c_str(), 1);
  EXPECT_EQ(TempFile::getTempFileName(), L"");
  EXPECT_FALSE(TempFile::createTempFile());
  setenv("TMPDIR", "", 1);  // empty counts as unset
  const fs::path fallback = TempFile::getTempFileName().getBuffer();
  EXPECT_EQ(fallback.parent_path(), "/tmp");
  fs::remove(fallback);
  unsetenv("TMPDIR");
  const std::wstring reason = getErrorString(ENOENT).getBuffer();
  EXPECT_EQ(log.errors, (Texts{reason, reason, L"Create temp file error!"}));
  const fs::path inTmp = TempFile::getTempFileName().getBuffer();
  EXPECT_TRUE(inTmp.parent_path() == "/tmp" && fs::remove(inTmp));
}

TEST(FileSystemManagerTest, OneObjectExistsWhileTheLibraryIsLoaded) {
  const FileSystemManager* manager = FileSystemManager::getSingletonPtr();
  EXPECT_TRUE(manager && &FileSystemManager::getSingleton() == manager);
}

}  // namespace
}  // namespace orvo
