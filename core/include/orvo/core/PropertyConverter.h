// PropertyConverter.h: the converter of a property class T, registered under
// T's name and T's run-time type name.
//
// Its values are handles: setValue takes a pointer to a THandle<Unknown>,
// which it sets to null for the text "nil" and otherwise to a new
// T::createInstance() filled by setProperty; getValue takes a pointer to a
// THandle<const Unknown> and writes the object under the name of its own
// class, so that a base-typed attribute holding a derived object writes the
// derived class. PropertyAttribute does this handle conversion; nothing else
// calls a class converter.
//
// Threads: as IPropertyConverter.
#pragma once

#include <orvo/core/IPropertyConverter.h>

namespace orvo {

template <class T>
class PropertyConverter : public IPropertyConverter {
 public:
  static THandle<IPropertyConverter> createInstance(const String& propertyType) {
    return THandle<IPropertyConverter>(new PropertyConverter(propertyType));
  }

  const wchar_t* getClassName() const override { return L"PropertyConverter"; }

  void setValue(void* value, const String& text) override {
    THandle<Unknown>& handle = *static_cast<THandle<Unknown>*>(value);
    if (isNilText(text)) {
      handle = nullptr;
      return;
    }
    THandle<T> object = T::createInstance();
    handle = object;
    object->setProperty(text);
  }

  void getValue(const void* value, String& type, String& text) override {
    getPropertyValue(*static_cast<const THandle<const Unknown>*>(value), type, text);
  }

 protected:
  explicit PropertyConverter(const String& propertyType)
      : IPropertyConverter(rttiClassNameOf<T>(), propertyType, false) {}
};

}  // namespace orvo
