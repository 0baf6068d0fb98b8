// The queue itself: blocks of 4096 bytes in a list, oldest first. Writing
// fills the tail and appends blocks; past sixteen blocks in memory the newest
// full one moves to the temporary file (MemoryStreamSpill.cpp). Reading takes
// from the head and drops each block as it empties.
#include <orvo/core/MemoryStream.h>

#include <algorithm>
#include <climits>

#include <orvo/core/Log.h>

#include "io/MemoryStreamCaches.h"
#include "object/ClassFactorySteps.h"

namespace orvo {
namespace {

// Blocks that stay in memory before the stream spills to its file.
constexpr int kMemoryCacheLimit = 16;

}  // namespace

ObjectPool MemoryStream::MemoryCache::pool(sizeof(MemoryStream::MemoryCache), 252);

MemoryStream::Cache::~Cache() = default;
MemoryStream::MemoryCache::~MemoryCache() = default;

const bool MemoryStream::_setUpCreator_ =
    classfactory::registerLibraryClass(&MemoryStream::rtCreateInstance_, L"MemoryStream");

THandle<MemoryStream> MemoryStream::createInstance() { return THandle<MemoryStream>(new MemoryStream); }

THandle<Unknown> MemoryStream::rtCreateInstance_() { return THandle<Unknown>(new MemoryStream); }

THandle<Unknown> MemoryStream::rtCreateInstance() const { return rtCreateInstance_(); }

int MemoryStream::available() const { return size; }

int MemoryStream::write(const void* data, int count) {
  const auto* bytes = static_cast<const unsigned char*>(data);
  int written = 0;
  // No more than the readable count, an int, can hold.
  int remaining = std::min(count, INT_MAX - size);
  while (remaining > 0) {
    Cache* cache = caches.empty() ? nullptr : caches.back().get();
    if (!cache || cache->getFreeSize() <= 0) {
      if (memoryCacheCount >= kMemoryCacheLimit) cache = spillTail(cache);
      else cache = nullptr;
      if (!cache) cache = appendMemoryCache();
      if (!cache) {
        Log::error(L"Create memory cache error!");
        return written > 0 ? written : -1;
      }
    }
    const int n = cache->write(bytes + written, remaining);
    if (n <= 0) {
      Log::error(L"Write cache error!");
      return written > 0 ? written : -1;
    }
    written += n;
    size += n;
    remaining -= n;
  }
  return written;
}

MemoryStream::Cache* MemoryStream::appendMemoryCache() {
  THandle<MemoryCache> cache = MemoryCache::create();
  if (!cache) return nullptr;
  caches.push_back(cache);
  ++memoryCacheCount;
  return cache.get();
}

int MemoryStream::read(void* data, int count) {
  auto* bytes = static_cast<unsigned char*>(data);
  int total = 0;
  int remaining = count;
  while (remaining > 0) {
    if (caches.empty()) return total > 0 ? total : -1;
    Cache* cache = caches.front().get();
    // A read that would leave part of a file block brings the block back to
    // memory first, so that the rest is served without the file.
    if (cache->type == Cache::kFile && cache->available() > remaining) cache = bringBackHead();
    const int n = cache->read(bytes + total, remaining);
    if (n <= 0) {
      if (n == 0 || total > 0) return total;
      Log::error(L"Read cache error!");
      return -1;
    }
    total += n;
    remaining -= n;
    size -= n;
    if (cache->available() == 0) removeHead();
  }
  return total;
}

void MemoryStream::removeHead() {
  THandle<Cache> head = std::move(caches.front());
  caches.pop_front();
  if (head->type == Cache::kFile) {
    freeFileCache(head.get());
  } else {
    --memoryCacheCount;
  }
}

int MemoryStream::peek(void* data, int count) const {
  auto* bytes = static_cast<unsigned char*>(data);
  int total = 0;
  if (count <= 0) return 0;
  for (const THandle<Cache>& cache : caches) {
    // Once the request is met, the next block would answer 0 and end the walk.
    if (total == count) break;
    const int n = cache->peek(bytes + total, count - total);
    if (n > 0) {
      total += n;
      continue;
    }
    if (total == 0) return -1;
    if (cache->available() != 0) break;
  }
  return total;
}

namespace detail {

void writeMemoryStream(OutputStream& out, const MemoryStream& stream) {
  const int n = stream.available();
  Buffer bytes;
  if (bytes.setBufferSize(n) != n) ORVO_THROW("Alloc memory error!");
  if (stream.peek(bytes.getBuffer(), n) != n) ORVO_THROW("peek data error!");
  out << bytes;
}

void readMemoryStream(InputStream& in, MemoryStream& stream) {
  Buffer bytes;
  in >> bytes;
  if (stream.available() > 0) {
    // Emptied in block-sized steps; a block that cannot be read ends it.
    Buffer discard(MemoryStream::Cache::kBlockSize);
    while (stream.available() > 0 && stream.read(discard.getBuffer(), discard.getBufferSize()) > 0) {
    }
  }
  stream.write(bytes.getBuffer(), bytes.getBufferSize());
}

}  // namespace detail

void MemoryStream::importFrom(InputStream& in) { in >> *this; }

void MemoryStream::exportTo(OutputStream& out) const { out << *this; }

}  // namespace orvo
