// IPropertyAttribute.h: one attribute of a property class, which reaches one
// data member of the class's objects.
//
// Attributes are made by createPropertyAttribute (PropertyAttribute.h) when a
// class registers its table, and are never changed afterwards. An attribute
// stores no type name of its own: getPropertyType asks the converter table
// for the name under which the member's value class is registered.
//
// Threads: an attribute is constant, but for the converter it remembers
// under its own SpinLock, and may be used from any thread; set and
// get touch the object they are given, which belongs to the caller.
#pragma once

#include <cstdint>

#include <orvo/core/Export.h>
#include <orvo/core/SpinLock.h>
#include <orvo/core/String.h>
#include <orvo/core/Unknown.h>

namespace orvo {

class IPropertyConverter;
class Property;

class ORVO_API IPropertyAttribute : public virtual Unknown {
 public:
  const wchar_t* getClassName() const override;

  // The owner class's run-time type name, "::" and the member's name.
  const String& getPropertyRawName() const noexcept { return rawName; }
  // The name in the text and in the table.
  const String& getPropertyName() const noexcept { return propertyName; }
  const String& getDescription() const noexcept { return description; }
  // The type name of the member's value class, or empty if it has no
  // converter.
  String getPropertyType() const;
  // The converter of the member's value class as the table holds it at the
  // moment, or null. Remembered until the table next changes, so that
  // reading and writing objects does not search the table per attribute.
  IPropertyConverter* getPropertyConverter() const;
  const String& getRttiClassName() const noexcept { return rttiClassName; }

  // Parses `text` with `converter` into the member of `object`; raises
  // Exception if `object` is not of the owner class or `converter` is null
  // or does not fit, and then the member is unchanged.
  virtual void set(Property* object, IPropertyConverter* converter, const String& text) = 0;
  // Gives the member's type and text through `converter`; raises as set.
  virtual void get(const Property* object, IPropertyConverter* converter, String& type, String& text) = 0;
  // The member of `object` as a unit converter takes it, or null: for an
  // object of another class, and for a handle, which only get can convert.
  virtual const void* getValueAddress(const Property* object) const;

 protected:
  IPropertyAttribute(const String& rttiClassName, const String& rawName, const String& propertyName,
                     const String& description);
  IPropertyAttribute(const IPropertyAttribute& other);
  IPropertyAttribute& operator=(const IPropertyAttribute& other);

 private:
  String rttiClassName;
  String rawName;
  String propertyName;
  String description;
  // The table's generation and the converter found in it.
  mutable SpinLock _cacheLock;
  mutable std::uint64_t _cachedGeneration = 0;
  mutable IPropertyConverter* _cachedConverter = nullptr;
};

}  // namespace orvo
