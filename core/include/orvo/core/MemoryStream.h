// MemoryStream.h: a first-in, first-out byte queue with the IO interface.
//
// write() appends at the tail, read() takes from the head, peek() copies from
// the head without taking, and nothing seeks. The bytes lie in 4096-byte
// blocks (caches): the first 65,536 bytes stay in memory, and beyond that the
// newest full block goes to one temporary file, so that a stream that holds a
// lot costs a bounded amount of memory. Reads bring file blocks back one at a
// time. The caller sees none of this: the four operations behave the same
// wherever the bytes lie, and a failure returns what was moved so far, or -1
// when nothing was, with the reason in the log.
//
//   THandle<MemoryStream> queue = MemoryStream::createInstance();
//   queue->write(header, 12);
//   OutputStream(queue.get()) << name;       // any typed value
//   int n = queue->read(buffer, sizeof buffer);
//
// In a binary stream a MemoryStream has the form of a Buffer holding its
// readable bytes (`out << *queue`); reading one (`in >> *queue`) replaces the
// contents.
//
// Threads: no lock. One thread at a time may use a stream, peek() and
// available() included, since the caches' cursors and the file's position are
// shared state; wrap it in a SecureIO to share it. Streams may be created and
// destroyed on any threads at once. A copy shares the caches of its source,
// so only one of the two may be used afterwards.
#pragma once

#include <concepts>
#include <deque>

#include <orvo/core/Buffer.h>
#include <orvo/core/Exception.h>
#include <orvo/core/IO.h>
#include <orvo/core/Stream.h>

namespace orvo {

class File;

class ORVO_API MemoryStream : public IO {
 public:
  // The pieces of the queue, defined inside the library.
  class Cache;
  class MemoryCache;
  class FileCache;

  // A new, empty stream.
  static THandle<MemoryStream> createInstance();

  // Member by member: the copy holds the same caches and file as `other`.
  MemoryStream(const MemoryStream& other);
  MemoryStream& operator=(const MemoryStream& other);

  // Appends up to `size` bytes; the count taken, or -1 if none could be.
  int write(const void* data, int size) override;
  // Takes up to `size` bytes from the head; the count, or -1 when the stream
  // is empty or the first block cannot be read.
  int read(void* data, int size) override;
  // Copies up to `size` bytes from the head without taking them.
  int peek(void* data, int size) const override;
  // The bytes readable now.
  int available() const override;

  const wchar_t* getClassName() const override { return L"MemoryStream"; }
  THandle<Unknown> rtCreateInstance() const override;
  // The stream form of a Buffer; importing replaces the contents.
  void importFrom(InputStream& in) override;
  void exportTo(OutputStream& out) const override;

  // True once MemoryStream is registered with the class factory.
  static const bool _setUpCreator_;

 protected:
  MemoryStream();
  ~MemoryStream() override;

 private:
  friend struct MemoryStreamInspector;  // Tests look at the cache list.

  static THandle<Unknown> rtCreateInstance_();

  Cache* spillTail(Cache* tail);
  Cache* appendMemoryCache();
  Cache* bringBackHead();
  void removeHead();
  void freeFileCache(Cache* cache);

  std::deque<THandle<Cache>> caches;  // Oldest first; the last is in memory.
  int size = 0;                       // Bytes readable now.
  int memoryCacheCount = 0;
  THandle<File> file;  // The temporary file, from the first spill.
  int fileCacheCount = 0;  // Regions of `file`, in `caches` or free.
  std::deque<THandle<FileCache>> freeFileCaches;  // Emptied regions, oldest first.
};

namespace detail {
// The two halves of the stream form, which raise Exception: "Alloc memory
// error!" or "peek data error!" on the way out, the Buffer's messages on the
// way in.
ORVO_API void writeMemoryStream(OutputStream& out, const MemoryStream& stream);
ORVO_API void readMemoryStream(InputStream& in, MemoryStream& stream);
}  // namespace detail

// Writes the readable bytes as a Buffer; they stay in the stream.
template <class TyOs>
  requires std::derived_from<TyOs, OutputStream>
TyOs& operator<<(TyOs& os, const MemoryStream& stream) {
  detail::writeMemoryStream(os, stream);
  return os;
}

// Reads a Buffer and makes its bytes the whole contents of the stream.
template <class TyIs>
  requires std::derived_from<TyIs, InputStream>
TyIs& operator>>(TyIs& is, MemoryStream& stream) {
  detail::readMemoryStream(is, stream);
  return is;
}

}  // namespace orvo
