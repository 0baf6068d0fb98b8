#include <orvo/core/ObjectPool.h>

#include <cstdlib>
#include <cstring>
#include <new>

#include "platform/Process.h"
#include "platform/ThreadSlot.h"

namespace orvo {

// One general allocation holding `nodeCount` nodes of the same stride.
struct alignas(alignof(std::max_align_t)) ObjectPool::Slab {
  std::uint32_t nodeCount;
  std::uint32_t freeCount;
};

namespace {

// One thread's caches, at the places of their pools.
struct ThreadCaches {
  std::uint32_t capacity;
  void* entries;  // ObjectPool::ThreadCache[capacity]
};

std::atomic<std::uint32_t> poolsStarted{0};

constexpr std::size_t kAlignment = alignof(std::max_align_t);

constexpr std::size_t roundUp(std::size_t size) { return (size + kAlignment - 1) & ~(kAlignment - 1); }

}  // namespace

void releasePoolCachesOfThread(void* caches) noexcept;

namespace {

// The ending thread's cached objects go back to their pools.
constinit platform::ThreadSlot poolCaches(&releasePoolCachesOfThread);

}  // namespace

std::size_t ObjectPool::stride() const noexcept { return kHeaderSize + roundUp(_objectSize); }

ObjectPool::Node* ObjectPool::nodeAt(Slab* slab, std::uint32_t index) const noexcept {
  auto* first = reinterpret_cast<unsigned char*>(slab) + roundUp(sizeof(Slab));
  return reinterpret_cast<Node*>(first + index * stride());
}

void ObjectPool::push(Node*& head, Node* node) noexcept {
  node->prev = nullptr;
  node->next = head;
  if (head) head->prev = node;
  head = node;
}

void ObjectPool::unlink(Node*& head, Node* node) noexcept {
  if (node->prev) {
    node->prev->next = node->next;
  } else {
    head = node->next;
  }
  if (node->next) node->next->prev = node->prev;
}

void ObjectPool::start() noexcept {
  SpinGuard guard(_lock);
  if (_state.load(std::memory_order_relaxed) != NotStarted) return;
  _cacheIndex.store(poolsStarted.fetch_add(1, std::memory_order_relaxed) + 1, std::memory_order_relaxed);
  _state.store(Running, std::memory_order_release);
  platform::atExit([](void* pool) { static_cast<ObjectPool*>(pool)->close(); }, this);
}

ObjectPool::ThreadCache* ObjectPool::threadCache() const noexcept {
  const auto* caches = static_cast<ThreadCaches*>(poolCaches.get());
  const std::uint32_t index = _cacheIndex.load(std::memory_order_relaxed);
  if (!caches || index == 0 || index > caches->capacity) return nullptr;
  return static_cast<ThreadCache*>(caches->entries) + (index - 1);
}

// Makes room for this pool in the calling thread's caches; null if memory or
// a system key runs out, and then the thread does without.
[[gnu::noinline]] ObjectPool::ThreadCache* ObjectPool::makeThreadCache() noexcept {
  const std::uint32_t index = _cacheIndex.load(std::memory_order_relaxed);
  auto* caches = static_cast<ThreadCaches*>(poolCaches.get());
  if (!caches) {
    caches = static_cast<ThreadCaches*>(std::calloc(1, sizeof(ThreadCaches)));
    if (!caches) return nullptr;
    if (!poolCaches.set(caches)) {
      std::free(caches);
      return nullptr;
    }
  }
  if (index > caches->capacity) {
    const std::uint32_t capacity = index < 8 ? 8 : index * 2;
    void* entries = std::realloc(caches->entries, capacity * sizeof(ThreadCache));
    if (!entries) return nullptr;
    std::memset(static_cast<ThreadCache*>(entries) + caches->capacity, 0,
                (capacity - caches->capacity) * sizeof(ThreadCache));
    caches->entries = entries;
    caches->capacity = capacity;
  }
  ThreadCache* cache = static_cast<ThreadCache*>(caches->entries) + (index - 1);
  cache->pool = this;
  return cache;
}

void releasePoolCachesOfThread(void* threadCaches) noexcept {
  using ThreadCache = ObjectPool::ThreadCache;
  auto* caches = static_cast<ThreadCaches*>(threadCaches);
  auto* entries = static_cast<ThreadCache*>(caches->entries);
  for (std::uint32_t i = 0; i < caches->capacity; ++i) {
    if (!entries[i].pool) continue;
    entries[i].pool->releaseCache(entries[i]);
    entries[i].pool->letGoOfSoleCache();
  }
  std::free(entries);
  std::free(caches);
}

// Any thread but the owner pays the owner's check on top of its lookup.
ObjectPool::ThreadCache* ObjectPool::cacheOfThisThread() noexcept {
  if (ownedByThisThread() || claimSoleCache()) return &_soleCache;
  return threadCache();
}

// A thread claims the cache while it is unowned; the only thread of the
// process takes it over whoever held it (a process forked from another
// thread), and uses it even without a place in the thread caches. Any other
// owner needs that place, whose exit hook lets go of the cache.
bool ObjectPool::claimSoleCache() noexcept {
  const bool sole = detail::isSingleThreadedProcess();
  if ((!sole && _owner.load(std::memory_order_relaxed) != 0) ||
      _state.load(std::memory_order_acquire) != Running) {
    return false;
  }
  if (!makeThreadCache()) return sole;
  const std::uintptr_t self = identityOf(std::this_thread::get_id());
  if (sole) {
    _owner.store(self, std::memory_order_relaxed);
    return true;
  }
  std::uintptr_t unowned = 0;
  // Acquire: what the last owner left in the cache before letting go.
  return _owner.compare_exchange_strong(unowned, self, std::memory_order_acquire, std::memory_order_relaxed);
}

// Runs on a thread that ends: a later thread may get the same identity.
void ObjectPool::letGoOfSoleCache() noexcept {
  if (!ownedByThisThread()) return;
  releaseCache(_soleCache);
  _owner.store(0, std::memory_order_release);
}

// The paths of other threads, and of the sole thread when its cache is empty
// or full.
[[gnu::noinline]] void* ObjectPool::allocateFromThreadCache(std::size_t size) noexcept {
  // Started first, so that the first allocation on the only thread makes it
  // the owner.
  if (_state.load(std::memory_order_acquire) == NotStarted) start();
  if (size == _objectSize) {
    if (ThreadCache* cache = cacheOfThisThread(); cache && cache->count > 0) return cache->take();
  }
  return allocateShared(size);
}

[[gnu::noinline]] void ObjectPool::releaseToThreadCache(void* object) noexcept {
  // A closing pool frees slabs as they empty, so nothing is kept then.
  if (object && sizeOf(object) == _objectSize && _state.load(std::memory_order_relaxed) == Running) {
    ThreadCache* cache = cacheOfThisThread();
    if (!cache) cache = makeThreadCache();
    if (cache && cache->count < kThreadCacheLimit) {
      cache->put(object);
      return;
    }
  }
  releaseShared(object);
}

[[gnu::noinline]] void* ObjectPool::allocateShared(std::size_t size) noexcept {
  if (size != _objectSize) return allocateOversized(size);

  Node* node = takeFreeNode();
  if (!node) {
    Slab* slab = makeSlab();
    if (!slab) return nullptr;
    SpinGuard guard(_lock);
    addSlab(slab);
    node = nodeAt(slab, slab->nodeCount - 1);
    push(_used, node);
    ++_usedCount;
  }
  return reinterpret_cast<unsigned char*>(node) + kHeaderSize;
}

ObjectPool::Node* ObjectPool::takeFreeNode() noexcept {
  SpinGuard guard(_lock);
  Node* node = _free;
  if (!node) return nullptr;
  unlink(_free, node);
  --_freeTotal;
  push(_used, node);
  ++_usedCount;
  --static_cast<Slab*>(node->slab)->freeCount;
  return node;
}

// Allocated outside the lock, since a large slab may come straight from the
// kernel.
ObjectPool::Slab* ObjectPool::makeSlab() noexcept {
  void* memory = std::malloc(roundUp(sizeof(Slab)) + _nodeCount * stride());
  if (!memory) return nullptr;
  Slab* slab = new (memory) Slab{_nodeCount, _nodeCount - 1};
  for (std::uint32_t i = 0; i < _nodeCount; ++i) {
    Node* node = nodeAt(slab, i);
    node->slab = slab;
    node->size = _objectSize;
  }
  return slab;
}

// Puts all but the last node of a new slab on the free list, in address order.
void ObjectPool::addSlab(Slab* slab) noexcept {
  for (std::uint32_t i = slab->nodeCount - 1; i-- > 0;) push(_free, nodeAt(slab, i));
  _freeTotal += slab->nodeCount - 1;
  ++_slabCount;
}

void ObjectPool::unlinkSlab(Slab* slab) noexcept {
  for (std::uint32_t i = 0; i < slab->nodeCount; ++i) unlink(_free, nodeAt(slab, i));
  --_slabCount;
}

void* ObjectPool::allocateOversized(std::size_t size) noexcept {
  void* memory = std::malloc(kHeaderSize + size);
  if (!memory) return nullptr;
  Node* node = static_cast<Node*>(memory);
  node->slab = memory;
  node->size = size;
  SpinGuard guard(_lock);
  push(_used, node);
  ++_usedCount;
  return static_cast<unsigned char*>(memory) + kHeaderSize;
}

void ObjectPool::releaseOversized(Node* node) noexcept {
  {
    SpinGuard guard(_lock);
    unlink(_used, node);
    --_usedCount;
  }
  std::free(node->slab);
}

[[gnu::noinline]] void ObjectPool::releaseShared(void* object) noexcept {
  if (!object) return;
  Node* node = nodeOf(object);
  if (node->size != _objectSize) {
    releaseOversized(node);
    return;
  }
  releaseToLists(node);
}

void ObjectPool::releaseThreadCache() noexcept {
  if (ThreadCache* cache = threadCache()) releaseCache(*cache);
  if (ownsSoleCache()) releaseCache(_soleCache);
}

void ObjectPool::releaseCache(ThreadCache& cache) noexcept {
  while (cache.count > 0) releaseToLists(nodeOf(cache.take()));
}

void ObjectPool::releaseToLists(Node* node) noexcept {
  Slab* emptySlab = nullptr;
  {
    SpinGuard guard(_lock);
    Slab* slab = static_cast<Slab*>(node->slab);
    unlink(_used, node);
    --_usedCount;
    ++slab->freeCount;
    // A running pool keeps its last free slab; a closing one keeps nothing.
    const bool running = _state.load(std::memory_order_relaxed) == Running;
    if (slab->freeCount == slab->nodeCount && (!running || slab->nodeCount <= _freeTotal)) {
      _freeTotal -= slab->nodeCount - 1;
      push(_free, node);  // So that unlinkSlab finds every node of the slab on one list.
      unlinkSlab(slab);
      emptySlab = slab;
    } else {
      ++_freeTotal;
      push(_free, node);
    }
  }
  std::free(emptySlab);
}

void ObjectPool::close() noexcept {
  _state.store(Closing, std::memory_order_release);
  releaseThreadCache();
  SpinGuard guard(_lock);
  Node* node = _free;
  while (node) {
    Slab* slab = static_cast<Slab*>(node->slab);
    if (slab->freeCount != slab->nodeCount) {
      node = node->next;
      continue;
    }
    _freeTotal -= slab->nodeCount;
    unlinkSlab(slab);
    std::free(slab);
    node = _free;
  }
}

std::uint32_t ObjectPool::getSlabCount() const noexcept {
  SpinGuard guard(_lock);
  return _slabCount;
}

std::uint32_t ObjectPool::getFreeTotal() const noexcept {
  SpinGuard guard(_lock);
  return _freeTotal;
}

std::uint32_t ObjectPool::getUsedCount() const noexcept {
  SpinGuard guard(_lock);
  return _usedCount;
}

}  // namespace orvo
