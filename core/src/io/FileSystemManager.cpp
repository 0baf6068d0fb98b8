#include <orvo/core/FileSystemManager.h>

#include <new>

#include "platform/Process.h"

namespace orvo {

template class Singleton<FileSystemManager>;

namespace {

FileSystemManager* fileSystemManager = nullptr;

void destroyFileSystemManager(void*) {
  delete fileSystemManager;
  fileSystemManager = nullptr;
}

// The one object lives from the library's load to its unload.
[[maybe_unused]] const bool fileSystemManagerAtLoad = [] {
  fileSystemManager = new (std::nothrow) FileSystemManager;
  platform::atExit(destroyFileSystemManager, nullptr);
  return true;
}();

}  // namespace
}  // namespace orvo
