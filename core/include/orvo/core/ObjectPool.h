// ObjectPool.h: the fixed-size allocator behind small objects made and
// dropped at a high rate.
//
// A class routes its own operator new and operator delete to one static pool,
// which hands out objects of the class's size from slabs of `nodeCount`
// objects. A request of another size (a derived class) is served by a general
// allocation and tracked the same way. A running pool keeps its last free
// slab; what is free at process exit is given back then, and slabs still in
// use at exit go when their last object does.
//
//   class Record {
//    public:
//     static void* operator new(std::size_t size) { return pool.allocate(size); }
//     static void operator delete(void* p) { pool.release(p); }
//    private:
//     static ObjectPool pool;   // ObjectPool Record::pool(sizeof(Record), 73);
//   };
//
// A pool must have static storage duration: its constructor is constexpr, so
// it is ready before any constructor of the program runs.
//
// Each thread keeps up to 16 released objects of each pool at hand and serves
// its next allocations from them without taking the pool's lock. Those count
// as in use until the thread's cache of that pool overflows, the thread ends,
// or the thread calls releaseThreadCache(). Any number of pools may do so.
//
// Threads: allocate and release may run on any threads at once, and an object
// may be released on another thread than the one that allocated it.
#pragma once

#include <atomic>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <thread>

#include <orvo/core/Export.h>
#include <orvo/core/ReferenceCount.h>
#include <orvo/core/SpinLock.h>

namespace orvo {

class ORVO_API ObjectPool {
 public:
  constexpr ObjectPool(std::size_t objectSize, std::uint32_t nodeCount) noexcept
      : _objectSize(objectSize), _nodeCount(nodeCount < 1 ? 1 : nodeCount) {}
  ObjectPool(const ObjectPool&) = delete;
  ObjectPool& operator=(const ObjectPool&) = delete;

  // Storage for one object of `size` bytes, aligned for any type; null if
  // memory is exhausted.
  void* allocate(std::size_t size) noexcept {
    if (size == _objectSize && ownsSoleCache() && _soleCache.count > 0) return _soleCache.take();
    return allocateFromThreadCache(size);
  }

  // Gives back storage from allocate; null is ignored.
  void release(void* object) noexcept {
    if (object && ownsSoleCache() && sizeOf(object) == _objectSize &&
        _state.load(std::memory_order_relaxed) == Running && _soleCache.count < kThreadCacheLimit) {
      _soleCache.put(object);
      return;
    }
    releaseToThreadCache(object);
  }

  // Gives the objects that the calling thread keeps at hand back to the
  // pool's free lists, where the slab rules apply to them.
  void releaseThreadCache() noexcept;

  // The process-exit step: frees every slab that has no object in use. Later
  // releases free their slab as soon as it is empty.
  void close() noexcept;

  // Figures for diagnostics and tests.
  std::size_t getObjectSize() const noexcept { return _objectSize; }
  std::uint32_t getNodeCount() const noexcept { return _nodeCount; }
  std::uint32_t getSlabCount() const noexcept;
  std::uint32_t getFreeTotal() const noexcept;
  std::uint32_t getUsedCount() const noexcept;

 private:
  // The header in front of every object.
  struct Node {
    Node* prev;
    Node* next;
    void* slab;        // The slab, or for an oversized object its own allocation.
    std::size_t size;  // The size that was asked for.
  };
  struct Slab;
  enum State : std::uint32_t { NotStarted = 0, Running = 1, Closing = 2 };

  static constexpr std::size_t kHeaderSize =
      (sizeof(Node) + alignof(std::max_align_t) - 1) & ~(alignof(std::max_align_t) - 1);

  static Node* nodeOf(void* object) noexcept {
    return reinterpret_cast<Node*>(static_cast<unsigned char*>(object) - kHeaderSize);
  }
  static std::size_t sizeOf(void* object) noexcept { return nodeOf(object)->size; }

  // The objects one thread keeps at hand for this pool: a stack linked
  // through the first word of each.
  struct ThreadCache {
    ObjectPool* pool;  // Null while unused.
    void* top;
    std::uint32_t count;

    void* take() noexcept {
      void* object = top;
      top = *static_cast<void**>(object);
      --count;
      return object;
    }
    void put(void* object) noexcept {
      *static_cast<void**>(object) = top;
      top = object;
      ++count;
    }
  };
  ThreadCache* threadCache() const noexcept;
  ThreadCache* makeThreadCache() noexcept;
  ThreadCache* cacheOfThisThread() noexcept;
  bool claimSoleCache() noexcept;
  // The owner's test stays inline, so that the owner's common paths make no
  // call into the library; the one call it makes is the C library's cheap
  // question for the calling thread's identity, and only once the process
  // has more than one thread.
  bool ownedByThisThread() const noexcept {
    return _owner.load(std::memory_order_relaxed) == identityOf(std::this_thread::get_id());
  }
  // A std::thread::id as a word, since the id itself cannot start a constant
  // pool. The id of no thread is the zero word.
  static std::uintptr_t identityOf(std::thread::id thread) noexcept {
    static_assert(sizeof(std::thread::id) == sizeof(std::uintptr_t));
    return std::bit_cast<std::uintptr_t>(thread);
  }
  bool ownsSoleCache() const noexcept { return detail::isSingleThreadedProcess() || ownedByThisThread(); }
  void letGoOfSoleCache() noexcept;
  void releaseCache(ThreadCache& cache) noexcept;
  // The exit hook of a thread's caches.
  friend void releasePoolCachesOfThread(void* caches) noexcept;

  static constexpr std::uint32_t kThreadCacheLimit = 16;

  void* allocateFromThreadCache(std::size_t size) noexcept;
  void releaseToThreadCache(void* object) noexcept;
  void* allocateShared(std::size_t size) noexcept;
  void releaseShared(void* object) noexcept;
  void start() noexcept;
  void* allocateOversized(std::size_t size) noexcept;
  void releaseOversized(Node* node) noexcept;
  void releaseToLists(Node* node) noexcept;
  Node* takeFreeNode() noexcept;
  Slab* makeSlab() noexcept;
  void addSlab(Slab* slab) noexcept;
  void unlinkSlab(Slab* slab) noexcept;
  Node* nodeAt(Slab* slab, std::uint32_t index) const noexcept;
  std::size_t stride() const noexcept;

  static void push(Node*& head, Node* node) noexcept;
  static void unlink(Node*& head, Node* node) noexcept;

  const std::size_t _objectSize;
  const std::uint32_t _nodeCount;
  mutable SpinLock _lock;
  std::atomic<std::uint32_t> _state{NotStarted};
  Node* _used = nullptr;
  Node* _free = nullptr;
  std::uint32_t _freeTotal = 0;
  std::uint32_t _slabCount = 0;
  std::uint32_t _usedCount = 0;
  // 1-based place of this pool in each thread's caches; 0 until started.
  std::atomic<std::uint32_t> _cacheIndex{0};
  // The cache that needs no per-thread lookup. It belongs to the process's
  // only thread, and once there are more, to the thread named by _owner: the
  // one that used it last while alone, or the first to find it unowned. An
  // owner lets go of it before it ends.
  ThreadCache _soleCache{this, nullptr, 0};
  std::atomic<std::uintptr_t> _owner{0};  // identityOf the owner; 0 for none.
};

}  // namespace orvo
