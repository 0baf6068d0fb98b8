#include "platform/DiskFiles.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cwchar>

#include "text/Utf8Codec.h"

namespace orvo::platform {
namespace {

std::string toSystemName(const wchar_t* name) {
  const std::size_t length = std::wcslen(name);
  std::string bytes(utf8::encodedLength(name, length), '\0');
  utf8::encode(name, length, reinterpret_cast<unsigned char*>(bytes.data()), bytes.size());
  return bytes;
}

// A zero byte cannot come from the system, so the text is measured as a
// whole; a byte that is no UTF-8 becomes U+FFFD.
std::wstring fromSystemName(const std::string& bytes) {
  const auto* text = reinterpret_cast<const unsigned char*>(bytes.data());
  const utf8::Measure measure = utf8::measureDecoded(text, bytes.size());
  std::wstring name(measure.units, L'\0');
  utf8::decode(text, bytes.size(), name.data(), measure);
  return name;
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

std::wstring createUniqueFile() {
  std::string path = temporaryDirectory();
  if (path != "/") path += '/';
  path += "orvo-XXXXXX";
  const int descriptor = mkstemp(path.data());
  if (descriptor < 0) return {};
  // Only the name is wanted: the file is opened again by name as a stream.
  close(descriptor);
  return fromSystemName(path);
}

}  // namespace orvo::platform
