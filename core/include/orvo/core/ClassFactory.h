// ClassFactory.h: run-time classes, so that an object can be created from its
// class name or class id without the caller knowing its type.
// Unknown::ClassType and Unknown::RtFactory are nested in Unknown (Unknown.h
// declares them) and defined here.
//
// A class takes part by handing a creator function to Unknown::RtFactory
// while its module loads. Class ids are not assigned: an id is a hash of the
// class name (Unknown::computeClassId), so every module arrives at the same id
// for the same name. Unknown::ClassType carries a name and its id together.
//
// A class of any module registers in two lines, one in its body and one in
// its source file:
//
//   // Gadget.h
//   class Gadget : public virtual orvo::Unknown {
//     ORVO_RUNTIME_CLASS(Gadget)   // getClassName, the creators, _setUpCreator_
//    public:
//     int size = 3;
//    protected:
//     Gadget() = default;
//   };
//
//   // Gadget.cpp
//   ORVO_REGISTER_CLASS(Gadget);
//
//   THandle<Unknown> any = Unknown::RtFactory::createClassInstance(String(L"Gadget"));
//   THandle<Gadget> gadget = any.dynamicCast<Gadget>();
//
// ORVO_RUNTIME_CLASS takes the class's unqualified name; it leaves the access
// of what follows private. ORVO_REGISTER_CLASS takes the name as the source
// file sees it (it may be qualified) and defines a static object in that file:
// the class is entered while the module loads and removed again by that
// object's destructor, which runs when the module is unloaded (dlclose) or the
// process exits, so that the factory never keeps a creator that points into
// unloaded code. The library's own classes (such as Unknown)
// register while the library loads and are removed by its exit steps.
//
// The factory is built by the first registration, from whichever static
// initialiser of whichever module comes first, and torn down by an exit step
// of the library that runs after every class's removal; then lookups give empty
// handles and registration and removal do nothing.
//
// Threads: every RtFactory operation may be called from any thread; one
// SpinLock guards the tables. Creators run under that lock, which is not
// recursive: a creator, and the constructor and destructor of the class it
// makes, must not call the factory (RtFactory, ClassType::createInstance),
// and should be short. The factory logs and prints under its lock, so a
// LogListener must not call the factory either. ClassType is a value: one
// thread at a time per object.
#pragma once

#include <orvo/core/Export.h>
#include <orvo/core/String.h>
#include <orvo/core/Unknown.h>

namespace orvo {

// A class name and its class id; the empty ClassType has id 0.
class ORVO_API Unknown::ClassType {
 public:
  ClassType() noexcept = default;
  // Keeps a share of the name and computes its id.
  explicit ClassType(const String& className);

  const String& getClassName() const noexcept { return className; }
  unsigned int getClassId() const noexcept { return classId; }

  // An instance made by the factory from the name (not the id): a copy of the
  // name alone is enough. Empty if the name is not registered.
  THandle<Unknown> createInstance() const;

  // Takes name and id from `object`; null gives the empty ClassType.
  void setClass(const Unknown* object);

 private:
  String className;
  unsigned int classId = 0;
};

// The registry of creators, by class name and by class id.
class ORVO_API Unknown::RtFactory {
 public:
  using Creator = THandle<Unknown> (*)();

  RtFactory() = delete;

  // Registers the class that `creator` makes and answers its name, read from
  // a sample instance. A name that is already registered is reported on the
  // console, whichever creator comes with it (another module's class of the
  // same name too: the first creator stays); a new name whose id another
  // class has is logged as an error. In both cases the tables stay as they
  // were and the name is still the answer. Empty once the factory is torn
  // down, or if the creator makes nothing.
  static String setupCreator(Creator creator);

  // Removes the class of that name from both tables; an unknown name is
  // ignored. With a creator, only if the class was registered with that one,
  // so that a module whose registration was refused cannot remove the class
  // that another module registered under the same name.
  static void unsetupCreator(const wchar_t* className);
  static void unsetupCreator(const wchar_t* className, Creator creator);

  // Calls the creator registered under the id or the name, under the
  // factory's lock. Empty, without any message, if there is none.
  static THandle<Unknown> createClassInstance(unsigned int classId);
  static THandle<Unknown> createClassInstance(const String& className);

  // The private creator of a class declared with ORVO_RUNTIME_CLASS.
  template <class X>
  static Creator creatorOf() noexcept {
    return &X::rtCreateInstance_;
  }

  // Keeps one class registered for its own lifetime. ORVO_REGISTER_CLASS
  // defines one as a static object of the class's module, so that its
  // destructor belongs to that module and runs when the module goes.
  class Registration {
   public:
    explicit Registration(Creator creator) : _creator(creator), _className(setupCreator(creator)) {}
    ~Registration() { unsetupCreator(_className, _creator); }
    Registration(const Registration&) = delete;
    Registration& operator=(const Registration&) = delete;

    // True once the factory has answered the registration.
    bool isSetUp() const noexcept { return _className.getBuffer()[0] != L'\0'; }

   private:
    Creator _creator;
    String _className;
  };
};

}  // namespace orvo

// In the class body: the class name, the creators and _setUpCreator_.
#define ORVO_RUNTIME_CLASS(X)                                                           \
 public:                                                                                \
  const wchar_t* getClassName() const override { return L"" #X; }                      \
  ::orvo::Unknown::THandle<::orvo::Unknown> rtCreateInstance() const override {         \
    return rtCreateInstance_();                                                         \
  }                                                                                     \
  static const bool _setUpCreator_;                                                     \
                                                                                        \
 private:                                                                               \
  friend class ::orvo::Unknown::RtFactory;                                              \
  static ::orvo::Unknown::THandle<::orvo::Unknown> rtCreateInstance_() {                \
    return ::orvo::Unknown::THandle<::orvo::Unknown>(new X);                            \
  }

#define ORVO_CLASS_REGISTRATION_JOIN(a, b) a##b
#define ORVO_CLASS_REGISTRATION_NAME(line) ORVO_CLASS_REGISTRATION_JOIN(orvoClassRegistration_, line)

// In the class's source file, at namespace scope: registers the class while
// the module loads and removes it when the module is unloaded.
#define ORVO_REGISTER_CLASS(X)                                                          \
  static const ::orvo::Unknown::RtFactory::Registration ORVO_CLASS_REGISTRATION_NAME(   \
      __LINE__)(::orvo::Unknown::RtFactory::creatorOf<X>());                            \
  const bool X::_setUpCreator_ = ORVO_CLASS_REGISTRATION_NAME(__LINE__).isSetUp()
