// SharedPtr.h: shared ownership of an object that is not an Unknown.
//
// SharedPtr<T> keeps a T alive for as long as any copy of it exists, through a
// small counted Reference that owns the T. It is the way the library shares a
// plain object such as a Mutex with callers that may outlive its holder.
//
//   SharedPtr<Mutex> mutex(new Mutex);
//   SharedPtr<Mutex> copy = mutex;   // one Mutex, deleted with the last copy
//
// Threads: copies of one SharedPtr may be made and dropped on any threads at
// once, as handles may; one SharedPtr variable that a thread assigns to needs
// a lock around it. Access to the T itself is the T's own business.
#pragma once

#include <cstddef>
#include <utility>

#include <orvo/core/Unknown.h>

namespace orvo {

template <class T>
class SharedPtr {
 public:
  // The counted owner of the T; deletes it with the last SharedPtr.
  template <class U>
  class Reference : public Unknown {
   public:
    explicit Reference(U* p) noexcept : pointer(p) {}
    const wchar_t* getClassName() const override { return L"Reference"; }

   protected:
    ~Reference() override { delete pointer; }

   private:
    U* pointer;
  };

  SharedPtr() noexcept = default;
  SharedPtr(std::nullptr_t) noexcept {}
  // Takes ownership of `p`; null holds no Reference.
  explicit SharedPtr(T* p) : pointer(p) {
    if (p) reference = new Reference<T>(p);
  }
  SharedPtr(const SharedPtr&) noexcept = default;
  SharedPtr(SharedPtr&& other) noexcept
      : pointer(other.pointer), reference(std::move(other.reference)) {
    other.pointer = nullptr;
  }
  SharedPtr& operator=(const SharedPtr&) noexcept = default;
  SharedPtr& operator=(SharedPtr&& other) noexcept {
    reference = std::move(other.reference);
    pointer = other.pointer;
    if (&other != this) other.pointer = nullptr;
    return *this;
  }

  T* operator->() const noexcept { return pointer; }
  T& operator*() const noexcept { return *pointer; }
  T* get() const noexcept { return pointer; }
  explicit operator bool() const noexcept { return pointer != nullptr; }
  bool operator==(const T* p) const noexcept { return pointer == p; }
  bool operator!=(const T* p) const noexcept { return pointer != p; }

  // The number of SharedPtr copies that share the T, 0 for an empty one.
  unsigned int getReferenceCount() const noexcept {
    return reference ? reference->getReferenceCount() : 0;
  }

 private:
  T* pointer = nullptr;
  Unknown::THandle<Unknown> reference;
};

}  // namespace orvo
