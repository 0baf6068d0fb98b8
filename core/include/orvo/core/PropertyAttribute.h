// PropertyAttribute.h: the attribute of a data member of type Value in the
// property class Owner, and createPropertyAttribute, which makes one.
//
// Value is any type with a converter, or THandle<X> on a property class X.
// A handle attribute reads through X's class converter, or through the
// converter of a class that the text names instead; the object that
// converter makes must be an X, or the attribute refuses it: set raises, the
// member keeps its object, and setProperty logs "IPropertyAttribute::set: %s".
// So `child:Unrelated{...}` never puts an object of a foreign class into a
// THandle<X>.
//
// Classes normally use the ORVO_PROPERTY macro (PropertyDeclaration.h)
// rather than calling createPropertyAttribute themselves.
//
// Threads: as IPropertyAttribute.
#pragma once

#include <type_traits>
#include <utility>

#include <orvo/core/Exception.h>
#include <orvo/core/IPropertyAttribute.h>
#include <orvo/core/IPropertyConverter.h>
#include <orvo/core/Property.h>
#include <orvo/core/PropertyConvert.h>

namespace orvo {

// The class whose converter reads and writes a Value: Value itself, or X
// for a THandle<X>, since class converters are registered under the class.
template <class Value>
struct PropertyValueClass {
  using type = Value;
  static constexpr bool isHandle = false;
};
template <class X>
struct PropertyValueClass<Unknown::THandle<X>> {
  using type = X;
  static constexpr bool isHandle = true;
};

template <class Owner, class Value>
class PropertyAttribute : public IPropertyAttribute {
  using ValueClass = PropertyValueClass<Value>;

 public:
  static THandle<IPropertyAttribute> createInstance(Value Owner::*member, const String& rttiClassName,
                                                    const String& rawName, const String& propertyName,
                                                    const String& description) {
    return THandle<IPropertyAttribute>(
        new PropertyAttribute(member, rttiClassName, rawName, propertyName, description));
  }

  const wchar_t* getClassName() const override { return L"PropertyAttribute"; }

  void set(Property* object, IPropertyConverter* converter, const String& text) override {
    Owner* owner = dynamic_cast<Owner*>(object);
    if (!owner || !converter || converter->isUnitProperty() == ValueClass::isHandle) raiseSetFault();
    if constexpr (ValueClass::isHandle) {
      THandle<Unknown> made;
      converter->setValue(&made, text);
      using X = typename ValueClass::type;
      X* typed = made.template dynamicCast<X>();
      if (made && !typed) raiseSetFault();
      owner->*member = typed;
    } else {
      Value value = propertyDefaultValue<Value>();
      converter->setValue(&value, text);
      owner->*member = std::move(value);
    }
  }

  const void* getValueAddress(const Property* object) const override {
    if constexpr (ValueClass::isHandle) {
      return nullptr;
    } else {
      const Owner* owner = dynamic_cast<const Owner*>(object);
      return owner ? &(owner->*member) : nullptr;
    }
  }

  void get(const Property* object, IPropertyConverter* converter, String& type, String& text) override {
    const Owner* owner = dynamic_cast<const Owner*>(object);
    if (!owner || !converter || converter->isUnitProperty() == ValueClass::isHandle) raiseGetFault();
    if constexpr (ValueClass::isHandle) {
      const THandle<const Unknown> held((owner->*member).get());
      converter->getValue(&held, type, text);
    } else {
      converter->getValue(&(owner->*member), type, text);
    }
  }

 protected:
  PropertyAttribute(Value Owner::*member, const String& rttiClassName, const String& rawName,
                    const String& propertyName, const String& description)
      : IPropertyAttribute(rttiClassName, rawName, propertyName, description), member(member) {}

 private:
  [[noreturn]] static void raiseSetFault() {
    ORVO_THROW("void PropertyAttribute::set(Property *,IPropertyConverter *,String const &)");
  }
  [[noreturn]] static void raiseGetFault() {
    ORVO_THROW("void PropertyAttribute::get(Property const *,IPropertyConverter *,String &,String &)");
  }

  Value Owner::*member;
};

// An attribute for `member` of Owner: its raw name is Owner's run-time type
// name, "::" and `rawName`; its value class is that of Value.
template <class Owner, class Value>
THandle<IPropertyAttribute> createPropertyAttribute(Value Owner::*member, const String& rawName,
                                                    const String& propertyName, const String& description) {
  const String fullRawName = IPropertyConverter::rttiClassNameOf<Owner>() + L"::" + rawName;
  return PropertyAttribute<Owner, Value>::createInstance(
      member, IPropertyConverter::rttiClassNameOf<typename PropertyValueClass<Value>::type>(), fullRawName,
      propertyName, description);
}

}  // namespace orvo
