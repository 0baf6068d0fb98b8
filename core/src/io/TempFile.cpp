#include <orvo/core/TempFile.h>

#include <orvo/core/ErrorText.h>
#include <orvo/core/Log.h>

#include <new>

#include "platform/DiskFiles.h"

namespace orvo {

TempFile::THandle<TempFile> TempFile::createTempFile() {
  THandle<TempFile> file(new (std::nothrow) TempFile);
  if (file) {
    const String name = getTempFileName();
    // The name's file was just made, empty: it opens for reading and writing
    // as it is. Truncating it instead would change nothing in it, but ext4
    // then writes the file out to disk when it is closed, which a temporary
    // file never needs (a spilled MemoryStream paid a third of its time).
    if (file->open(name, OPEN_READ | OPEN_WRITE)) return file;
    // The reserved name would otherwise stay behind, owned by nobody.
    if (name.getBuffer()[0] != L'\0') platform::removeFile(name.getBuffer());
  }
  Log::error(L"Create temp file error!");
  return nullptr;
}

String TempFile::getTempFileName() {
  const String name = platform::createUniqueFile();
  if (name.getBuffer()[0] == L'\0') Log::error(L"%s", getLastErrorString().getBuffer());
  return name;
}

// A TempFile that was closed by hand has no name left to delete.
TempFile::~TempFile() {
  if (isInvalid()) return;
  const String name = getFileName();
  close();
  platform::removeFile(name.getBuffer());
}

}  // namespace orvo
