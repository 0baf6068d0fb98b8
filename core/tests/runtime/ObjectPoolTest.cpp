// The slab allocator: slab accounting, oversized requests, thread caches and
// the exit step. CTest runs each case in a process of its own, which starts
// with one thread; cases that start threads also see the caches of a process
// with several.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <cstring>
#include <set>
#include <thread>
#include <vector>

#include <orvo/core/ObjectPool.h>

namespace orvo {
namespace {

constexpr std::size_t kSize = 40;
constexpr std::uint32_t kNodes = 8;

class ObjectPoolTest : public ::testing::Test {
 protected:
  // Pools have static storage, as their exit step needs; a fresh one per test
  // keeps figures apart.
  alignas(ObjectPool) static inline unsigned char storage[8][sizeof(ObjectPool)];
  static inline int poolsMade = 0;
  ObjectPool& pool = *new (storage[poolsMade++]) ObjectPool(kSize, kNodes);

  std::vector<void*> allocate(std::uint32_t count) {
    std::vector<void*> objects;
    for (std::uint32_t i = 0; i < count; ++i) objects.push_back(pool.allocate(kSize));
    return objects;
  }
  // Takes `count` objects and gives them back through the thread's cache.
  void cycle(std::uint32_t count) {
    for (void* object : allocate(count)) pool.release(object);
  }
  // Releases through the thread's cache, then empties it into the lists.
  void release(const std::vector<void*>& objects) {
    for (void* object : objects) pool.release(object);
    pool.releaseThreadCache();
  }
  void expectFigures(std::uint32_t slabs, std::uint32_t free, std::uint32_t used) {
    EXPECT_EQ(pool.getSlabCount(), slabs);
    EXPECT_EQ(pool.getFreeTotal(), free);
    EXPECT_EQ(pool.getUsedCount(), used);
  }
};

TEST_F(ObjectPoolTest, SlabsHandOutDistinctAlignedObjects) {
  EXPECT_EQ(pool.getObjectSize(), kSize);
  EXPECT_EQ(pool.getNodeCount(), kNodes);
  std::vector<void*> objects = allocate(1);
  expectFigures(1, kNodes - 1, 1);
  for (void* object : allocate(3 * kNodes - 1)) objects.push_back(object);
  EXPECT_EQ(std::set<void*>(objects.begin(), objects.end()).size(), objects.size());
  for (void* object : objects) {
    ASSERT_EQ(reinterpret_cast<std::uintptr_t>(object) % alignof(std::max_align_t), 0u);
    std::memset(object, 0xAB, kSize);  // ASan sees any overlap or overrun.
  }
  expectFigures(3, 0, 3 * kNodes);
  release(objects);
  expectFigures(1, kNodes, 0);  // A running pool keeps its last free slab.
}

TEST_F(ObjectPoolTest, EmptiedSlabGoesWhenOneFreeNodeLiesElsewhere) {
  std::vector<void*> first = allocate(kNodes);
  std::vector<void*> second = allocate(kNodes);
  release({second.back()});
  release(first);
  expectFigures(1, 1, kNodes - 1);
}

TEST_F(ObjectPoolTest, FreeNodesAndCachedObjectsAreReusedFirst) {
  std::vector<void*> objects = allocate(kNodes);
  cycle(20);
  EXPECT_EQ(pool.getUsedCount(), kNodes + 16) << "a thread keeps up to 16 objects at hand, counted as in use";
  pool.releaseThreadCache();
  pool.release(objects.back());
  EXPECT_EQ(pool.allocate(kSize), objects.back());
  release({objects.back()});
  EXPECT_EQ(pool.allocate(kSize), objects.back());
  EXPECT_EQ(pool.getUsedCount(), kNodes);
}

TEST_F(ObjectPoolTest, OversizedRequestsTakeTheirOwnAllocation) {
  void* big = pool.allocate(kSize * 10);
  std::memset(big, 0xCD, kSize * 10);
  expectFigures(0, 0, 1);
  pool.release(big);
  pool.release(nullptr);
  expectFigures(0, 0, 0);
}

TEST_F(ObjectPoolTest, CloseFreesEmptySlabsAndLaterReleasesFreeTheRest) {
  std::vector<void*> held = allocate(kNodes + 1);  // A full slab and a barely used one.
  release({held.back()});                          // The second is free, and kept.
  held.pop_back();
  void* last = held.back();
  held.pop_back();
  release(held);  // The first keeps one object.
  pool.close();
  EXPECT_EQ(pool.getSlabCount(), 1u) << "the exit step kept the empty slab or freed one in use";
  pool.release(last);
  expectFigures(0, 0, 0);
}

TEST_F(ObjectPoolTest, ThreadsShareThePoolAndGiveTheirCachesBackAtExit) {
  pool.release(pool.allocate(kSize));  // This thread owns the pool's own cache from here.
  auto work = [this] {
    for (int round = 0; round < 200; ++round) cycle(20);
  };
  std::vector<std::thread> threads;
  for (int t = 0; t < 3; ++t) threads.emplace_back(work);
  work();  // The owner works on alongside the others.
  for (auto& thread : threads) thread.join();
  pool.releaseThreadCache();
  expectFigures(1, kNodes, 0);
}

TEST_F(ObjectPoolTest, AnOwnerThreadThatEndsGivesItsCacheBackAndLetsGo) {
  // The first thread to find the cache unowned takes it; the second may get
  // the identity of the first, and must not find itself the owner.
  for (int t = 0; t < 2; ++t) {
    std::thread([this] { cycle(3); }).join();
    EXPECT_EQ(pool.getUsedCount(), 0u) << "thread " << t;
  }
}

TEST_F(ObjectPoolTest, TheCachePassesOnWhenItsOwnerEndsWhileAnotherThreadWorks) {
  std::atomic<bool> ownerEnding{false};
  std::thread owner([&] {
    cycle(3);  // The first thread of the pool claims its cache.
    ownerEnding = true;
  });
  std::thread other([&] {
    while (!ownerEnding) std::this_thread::yield();
    for (int round = 0; round < 2000; ++round) cycle(3);  // TSan sees an unordered hand-over.
  });
  owner.join();
  other.join();
  EXPECT_EQ(pool.getUsedCount(), 0u);
}

}  // namespace
}  // namespace orvo
