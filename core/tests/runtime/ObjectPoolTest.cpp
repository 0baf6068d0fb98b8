// The slab allocator: slab accounting, oversized requests, thread caches and
// the exit step.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <set>
#include <thread>
#include <vector>

#include <orvo/core/ObjectPool.h>
#include <orvo/core/System.h>

namespace orvo {
namespace {

constexpr std::size_t kSize = 40;
constexpr std::uint32_t kNodes = 8;

// Every test gets a pool of its own, as a class would have.
class ObjectPoolTest : public ::testing::Test {
 protected:
  // Pools live for the process; a fresh one per test keeps figures apart.
  ObjectPool& pool = *new ObjectPool(kSize, kNodes);

  std::vector<void*> allocate(int count) {
    std::vector<void*> objects;
    for (int i = 0; i < count; ++i) objects.push_back(pool.allocate(kSize));
    return objects;
  }
  void releaseAll(std::vector<void*>& objects) {
    for (void* object : objects) pool.release(object);
    objects.clear();
    pool.releaseThreadCache();
  }
};

TEST_F(ObjectPoolTest, ObjectsAreDistinctAlignedAndWritable) {
  std::vector<void*> objects = allocate(3 * kNodes);
  std::set<void*> distinct(objects.begin(), objects.end());
  EXPECT_EQ(distinct.size(), objects.size());
  for (void* object : objects) {
    ASSERT_NE(object, nullptr);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(object) % alignof(std::max_align_t), 0u);
    std::memset(object, 0xAB, kSize);  // ASan sees any overlap or overrun.
  }
  EXPECT_EQ(pool.getSlabCount(), 3u);
  EXPECT_EQ(pool.getUsedCount(), 3 * kNodes);
  releaseAll(objects);
}

TEST_F(ObjectPoolTest, SlabHandsOutOneAndFreesTheRest) {
  void* first = pool.allocate(kSize);
  EXPECT_EQ(pool.getSlabCount(), 1u);
  EXPECT_EQ(pool.getFreeTotal(), kNodes - 1);
  pool.release(first);
  pool.releaseThreadCache();
}

TEST_F(ObjectPoolTest, RunningPoolKeepsItsLastFreeSlab) {
  std::vector<void*> objects = allocate(2 * kNodes);
  EXPECT_EQ(pool.getSlabCount(), 2u);
  releaseAll(objects);
  // One slab emptied while the other still held objects and was freed; the
  // last one stays for the next allocation.
  EXPECT_EQ(pool.getSlabCount(), 1u);
  EXPECT_EQ(pool.getFreeTotal(), kNodes);
  EXPECT_EQ(pool.getUsedCount(), 0u);
}

TEST_F(ObjectPoolTest, FreeNodesAreReusedBeforeANewSlab) {
  std::vector<void*> objects = allocate(kNodes);
  void* reused = objects.back();
  objects.pop_back();
  pool.release(reused);
  void* again = pool.allocate(kSize);
  EXPECT_EQ(again, reused);
  EXPECT_EQ(pool.getSlabCount(), 1u);
  objects.push_back(again);
  releaseAll(objects);
}

TEST_F(ObjectPoolTest, OversizedRequestsTakeTheirOwnAllocation) {
  void* big = pool.allocate(kSize * 10);
  ASSERT_NE(big, nullptr);
  std::memset(big, 0xCD, kSize * 10);
  EXPECT_EQ(pool.getSlabCount(), 0u);
  EXPECT_EQ(pool.getUsedCount(), 1u);
  pool.release(big);
  EXPECT_EQ(pool.getUsedCount(), 0u);
  pool.release(nullptr);
}

TEST_F(ObjectPoolTest, CloseFreesEmptySlabsAndLaterReleasesFreeTheRest) {
  std::vector<void*> held = allocate(kNodes + 1);  // Two slabs, the second barely used.
  pool.release(held.back());
  held.pop_back();
  pool.releaseThreadCache();
  EXPECT_EQ(pool.getSlabCount(), 2u);
  pool.close();
  EXPECT_EQ(pool.getSlabCount(), 1u) << "the empty slab outlived the exit step";
  for (void* object : held) pool.release(object);
  EXPECT_EQ(pool.getSlabCount(), 0u) << "a slab emptied after exit was kept";
  EXPECT_EQ(pool.getFreeTotal(), 0u);
}

TEST_F(ObjectPoolTest, ThreadCacheServesTheNextAllocationWithoutTheLists) {
  void* object = pool.allocate(kSize);
  pool.release(object);
  EXPECT_EQ(pool.getUsedCount(), 1u) << "a cached object counts as in use";
  EXPECT_EQ(pool.allocate(kSize), object);
  pool.release(object);
  pool.releaseThreadCache();
  EXPECT_EQ(pool.getUsedCount(), 0u);
}

TEST_F(ObjectPoolTest, EndingThreadGivesItsCacheBack) {
  std::thread worker([this] {
    std::vector<void*> objects = allocate(4);
    for (void* object : objects) pool.release(object);
  });
  worker.join();
  EXPECT_EQ(pool.getUsedCount(), 0u);
}

TEST_F(ObjectPoolTest, ConcurrentAllocationAndReleaseKeepTheBooks) {
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([this] {
      std::vector<void*> objects;
      for (int round = 0; round < 200; ++round) {
        for (int i = 0; i < 20; ++i) objects.push_back(pool.allocate(kSize));
        for (void* object : objects) pool.release(object);
        objects.clear();
      }
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(pool.getUsedCount(), 0u);
  EXPECT_EQ(pool.getSlabCount(), 1u);
  EXPECT_EQ(pool.getFreeTotal(), kNodes);
}

}  // namespace
}  // namespace orvo
