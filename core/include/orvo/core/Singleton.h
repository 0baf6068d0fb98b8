// Singleton.h: remembers the one object of a class, for lookup from anywhere.
//
// A class T derives from Singleton<T>; constructing a T stores it, destroying
// it clears the slot. Nothing is counted or checked: constructing a second T
// replaces the first in the slot, and destroying either empties it.
//
// The slot, Singleton<T>::_instance, must be one object in the whole process,
// but a library built with hidden visibility that instantiates the template
// gets a copy of its own, and each shared object that includes the header
// would see a different slot. So the library that provides T instantiates the
// template itself and exports it, and tells everyone else not to instantiate
// it. In its header, before T is defined (the export macro is ignored once the
// template has been instantiated):
//
//   class Service;
//   extern template class MYLIB_API Singleton<Service>;
//   class MYLIB_API Service : public Singleton<Service> { ... };
//
// and in exactly one of its sources:
//
//   template class Singleton<Service>;
//
// Every user then reaches the provider's slot:
//
//   Service* service = Service::getSingletonPtr();   // null before creation
//
// Threads: no lock. Create the object before other threads ask for it, and
// destroy it after they are done.
#pragma once

namespace orvo {

template <class T>
class Singleton {
 public:
  Singleton(const Singleton&) = delete;

  // The object; only valid while one exists.
  static T& getSingleton() { return *_instance; }
  // The object, or null if none exists.
  static T* getSingletonPtr() { return _instance; }

 protected:
  Singleton() { _instance = static_cast<T*>(this); }
  ~Singleton() { _instance = nullptr; }
  // The slot keeps its object: assignment changes nothing.
  Singleton& operator=(const Singleton&) { return *this; }

 private:
  static T* _instance;
};

template <class T>
T* Singleton<T>::_instance = nullptr;

}  // namespace orvo
