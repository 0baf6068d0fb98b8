// IPropertyConverter.h: the interface of a converter between one value type
// and the text that stands between the braces of a property text.
//
// Every type that can be an attribute of a Property has one converter in the
// PropertyFactory, reachable by the type's name in the text ("int", "Point",
// "Shape") and by its run-time type name (rttiClassNameOf). A unit converter
// (PropertyConverterUnit) converts a plain value or a container; a class
// converter (PropertyConverter) converts a handle on a property class, and its
// text may name a derived class instead.
//
//   IPropertyConverter* converter = PropertyFactory::getPropertyConverter(L"Point");
//   String type, text;
//   converter->getValue(&point, type, text);     // type "Point", text "1,2"
//   converter->setValue(&point, L"3,4");          // raises Exception on bad text
//
// Threads: a converter holds only its three constants and may be used from
// any thread; the value it reads or writes belongs to the caller.
#pragma once

#include <typeinfo>

#include <orvo/core/Export.h>
#include <orvo/core/String.h>
#include <orvo/core/Unknown.h>

namespace orvo {

namespace property {
class GrowingText;
}

class ORVO_API IPropertyConverter : public virtual Unknown {
 public:
  const wchar_t* getClassName() const override;

  const String& getRttiClassName() const noexcept { return rttiClassName; }
  const String& getPropertyType() const noexcept { return propertyType; }
  // True for a plain value or a container, false for a property class.
  bool isUnitProperty() const noexcept { return unitProperty; }

  // Parses `text` into the value at `value`; raises Exception on text that
  // cannot be parsed, and the value is then unspecified.
  virtual void setValue(void* value, const String& text) = 0;
  // Gives the type name to write and the text of the value at `value`.
  virtual void getValue(const void* value, String& type, String& text) = 0;
  // Appends the text of the value at `value` to `out` where the converter
  // can write into the caller's buffer directly, as the containers of
  // handles do; false, with nothing appended, where it cannot.
  virtual bool appendValue(const void* value, property::GrowingText& out);

  // The identity of a type in the converter table: the compiler's name for
  // it, widened. Stable for the run and unique per type.
  static String rttiClassNameOf(const std::type_info& type);
  template <class T>
  static const String& rttiClassNameOf() {
    static const String name = rttiClassNameOf(typeid(T));
    return name;
  }

 protected:
  IPropertyConverter(const String& rttiClassName, const String& propertyType, bool unitProperty);
  IPropertyConverter(const IPropertyConverter&) = default;
  IPropertyConverter& operator=(const IPropertyConverter&) = default;

  // The type and text of an object held by a class-typed value: this
  // converter's type and "nil" for no object; the type of the object's own
  // class and its attribute text otherwise; nothing at all (type and text
  // stay as given) when the object's class has no converter.
  void getPropertyValue(const THandle<const Unknown>& object, String& type, String& text) const;

  // Whether `text`, without the white space round it, is "nil".
  static bool isNilText(const String& text) noexcept;

 private:
  String rttiClassName;
  String propertyType;
  bool unitProperty;
};

}  // namespace orvo
