// The pieces of a MemoryStream's queue: blocks of 4096 bytes, each either in
// memory (MemoryCache) or a region of the stream's temporary file
// (FileCache). Both come from object pools shared by all streams of the
// process, so that a block made and dropped costs no general allocation.
// Only MemoryStream makes them; a creation gives a null handle when the pool
// has no memory.
#pragma once

#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>

#include <orvo/core/MemoryStream.h>
#include <orvo/core/ObjectPool.h>

#include "io/MemoryBlock.h"

namespace orvo {

class MemoryStream::Cache : public IO {
 public:
  static constexpr int kMemory = 0;
  static constexpr int kFile = 1;
  static constexpr int kBlockSize = 4096;

  const wchar_t* getClassName() const override { return L"Cache"; }
  // Room left for write.
  virtual int getFreeSize() const = 0;

  // kMemory or kFile; the stream asks this rather than the run-time class.
  const int type;

 protected:
  explicit Cache(int cacheType) noexcept : type(cacheType) {}
  ~Cache() override;
};

class MemoryStream::MemoryCache final : public Cache {
 public:
  static THandle<MemoryCache> create() { return THandle<MemoryCache>(new MemoryCache); }

  const wchar_t* getClassName() const override { return L"MemoryCache"; }
  int available() const override { return writePosition - readPosition; }
  int getFreeSize() const override { return kBlockSize - writePosition; }
  int peek(void* dst, int n) const override {
    block.setPosition(readPosition);
    return block.read(dst, n < available() ? n : available());
  }
  int read(void* dst, int n) override {
    const int count = peek(dst, n);
    if (count >= 1) readPosition += count;
    return count;
  }
  int write(const void* src, int n) override {
    block.setPosition(writePosition);
    const int count = block.write(src, n);
    if (count >= 1) writePosition += count;
    return count;
  }

  void clear() noexcept { readPosition = writePosition = 0; }
  // After the block was filled directly: `n` bytes, clamped to the block.
  void setSize(int n) noexcept {
    writePosition = std::clamp(n, 0, kBlockSize);
    readPosition = std::min(readPosition, writePosition);
  }
  unsigned char* getData() noexcept { return block.getData(); }

  static void* operator new(std::size_t size) noexcept { return pool.allocate(size); }
  static void operator delete(void* object) noexcept { pool.release(object); }

 private:
  MemoryCache() noexcept : Cache(kMemory) {}
  ~MemoryCache() override;

  mutable MemoryBlock<kBlockSize> block;  // Its cursor moves on peek too.
  int readPosition = 0;
  int writePosition = 0;

  static ObjectPool pool;
};

// A 4096-byte region of the temporary file, [beginPosition, endPosition). It
// holds the file, so the file lives as long as any region of it does.
class MemoryStream::FileCache final : public Cache {
 public:
  // A region on `file` from `begin`, empty.
  static THandle<FileCache> create(File* file, int begin);

  const wchar_t* getClassName() const override { return L"FileCache"; }
  int available() const override { return writePosition - readPosition; }
  int getFreeSize() const override { return endPosition - writePosition; }
  int peek(void* dst, int n) const override;
  int read(void* dst, int n) override;
  int write(const void* src, int n) override;

  void clear() noexcept { readPosition = writePosition = beginPosition; }

  static void* operator new(std::size_t size) noexcept { return pool.allocate(size); }
  static void operator delete(void* object) noexcept { pool.release(object); }

 private:
  FileCache(File* file, int begin) noexcept;
  ~FileCache() override;

  THandle<File> file;
  int beginPosition = 0;
  int endPosition = 0;
  int readPosition = 0;
  int writePosition = 0;

  static ObjectPool pool;
};

// What tests see of a stream's queue.
struct MemoryStreamInspector {
  // The classes of the caches from the head: 'm' in memory, 'f' in the file.
  static std::string shape(const MemoryStream& s) {
    std::string kinds;
    for (const auto& cache : s.caches) {
      const std::wstring_view name = cache->getClassName();
      kinds += name == L"MemoryCache" ? 'm' : (name == L"FileCache" ? 'f' : '?');
    }
    return kinds;
  }
  static int memoryCaches(const MemoryStream& s) { return s.memoryCacheCount; }
  static int fileCaches(const MemoryStream& s) { return s.fileCacheCount; }
  static int freeFileCaches(const MemoryStream& s) { return static_cast<int>(s.freeFileCaches.size()); }
  static File* file(const MemoryStream& s) { return s.file.get(); }
};

}  // namespace orvo
