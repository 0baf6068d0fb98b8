// HugePageAllocator.h: a standard allocator for containers that may grow to
// megabytes within one call, such as the brace table of a large property
// text. Blocks of a huge page or more come from the system in huge pages
// where the kernel offers them (HugePages.h says why); smaller ones come from
// the heap. Like std::allocator it holds no state, so any thread may use it.
#pragma once

#include <cstddef>
#include <memory>
#include <new>

#include "platform/HugePages.h"

namespace orvo::platform {

template <class T>
struct HugePageAllocator {
  using value_type = T;

  HugePageAllocator() = default;
  template <class U>
  HugePageAllocator(const HugePageAllocator<U>&) noexcept {}

  T* allocate(std::size_t count) {
    if (!mapped(count)) return std::allocator<T>().allocate(count);
    if (void* block = mapHugeBlock(count * sizeof(T))) return static_cast<T*>(block);
    throw std::bad_alloc();
  }
  void deallocate(T* block, std::size_t count) noexcept {
    if (mapped(count)) {
      unmapHugeBlock(block, count * sizeof(T));
    } else {
      std::allocator<T>().deallocate(block, count);
    }
  }

  friend bool operator==(const HugePageAllocator&, const HugePageAllocator&) noexcept { return true; }

 private:
  static bool mapped(std::size_t count) { return wantsHugePages(count * sizeof(T)); }
};

}  // namespace orvo::platform
