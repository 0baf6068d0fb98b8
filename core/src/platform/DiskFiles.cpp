#include "platform/DiskFiles.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <string>

#include <orvo/core/StringHelper.h>

namespace orvo::platform {
namespace {

// Names are UTF-8 on this system; a byte that is no UTF-8 reads as U+FFFD.
std::string toSystemName(const wchar_t* name) {
  return reinterpret_cast<const char*>(StringHelper::wideToUtf8(name).getBuffer());
}

std::string temporaryDirectory() {
  const char* directory = std::getenv("TMPDIR");
  std::string path = directory && *directory ? directory : "/tmp";
  while (path.size() > 1 && path.back() == '/') path.pop_back();
  return path;
}

}  // namespace

// The C library opens a directory for reading as if it were a file, and
// fails only at the first read; a directory is refused here at once, as a
// file system that keeps directories apart from files would.
std::FILE* openFile(const wchar_t* name, const char* mode) {
  std::FILE* stream = std::fopen(toSystemName(name).c_str(), mode);
  struct stat status;
  if (stream && fstat(fileno(stream), &status) == 0 && S_ISDIR(status.st_mode)) {
    std::fclose(stream);
    errno = EISDIR;
    return nullptr;
  }
  return stream;
}

bool removeFile(const wchar_t* name) { return std::remove(toSystemName(name).c_str()) == 0; }

String createUniqueFile() {
  std::string path = temporaryDirectory();
  if (path != "/") path += '/';
  path += "orvo-XXXXXX";
  const int descriptor = mkstemp(path.data());
  if (descriptor < 0) return {};
  // Only the name is wanted: the file is opened again by name as a stream.
  close(descriptor);
  return StringHelper::utf8ToWide(reinterpret_cast<const unsigned char*>(path.c_str()));
}

}  // namespace orvo::platform
