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
  return true;
}

void File::close() {
  if (!handle) return;
  if (std::fclose(handle) != 0) Log::error(L"Close file error! File:%s", fileName.getBuffer());
  handle = nullptr;
  fileName = String();
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
  return transferResult(std::fread(data, 1, static_cast<std::size_t>(size), handle), L"Read file error! File:%s");
}

int File::peek(void* data, int size) const {
  if (!handle) return -1;
  if (size < 1) return 0;
  const int position = ftell_();
  const int count =
      transferResult(std::fread(data, 1, static_cast<std::size_t>(size), handle), L"Read file error! File:%s");
  if (count > 0) fseek_(position, SEEK_SET);
  return count;
}

int File::write(const void* data, int size) {
  if (!handle) return -1;
  if (size < 1) return 0;
  return transferResult(std::fwrite(data, 1, static_cast<std::size_t>(size), handle), L"Write file error! File:%s");
}

// The size, found by a seek to the end and back to `position`, the position
// noted first; -1 if any step fails.
int File::sizeFromPosition(int& position) const {
  position = ftell_();
  if (position < 0 || fseek_(0, SEEK_END) != 0) return -1;
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

int File::setPosition(int position) {
  if (!handle) return -1;
  return fseek_(position, SEEK_SET) == 0 ? position : -1;
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
