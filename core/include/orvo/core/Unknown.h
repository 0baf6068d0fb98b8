// Unknown.h: the root of all heap objects, and the handle that owns them.
//
// Every object of the library that lives on the heap derives from Unknown,
// almost always as a virtual base, and is owned by Unknown::THandle<T>. The
// count lives in the object and starts at 0: a new object belongs to nobody
// until its first handle, and deletes itself when its last handle lets go.
//
//   class Job : public virtual Unknown {
//    public:
//     static THandle<Job> createInstance() { return THandle<Job>(new Job); }
//     const wchar_t* getClassName() const override { return L"Job"; }
//    protected:
//     Job() = default;
//   };
//
//   THandle<Job> job = Job::createInstance();   // count 1
//   THandle<Unknown> any = job.get();            // count 2, same object
//   if (Job* again = any.dynamicCast<Job>()) { ... }
//
// Run-time classes (ClassType, RtFactory: creation by class name or id) are
// declared here and defined in ClassFactory.h, which getClassType needs.
// clone() copies an object through its importFrom and exportTo hooks; a
// class that wants copies overrides rtCreateInstance to make one of itself.
//
// Threads: handles on one object may be made, copied and dropped on any
// threads at once; the count is atomic (see ReferenceCount.h). One THandle
// variable is a plain pointer, though: threads that assign to the same
// handle, or read it while another assigns, need a lock around it.
#pragma once

#include <atomic>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <utility>

#include <orvo/core/Export.h>
#include <orvo/core/ReferenceCount.h>

namespace orvo {

class InputStream;
class OutputStream;

class ORVO_API Unknown {
 public:
  template <class T>
  class THandle;
  class ClassType;
  class RtFactory;

  Unknown(const Unknown& other) noexcept;
  // Copies nothing: neither the count nor the cached class id of the target
  // changes. Derived assignment operators call it on the way.
  Unknown& operator=(const Unknown&) noexcept { return *this; }

  virtual const wchar_t* getClassName() const;
  virtual THandle<Unknown> rtCreateInstance() const;
  // A new object of the same class with the same serialised state: made by
  // rtCreateInstance, then filled by importFrom with what exportTo wrote
  // into a MemoryStream. Empty, with a line in the log, when the class did
  // not override rtCreateInstance or when the state did not travel.
  virtual THandle<Unknown> clone() const;
  virtual void importFrom(InputStream& stream);
  virtual void exportTo(OutputStream& stream) const;

  // The number of handles on the object, for diagnostics.
  unsigned int getReferenceCount() const noexcept {
    return static_cast<unsigned int>(referenceCount.get());
  }

  // A hash of the class name, computed on first use and cached. Never 0.
  unsigned int getClassId() const;

  // The class id of a name, as getClassId computes it for an object.
  static unsigned int computeClassId(const wchar_t* className);

  // The class name and id of the object, as a value (ClassFactory.h).
  ClassType getClassType() const;

  // True once Unknown is registered with the class factory.
  static const bool _setUpCreator_;

 protected:
  Unknown() noexcept = default;
  virtual ~Unknown();

 private:
  // The creator under which Unknown registers itself.
  static THandle<Unknown> rtCreateInstance_();

  void addRef() const noexcept { referenceCount.increment(); }

  void release() const noexcept {
    if (referenceCount.decrement()) delete this;
  }

  mutable ReferenceCount referenceCount{0};
  mutable std::atomic<std::uint32_t> classId{0};
};

// The owning smart pointer of Unknown objects: one raw pointer, passed by
// value. Copies add a reference; the last one to go deletes the object.
template <class T>
class Unknown::THandle {
 public:
  using element_type = T;

  constexpr THandle() noexcept = default;
  constexpr THandle(std::nullptr_t) noexcept {}
  THandle(T* p) noexcept : pointer(p) { acquire(p); }
  THandle(const THandle& h) noexcept : pointer(h.pointer) { acquire(pointer); }
  THandle(THandle&& h) noexcept : pointer(h.pointer) { h.pointer = nullptr; }

  // A handle on a derived class converts to a handle on its base.
  template <class U, class = std::enable_if_t<std::is_convertible_v<U*, T*>>>
  THandle(const THandle<U>& h) noexcept : pointer(h.get()) {
    acquire(pointer);
  }

  ~THandle() { drop(pointer); }

  // The new reference is taken before the old one is dropped, so that
  // self-assignment and assignment from a handle inside the old object work.
  THandle& operator=(T* p) noexcept {
    acquire(p);
    T* old = pointer;
    pointer = p;
    drop(old);
    return *this;
  }
  THandle& operator=(const THandle& h) noexcept { return *this = h.pointer; }
  THandle& operator=(THandle&& h) noexcept {
    T* old = pointer;
    pointer = h.pointer;
    if (&h != this) h.pointer = nullptr;
    if (old != pointer) drop(old);
    return *this;
  }
  THandle& operator=(std::nullptr_t) noexcept { return *this = static_cast<T*>(nullptr); }

  T* operator->() const noexcept { return pointer; }
  T& operator*() const noexcept { return *pointer; }
  T* get() const noexcept { return pointer; }

  explicit operator bool() const noexcept { return pointer != nullptr; }
  bool operator==(const T* p) const noexcept { return pointer == p; }
  bool operator!=(const T* p) const noexcept { return pointer != p; }
  bool operator==(std::nullptr_t) const noexcept { return pointer == nullptr; }
  bool operator!=(std::nullptr_t) const noexcept { return pointer != nullptr; }
  template <class U>
  bool operator==(const THandle<U>& h) const noexcept {
    return pointer == h.get();
  }
  template <class U>
  bool operator!=(const THandle<U>& h) const noexcept {
    return pointer != h.get();
  }

  // A downcast by run-time type: null if the object is not a U or the handle
  // is empty. Never throws. Constness of T does not carry over, as a handle
  // on a const object may still be cast to its mutable class.
  template <class U>
  U* dynamicCast() const noexcept {
    if (!pointer) return nullptr;
    return const_cast<U*>(dynamic_cast<const U*>(pointer));
  }

 private:
  static void acquire(T* p) noexcept {
    if (p) static_cast<const Unknown*>(p)->addRef();
  }
  static void drop(T* p) noexcept {
    if (p) static_cast<const Unknown*>(p)->release();
  }

  T* pointer = nullptr;
};

template <class T>
using THandle = Unknown::THandle<T>;

// The stream form of an Unknown is empty: these read and write nothing. A
// derived class's form is its base's form followed by its own fields, and
// this is where that chain ends.
template <class TyIs>
  requires std::derived_from<TyIs, InputStream>
TyIs& operator>>(TyIs& is, Unknown&) noexcept {
  return is;
}

template <class TyOs>
  requires std::derived_from<TyOs, OutputStream>
TyOs& operator<<(TyOs& os, const Unknown&) noexcept {
  return os;
}

}  // namespace orvo
