// PropertyDeclaration.h: how a class declares itself a property class with
// its attributes, and how a module registers converters for a new type.
//
// In the header, inside the class body (the class name without namespace;
// the macro leaves the body in a public section):
//
//   class Shape : public Property {                // or any property class
//     ORVO_PROPERTY_CLASS(Shape, Property)
//    protected:
//     Shape() = default;                           // createInstance uses it
//    private:
//     TPoint<int> _origin;
//     String _name;
//     THandle<Shape> _next;
//   };
//
// In one source file, inside the class's namespace:
//
//   ORVO_PROPERTY_BEGIN(Shape)
//     ORVO_PROPERTY(_origin, "origin", "Top left corner")
//     ORVO_PROPERTY(_name, "name", "Shown to the user")
//     ORVO_PROPERTY(_next, "next", "The following shape, or nil")
//   ORVO_PROPERTY_END(Shape)
//
// This gives the class createInstance, getClassName ("Shape"), its attribute
// table with the base's attributes merged in on first use (an attribute
// declared again under a base's name hides the base's), and registers the
// converters "Shape", "ShapeArray", "ShapeList" and "ShapeMap" (the containers
// are std::vector, std::list and std::map<String, ...> of THandle<Shape>).
// ORVO_PROPERTY_TABLE_END ends the table without registering converters, for
// a class whose converters are registered elsewhere in a fixed order.
//
// A new value type T named "Celsius" needs convertPropertyToClass(const
// String&, T&) and convertPropertyToString(const T&, String&) beside it
// (raising Exception on text that does not parse; the container forms come
// with the library) and, at static initialisation:
//
//   const bool celsiusRegistered = registerPropertyValueType<Celsius>(L"Celsius");
//
// Threads: registration runs at static initialisation, on one thread.
#pragma once

#include <atomic>
#include <list>
#include <map>
#include <vector>

#include <orvo/core/IPropertyAttribute.h>
#include <orvo/core/Property.h>
#include <orvo/core/PropertyAttribute.h>
#include <orvo/core/PropertyConverter.h>
#include <orvo/core/PropertyConverterUnit.h>
#include <orvo/core/PropertyFactory.h>
#include <orvo/core/PropertyHandleText.h>
#include <orvo/core/SpinLock.h>

namespace orvo {

// Registers the converters of a value type T: `name` for T, and "Array",
// "List", "Map" after it for its containers.
template <class T>
bool registerPropertyValueType(const String& name) {
  PropertyFactory::registerPropertyConverter(PropertyConverterUnit<T>::createInstance(name));
  PropertyFactory::registerPropertyConverter(PropertyConverterUnit<std::vector<T>>::createInstance(name + L"Array"));
  PropertyFactory::registerPropertyConverter(PropertyConverterUnit<std::list<T>>::createInstance(name + L"List"));
  PropertyFactory::registerPropertyConverter(
      PropertyConverterUnit<std::map<String, T>>::createInstance(name + L"Map"));
  return true;
}

// Registers the converters of a property class X: its class converter under
// `name`, and unit converters of containers of THandle<X>.
template <class X>
bool registerPropertyClassType(const String& name) {
  using Handle = Unknown::THandle<X>;
  PropertyFactory::registerPropertyConverter(PropertyConverter<X>::createInstance(name));
  PropertyFactory::registerPropertyConverter(
      PropertyConverterUnit<std::vector<Handle>>::createInstance(name + L"Array"));
  PropertyFactory::registerPropertyConverter(PropertyConverterUnit<std::list<Handle>>::createInstance(name + L"List"));
  PropertyFactory::registerPropertyConverter(
      PropertyConverterUnit<std::map<String, Handle>>::createInstance(name + L"Map"));
  return true;
}

}  // namespace orvo

#define ORVO_PROPERTY_CLASS(Class, Base)                                                           \
 public:                                                                                           \
  static ::orvo::Unknown::THandle<Class> createInstance() {                                        \
    return ::orvo::Unknown::THandle<Class>(new Class);                                             \
  }                                                                                                \
  const wchar_t* getClassName() const override { return L"" #Class; }                              \
  const ::orvo::String& getPropertyType() const override { return _propertyType; }                 \
  const ::orvo::PropertyAttributes& getPropertyAttributes() const override {                       \
    return classPropertyAttributes_();                                                             \
  }                                                                                                \
  static const ::orvo::PropertyAttributes& classPropertyAttributes_() {                            \
    if (_classProperties_flag_.load(std::memory_order_acquire) != 0) return _propertyAttributes_;  \
    return mergeBaseAttributes_(_propertyAttributes_, &Base::classPropertyAttributes_,             \
                                _classProperties_locked_, _classProperties_flag_);                 \
  }                                                                                                \
  static ::orvo::PropertyAttributes _propertyAttributes_;                                          \
  static const ::orvo::String _propertyType;                                                       \
  static const bool _registerProperty_;                                                            \
                                                                                                   \
 private:                                                                                          \
  static ::orvo::SpinLock _classProperties_locked_;                                                \
  static std::atomic<int> _classProperties_flag_;                                                  \
  static bool registerProperty_();                                                                 \
                                                                                                   \
 public:

// Opens the attribute table of `Class` in its source file.
#define ORVO_PROPERTY_BEGIN(Class)                                 \
  ::orvo::PropertyAttributes Class::_propertyAttributes_;          \
  const ::orvo::String Class::_propertyType(L"" #Class);           \
  constinit ::orvo::SpinLock Class::_classProperties_locked_;      \
  constinit std::atomic<int> Class::_classProperties_flag_{0};     \
  bool Class::registerProperty_() {                                \
    using PropertyClass = Class;

// One attribute: the data member, its name in the text, and a description.
#define ORVO_PROPERTY(member, name, description)                                                      \
  addPropertyAttribute_(_propertyAttributes_,                                                         \
                        ::orvo::createPropertyAttribute<PropertyClass>(&PropertyClass::member,        \
                                                                       L"" #member, L"" name,         \
                                                                       L"" description));

#define ORVO_PROPERTY_TABLE_END(Class) \
  return true;                         \
  }                                    \
  const bool Class::_registerProperty_ = Class::registerProperty_();

#define ORVO_PROPERTY_END(Class)   \
  ORVO_PROPERTY_TABLE_END(Class)   \
  static const bool Class##_propertyConvertersRegistered_ = ::orvo::registerPropertyClassType<Class>(L"" #Class);
