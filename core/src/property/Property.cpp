// The failures of the property subsystem are raised here, so that they carry
// the source name src/property/Property whichever part of it found them.
#include <orvo/core/Property.h>

#include <string>

#include <orvo/core/Exception.h>
#include <orvo/core/IPropertyAttribute.h>
#include <orvo/core/IPropertyConverter.h>
#include <orvo/core/Log.h>
#include <orvo/core/PropertyFactory.h>

#include "property/PropertyTextOf.h"
#include "property/PropertyTextReader.h"

namespace orvo {

using property::append;
using property::stringOf;
using property::viewOf;

namespace property {

void raiseValueFault(ValueFault fault) {
  // One raise site per failure, so that the line tells which one it was.
  if (fault == ValueFault::noFrame) ORVO_THROW("String readPropertyValue(String &)");
  ORVO_THROW("String readPropertyValue(String &)");
}

}  // namespace property

namespace {

// The converter for an item of `type` on an attribute of `attributeType`.
// A type of its own in the text is a substitution, which only one class
// converter may make for another.
IPropertyConverter* converterFor(std::wstring_view type, const String& attributeType) {
  if (type.empty() || type == viewOf(attributeType)) return PropertyFactory::getPropertyConverter(attributeType);
  IPropertyConverter* named = PropertyFactory::getPropertyConverter(stringOf(type));
  if (!named || named->isUnitProperty()) return nullptr;
  const IPropertyConverter* declared = PropertyFactory::getPropertyConverter(attributeType);
  return declared && !declared->isUnitProperty() ? named : nullptr;
}

}  // namespace

THandle<Property> Property::createInstance() { return THandle<Property>(new Property); }

const wchar_t* Property::getClassName() const { return L"Property"; }

const PropertyAttributes& Property::getPropertyAttributes() const { return _propertyAttributes_; }

const String& Property::getPropertyType() const { return _propertyType; }

bool Property::registerProperty_() { return true; }

String Property::getProperty() const {
  std::wstring out;
  for (const auto& entry : getPropertyAttributes()) {
    IPropertyAttribute& attribute = *entry.second;
    const String attributeType = attribute.getPropertyType();
    IPropertyConverter* converter = PropertyFactory::getPropertyConverter(attributeType);
    String valueType, valueText;
    try {
      attribute.get(this, converter, valueType, valueText);
      append(out, attribute.getPropertyName());
      if (attributeType.getLength() != 0 && attributeType != valueType) {
        out += L':';
        append(out, valueType);
      }
      out += L'{';
      append(out, valueText);
      out += L'}';
    } catch (const Exception& e) {
      Log::error(L"Exception: %s", e.message.c_str());
    }
  }
  return stringOf(out);
}

void Property::setProperty(const String& text) {
  const PropertyAttributes& attributes = getPropertyAttributes();
  property::PropertyTextReader reader(viewOf(text));
  for (reader.skip(); !reader.atEnd(); reader.skip()) {
    property::PropertyTextReader::Item item;
    try {
      item = reader.readItem();
    } catch (const Exception& e) {
      Log::error(L"Property::setProperty: %s", e.message.c_str());
      return;
    }
    const auto entry = attributes.find(item.name);
    if (entry == attributes.end()) continue;
    IPropertyAttribute& attribute = *entry->second;
    IPropertyConverter* converter = converterFor(item.type, attribute.getPropertyType());
    try {
      attribute.set(this, converter, stringOf(item.value));
    } catch (const Exception& e) {
      Log::error(L"IPropertyAttribute::set: %s", e.message.c_str());
    }
  }
}

const PropertyAttributes& Property::mergeBaseAttributes_(PropertyAttributes& own, const PropertyAttributes& (*base)(),
                                                         SpinLock& lock, std::atomic<int>& flag) {
  SpinGuard guard(lock);
  if (flag.load(std::memory_order_relaxed) == 0) {
    // emplace keeps an entry the class declared itself: it hides the base's.
    for (const auto& entry : base()) own.emplace(entry.first, entry.second);
    flag.store(1, std::memory_order_release);
  }
  return own;
}

void Property::addPropertyAttribute_(PropertyAttributes& table, const THandle<IPropertyAttribute>& attribute) {
  table.insert_or_assign(attribute->getPropertyName(), attribute);
}

IPropertyAttribute::IPropertyAttribute(const String& rttiClassName, const String& rawName,
                                       const String& propertyName, const String& description)
    : rttiClassName(rttiClassName), rawName(rawName), propertyName(propertyName), description(description) {}

const wchar_t* IPropertyAttribute::getClassName() const { return L"IPropertyAttribute"; }

String IPropertyAttribute::getPropertyType() const {
  const IPropertyConverter* converter = PropertyFactory::getPropertyConverterByRttiClassName(rttiClassName);
  return converter ? converter->getPropertyType() : String();
}

}  // namespace orvo
