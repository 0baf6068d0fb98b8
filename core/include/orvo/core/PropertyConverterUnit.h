// PropertyConverterUnit.h: the converter of a plain value type, or of an
// array (std::vector), list (std::list) or map (std::map from String) of one.
//
// It parses with convertPropertyToClass(text, value) and writes with
// convertPropertyToString(value, text), found by argument-dependent lookup
// where the converter is made: a module adds a value type by defining that
// pair beside the type and registering its four converters
// (registerPropertyValueType in PropertyDeclaration.h).
//
// Threads: as IPropertyConverter.
#pragma once

#include <orvo/core/IPropertyConverter.h>
#include <orvo/core/PropertyConvert.h>
#include <orvo/core/PropertyHandleText.h>

namespace orvo {

template <class T>
class PropertyConverterUnit : public IPropertyConverter {
 public:
  static THandle<IPropertyConverter> createInstance(const String& propertyType) {
    return THandle<IPropertyConverter>(new PropertyConverterUnit(propertyType));
  }

  const wchar_t* getClassName() const override { return L"PropertyConverterUnit"; }

  // `value` points to a T. It is reset first, so that a container starts
  // empty.
  void setValue(void* value, const String& text) override {
    T& target = *static_cast<T*>(value);
    target = propertyDefaultValue<T>();
    convertPropertyToClass(text, target);
  }

  void getValue(const void* value, String& type, String& text) override {
    type = getPropertyType();
    convertPropertyToString(*static_cast<const T*>(value), text);
  }

  // Containers of handles write their elements straight into the caller's
  // text, so that a large graph is not first gathered in a text of its own.
  bool appendValue(const void* value, property::GrowingText& out) override {
    if constexpr (requires(const T& v, PropertyHandleText::Writer& w) { writePropertyHandles(v, w); }) {
      PropertyHandleText::Writer writer(out);
      writePropertyHandles(*static_cast<const T*>(value), writer);
      return true;
    } else {
      return false;
    }
  }

 protected:
  explicit PropertyConverterUnit(const String& propertyType)
      : IPropertyConverter(rttiClassNameOf<T>(), propertyType, true) {}
};

}  // namespace orvo
