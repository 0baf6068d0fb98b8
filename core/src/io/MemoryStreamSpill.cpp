// The file side of a MemoryStream: regions of one temporary file that take
// the newest full block once sixteen are in memory, and that come back to
// memory when a read takes part of one. Emptied regions are reused before the
// file grows; the file goes when its last region is free.
#include <algorithm>

#include <orvo/core/Log.h>
#include <orvo/core/MemoryStream.h>
#include <orvo/core/TempFile.h>

#include "io/MemoryStreamCaches.h"

namespace orvo {
namespace {

// The file grows no further from this size on: 2^31 - 8193, so that a region
// begun below it ends below the largest position a File can address.
constexpr int kFileSizeLimit = 0x7FFFDFFF;

}  // namespace

ObjectPool MemoryStream::FileCache::pool(sizeof(MemoryStream::FileCache), 56);

MemoryStream::FileCache::FileCache(File* spillFile, int begin) noexcept
    : Cache(kFile),
      file(spillFile),
      beginPosition(begin),
      endPosition(begin + kBlockSize),
      readPosition(begin),
      writePosition(begin) {}

MemoryStream::FileCache::~FileCache() = default;

THandle<MemoryStream::FileCache> MemoryStream::FileCache::create(File* file, int begin) {
  return THandle<FileCache>(new FileCache(file, begin));
}

int MemoryStream::FileCache::peek(void* dst, int n) const {
  n = fitTransfer(n, available());
  if (n < 0) return -1;
  if (file->setPosition(readPosition) != readPosition) return -1;
  return std::max(file->read(dst, n), -1);
}

int MemoryStream::FileCache::read(void* dst, int n) {
  const int count = peek(dst, n);
  if (count >= 1) readPosition += count;
  return count;
}

int MemoryStream::FileCache::write(const void* src, int n) {
  n = fitTransfer(n, getFreeSize());
  if (n < 0) return -1;
  if (file->setPosition(writePosition) != writePosition) return -1;
  const int count = file->write(src, n);
  if (count > 0) writePosition += count;
  return std::max(count, -1);
}

MemoryStream::MemoryStream() = default;
MemoryStream::MemoryStream(const MemoryStream& other) = default;
MemoryStream& MemoryStream::operator=(const MemoryStream& other) = default;

MemoryStream::~MemoryStream() {
  freeFileCaches.clear();
  file = nullptr;
  caches.clear();
}

// The tail is full and sixteen blocks or more are in memory: its bytes go to
// a region of the file, and it serves on, empty, as the tail. The newest
// block moves, not the oldest, so the first fifteen stay in memory. Answers
// the tail on success and when the file cannot be created (the write then
// fails on the full block); null when the region cannot be had or written,
// and the stream goes on in memory.
MemoryStream::Cache* MemoryStream::spillTail(Cache* tail) {
  if (!file) {
    file = TempFile::createTempFile();
    if (!file) {
      Log::error(L"Create file cache error!");
      return tail;
    }
  }
  auto* memory = static_cast<MemoryCache*>(tail);
  THandle<FileCache> region;
  const bool reused = !freeFileCaches.empty();
  if (reused) {
    // Reuse does not grow the file, so the size limit does not apply.
    region = freeFileCaches.front();
    region->clear();
  } else {
    const int fileSize = file->getArchiveSize();
    if (fileSize >= kFileSizeLimit) return nullptr;
    region = FileCache::create(file.get(), fileSize);
  }
  if (!region || region->write(memory->getData(), Cache::kBlockSize) != Cache::kBlockSize) {
    Log::error(L"Write file cache error!");
    return nullptr;
  }
  memory->clear();
  if (reused) {
    freeFileCaches.pop_front();
  } else {
    ++fileCacheCount;
  }
  caches.insert(caches.end() - 1, region);
  return memory;
}

// The head is a file block that the read will leave part of: it comes back
// to memory whole, and its region is freed. Answers the block to read from,
// the file block itself when no memory block can be had or filled.
MemoryStream::Cache* MemoryStream::bringBackHead() {
  Cache* region = caches.front().get();
  THandle<MemoryCache> memory = MemoryCache::create();
  if (!memory) {
    Log::warning(L"Create memory cache fail!");
    return region;
  }
  const int n = region->read(memory->getData(), Cache::kBlockSize);
  if (n <= 0) return region;
  memory->setSize(n);
  THandle<Cache> fileBlock = std::move(caches.front());
  caches.front() = memory;
  ++memoryCacheCount;
  if (fileBlock->available() > 0) {
    caches.insert(caches.begin() + 1, std::move(fileBlock));
  } else {
    freeFileCache(fileBlock.get());
  }
  return memory.get();
}

// When every region of the file is free, none holds data: the regions and
// the file go, and the last handle on the file deletes it.
void MemoryStream::freeFileCache(Cache* cache) {
  freeFileCaches.push_back(THandle<FileCache>(static_cast<FileCache*>(cache)));
  if (fileCacheCount == static_cast<int>(freeFileCaches.size())) {
    freeFileCaches.clear();
    fileCacheCount = 0;
    file = nullptr;
  }
}

}  // namespace orvo
