#include <orvo/core/File.h>

#include <orvo/core/Log.h>
#include <orvo/core/MD5.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <memory>
#include <new>

#include "io/ErrnoText.h"
#include "platform/DiskFiles.h"
#include "platform/ErrorText.h"

namespace orvo {
namespace {

// The C library's stream mode of each accepted set of OPEN_ bits; null for
// any other set.
const char* streamModeOf(int mode) {
  switch (mode) {
    case File::OPEN_READ:
      return "rb";
    case File::OPEN_WRITE | File::OPEN_CREATE:
      return "wb";
    case File::OPEN_WRITE | File::OPEN_CREATE | File::OPEN_APPEND:
      return "ab";
    case File::OPEN_READ | File::OPEN_WRITE:
      return "r+b";
    case File::OPEN_READ | File::OPEN_WRITE | File::OPEN_CREATE:
      return "w+b";
    case File::OPEN_READ | File::OPEN_WRITE | File::OPEN_CREATE | File::OPEN_APPEND:
      return "a+b";
    default:
      return nullptr;
  }
}

constexpr int md5Step = 32768;

}  // namespace

File::THandle<File> File::createInstance() { return THandle<File>(new (std::nothrow) File); }

File::~File() { close(); }

bool File::open(const String& name, int mode) {
  // `name` may be this file's own name, which close() empties.
  const String requested = name;
  close();
  if (requested.getBuffer()[0] == L'\0') return false;
  std::FILE* stream = nullptr;
  if (const char* streamMode = streamModeOf(mode)) {
    stream = platform::openFile(requested.getBuffer(), streamMode);
  } else {
    errno = EINVAL;
  }
  if (!stream) {
    Log::error(L"Open file error! %s File:%s", getLastError(), requested.getBuffer());
    return false;
  }
  handle = stream;
  fileName = requested;
  learnPosition();
  return true;
}

bool File::setBuffered(bool buffered) {
  if (!handle || std::setvbuf(handle, nullptr, buffered ? _IOFBF : _IONBF, BUFSIZ) != 0) return false;
  learnPosition();
  return true;
}

// A seek that moves nothing tells the C library where the stream stands;
// until one (after opening, after setvbuf), every ftell asks the system.
void File::learnPosition() { std::fseek(handle, 0, SEEK_CUR); }

void File::close() {
  if (!handle) return;
  if (std::fclose(handle) != 0) Log::error(L"Close file error! File:%s", fileName.getBuffer());
  handle = nullptr;
  fileName = String();
  lastTransfer = Transfer::none;
  deferredSeek = -1;
}

// A transfer of nothing is a failure, except while errno says EINVAL, which
// the design lets pass in silence; so a read at the end of the file logs.
int File::transferResult(std::size_t count, const wchar_t* message) const {
  if (count > 0) return static_cast<int>(count);
  if (platform::lastErrorCode() != EINVAL) Log::error(message, fileName.getBuffer());
  return 0;
}

int File::read(void* data, int size) {
  if (!handle) return -1;
  if (size < 1) return 0;
  beginTransfer(Transfer::reading);
  return transferResult(std::fread(data, 1, static_cast<std::size_t>(size), handle), L"Read file error! File:%s");
}

int File::peek(void* data, int size) const {
  if (!handle) return -1;
  if (size < 1) return 0;
  const int position = ftell_();
  beginTransfer(Transfer::reading);
  const int count =
      transferResult(std::fread(data, 1, static_cast<std::size_t>(size), handle), L"Read file error! File:%s");
  if (count > 0) fseek_(position, SEEK_SET);
  return count;
}

int File::write(const void* data, int size) {
  if (!handle) return -1;
  if (size < 1) return 0;
  beginTransfer(Transfer::writing);
  return transferResult(std::fwrite(data, 1, static_cast<std::size_t>(size), handle), L"Write file error! File:%s");
}

// The size, with `position` noted first; -1 if any step fails. A regular
// file's size is asked of the system after a flush, which gives what a seek
// to the end and back would give without moving the position twice: each
// move is a system call, and MemoryStream asks for the size of its spill
// file at every block. With the end-of-file indicator set (which the seek
// would clear), or for anything but a regular file, it seeks.
int File::sizeFromPosition(int& position) const {
  position = ftell_();
  if (position < 0) return -1;
  if (std::feof(handle) || (platform::pendingOutput(handle) > 0 && std::fflush(handle) != 0)) {
    return sizeBySeeking(position);
  }
  const long long size = platform::regularFileSize(handle);
  if (size < 0 || size > INT_MAX) return sizeBySeeking(position);
  // The seek would have ended a read or a write; the next transfer still
  // makes it if it turns round.
  deferredSeek = position;
  return static_cast<int>(size);
}

int File::sizeBySeeking(int position) const {
  if (fseek_(0, SEEK_END) != 0) return -1;
  const int size = ftell_();
  if (size < 0 || fseek_(position, SEEK_SET) != 0) return -1;
  return size;
}

int File::getArchiveSize() const {
  if (!handle) return -1;
  int position = 0;
  return sizeFromPosition(position);
}

// After a read that hit the end, -1 rather than 0, until a seek clears the
// stream's end-of-file indicator.
int File::available() const {
  if (!handle || std::feof(handle)) return -1;
  int position = 0;
  const int size = sizeFromPosition(position);
  return size < 0 ? -1 : size - position;
}

int File::getPosition() const { return handle ? ftell_() : -1; }

// A seek flushes the buffer, clears the end-of-file indicator and moves the
// position. When there is nothing to flush or clear and the stream stands
// at `position` already, it is skipped: reading or writing a file block by
// block then costs no system call beyond the transfers.
int File::setPosition(int position) {
  if (!handle) return -1;
  if (position >= 0 && !std::feof(handle) && platform::pendingOutput(handle) == 0 &&
      std::ftell(handle) == position) {
    deferredSeek = position;
    return position;
  }
  return fseek_(position, SEEK_SET) == 0 ? position : -1;
}

void File::beginTransfer(Transfer direction) const {
  if (deferredSeek >= 0 && lastTransfer != Transfer::none && lastTransfer != direction) {
    fseek_(deferredSeek, SEEK_SET);
  }
  deferredSeek = -1;
  lastTransfer = direction;
}

int File::ftell_() const {
  const long position = std::ftell(handle);
  if (position >= 0 && position <= INT_MAX) return static_cast<int>(position);
  if (position > INT_MAX) errno = EOVERFLOW;
  Log::error(L"Get file position error! %s File:%s", getLastError(), fileName.getBuffer());
  return -1;
}

int File::fseek_(long offset, int origin) const {
  const int result = std::fseek(handle, offset, origin);
  deferredSeek = -1;
  if (result == 0) lastTransfer = Transfer::none;
  if (result != 0) {
    Log::error(L"Set file position:fseek(%p,%d,%d) error! %s File:%s", static_cast<void*>(handle),
               static_cast<int>(offset), origin, getLastError(), fileName.getBuffer());
  }
  return result;
}

bool File::calcMd5(Buffer& digest) {
  MD5Context context;
  MD5Init(&context);
  const int start = getPosition();
  setPosition(0);
  const int size = getArchiveSize();
  if (size > 0) {
    // 32 KiB on the stack would take half of a 64 KiB thread stack, so the
    // step buffer is one heap block per digest, freed on the way out.
    std::unique_ptr<unsigned char[]> step(new (std::nothrow) unsigned char[md5Step]);
    for (int done = 0; done < size;) {
      const int n = std::min(size - done, md5Step);
      if (!step || read(step.get(), n) != n) {
        setPosition(start);
        return false;
      }
      MD5Update(&context, step.get(), static_cast<unsigned int>(n));
      done += n;
    }
  }
  setPosition(start);
  if (digest.setBufferSize(16) != 16) return false;
  MD5Final(static_cast<unsigned char*>(digest.getBuffer()), &context);
  return true;
}

const wchar_t* File::getLastError() { return io::errnoText(platform::lastErrorCode()); }

bool calcFileMd5(const String& fileName, Buffer& digest) {
  const Unknown::THandle<File> file = File::createInstance();
  return file && file->open(fileName, File::OPEN_READ) && file->calcMd5(digest);
}

}  // namespace orvo
