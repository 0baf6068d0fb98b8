#include <orvo/core/FileSystemManager.h>

#include <new>

#include "platform/Process.h"

namespace orvo {

template class Singleton<FileSystemManager>;

namespace {

// The one object lives from the library's load to its unload.
[[maybe_unused]] const bool fileSystemManagerAtLoad = [] {
  platform::atExit([](void* manager) { delete static_cast<FileSystemManager*>(manager); },
                   new (std::nothrow) FileSystemManager);
  return true;
}();

}  // namespace
}  // namespace orvo
