// Property.h: the root of objects that describe themselves as text.
//
// A property class owns a table of named, typed attributes, each of which
// reaches one data member. With it an object writes its attributes as one
// text, `name{value}` after `name{value}` in name order, and reads them back
// from such a text; a value whose class is derived from the declared one is
// written `name:Derived{...}`. The table belongs to the class: an instance
// carries no reflection data. Classes declare themselves and their attributes
// with the macros of PropertyDeclaration.h.
//
//   THandle<Shape> shape = Shape::createInstance();
//   shape->setProperty(L"origin{1,2} name{box}");   // unnamed attributes stay
//   String text = shape->getProperty();              // "name{box}origin{1,2}"
//
// Neither call raises an Exception: an item that does not parse is logged
// ("Property::setProperty: %s") and ends the reading, with the items before
// it applied; a value that its converter rejects is logged
// ("IPropertyAttribute::set: %s") and leaves its attribute unchanged; an
// attribute that cannot be written is logged ("Exception: %s") and left out.
// Objects nested more than 32 deep in a text are not read: the object at that
// depth stays as it was, with "Property::setProperty: objects nested too
// deep" in the log, so that no text can exhaust the stack.
//
// Threads: an object is read or written by one thread at a time. Attribute
// tables are filled at static initialisation and read without a lock after a
// class's first use, whose merge of the base's attributes takes the class's
// SpinLock.
#pragma once

#include <atomic>
#include <map>
#include <string_view>

#include <orvo/core/Export.h>
#include <orvo/core/SpinLock.h>
#include <orvo/core/String.h>
#include <orvo/core/Unknown.h>

namespace orvo {

class IPropertyAttribute;

// The order of String's operator<, for String keys and for views of names in
// a text, so that a name read from a text is looked up without a copy.
struct PropertyNameOrder {
  using is_transparent = void;
  static std::wstring_view view(const String& name) noexcept {
    return std::wstring_view(name.getBuffer(), static_cast<std::size_t>(name.getLength()));
  }
  static std::wstring_view view(std::wstring_view name) noexcept { return name; }
  template <class A, class B>
  bool operator()(const A& a, const B& b) const noexcept {
    return view(a) < view(b);
  }
};

// An attribute table: property name to attribute.
using PropertyAttributes = std::map<String, Unknown::THandle<IPropertyAttribute>, PropertyNameOrder>;

class ORVO_API Property : public virtual Unknown {
 public:
  static THandle<Property> createInstance();

  const wchar_t* getClassName() const override;
  // The attribute table of the object's class, base attributes included.
  virtual const PropertyAttributes& getPropertyAttributes() const;
  // The class's name in the converter table.
  virtual const String& getPropertyType() const;

  // The attributes as text, without a frame of the class name.
  String getProperty() const;
  // Assigns the attributes that `text` names; the others stay as they are.
  void setProperty(const String& text);

  // The class's own table: a derived class merges its base's table from
  // here on first use.
  static const PropertyAttributes& classPropertyAttributes_() noexcept { return _propertyAttributes_; }

  static PropertyAttributes _propertyAttributes_;
  static const String _propertyType;
  static const bool _registerProperty_;

 protected:
  Property() noexcept = default;
  Property(const Property& other) noexcept : Unknown(other) {}
  Property& operator=(const Property&) noexcept { return *this; }

  // Copies into `own` each entry of `base()` whose name `own` lacks, once:
  // `flag` is set when done, under `lock`. A name that the class declared
  // itself hides the base's attribute.
  static const PropertyAttributes& mergeBaseAttributes_(PropertyAttributes& own,
                                                        const PropertyAttributes& (*base)(),
                                                        SpinLock& lock, std::atomic<int>& flag);
  // Enters `attribute` under its property name, replacing an earlier one.
  static void addPropertyAttribute_(PropertyAttributes& table, const THandle<IPropertyAttribute>& attribute);

 private:
  static bool registerProperty_();
};

}  // namespace orvo
