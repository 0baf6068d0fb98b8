// The failures of the property subsystem are raised here, so that they carry
// the source name src/property/Property whichever part of it found them.
#include <orvo/core/Property.h>

#include <cstdint>
#include <string>

#include <orvo/core/Exception.h>
#include <orvo/core/IPropertyAttribute.h>
#include <orvo/core/IPropertyConverter.h>
#include <orvo/core/Log.h>
#include <orvo/core/PropertyFactory.h>

#include "platform/ThreadSlot.h"
#include "property/PropertyFactoryTables.h"
#include "property/PropertyTextOf.h"
#include "property/PropertyTextReader.h"

namespace orvo {

using property::stringOf;
using property::viewOf;
using property::PropertyTextReader;

namespace property {

void raiseValueFault(ValueFault fault) {
  // One raise site per failure, so that the line tells which one it was.
  if (fault == ValueFault::noFrame) ORVO_THROW("String readPropertyValue(String &)");
  ORVO_THROW("String readPropertyValue(String &)");
}

}  // namespace property

namespace {

// The converter for an item of `type` on `attribute`. A type of its own in
// the text is a substitution, which only one class converter may make for
// another. The attribute's converter is the one its type name finds, since
// the table enters and removes both names of a converter together.
IPropertyConverter* converterFor(std::wstring_view type, const IPropertyAttribute& attribute) {
  IPropertyConverter* declared = attribute.getPropertyConverter();
  if (type.empty() || (declared && type == viewOf(declared->getPropertyType()))) return declared;
  IPropertyConverter* named = PropertyFactory::getPropertyConverter(stringOf(type));
  if (!named || named->isUnitProperty()) return nullptr;
  return declared && !declared->isUnitProperty() ? named : nullptr;
}

// The depth of setProperty calls on this thread: each object nested in a
// text is read by a call of its own, one level deeper on the stack.
// It never holds memory: a thread ends with it back at 0, and needs no hook.
constinit platform::ThreadSlot readingDepth(nullptr);

class DepthGuard {
 public:
  explicit DepthGuard(std::uintptr_t step) : _depth(reinterpret_cast<std::uintptr_t>(readingDepth.get())) {
    if (step != 0) readingDepth.set(at(_depth + step));
    _counted = step != 0;
  }
  ~DepthGuard() {
    if (_counted) readingDepth.set(at(_depth));
  }
  bool tooDeep() const { return _counted && _depth >= property::kMaxPropertyDepth; }

 private:
  static void* at(std::uintptr_t depth) { return reinterpret_cast<void*>(depth); }
  std::uintptr_t _depth;
  bool _counted;
};

// A unit converter writes its own type, so the item has no type clause; a
// converter that can write into `out` itself saves the value's own text.
bool appendDirectly(const Property& object, const IPropertyAttribute& attribute, IPropertyConverter* converter,
                    property::GrowingText& out) {
  const void* value = converter && converter->isUnitProperty() ? attribute.getValueAddress(&object) : nullptr;
  if (!value) return false;
  const std::size_t start = out.size();
  out.append(attribute.getPropertyName());
  out.push(L'{');
  if (!converter->appendValue(value, out)) {
    out.truncate(start);
    return false;
  }
  out.push(L'}');
  return true;
}

}  // namespace

THandle<Property> Property::createInstance() { return THandle<Property>(new Property); }

const wchar_t* Property::getClassName() const { return L"Property"; }

const PropertyAttributes& Property::getPropertyAttributes() const { return _propertyAttributes_; }

const String& Property::getPropertyType() const { return _propertyType; }

bool Property::registerProperty_() { return true; }

String Property::getProperty() const {
  property::GrowingText out;
  property::appendAttributes(*this, out);
  return out.finish();
}

void property::appendAttributes(const Property& object, GrowingText& out) {
  for (const auto& entry : object.getPropertyAttributes()) {
    IPropertyAttribute& attribute = *entry.second;
    IPropertyConverter* converter = attribute.getPropertyConverter();
    if (appendDirectly(object, attribute, converter, out)) continue;
    const String attributeType = converter ? converter->getPropertyType() : String();
    String valueType, valueText;
    try {
      attribute.get(&object, converter, valueType, valueText);
      out.append(attribute.getPropertyName());
      if (attributeType.getLength() != 0 && attributeType != valueType) {
        out.push(L':');
        out.append(valueType);
      }
      out.appendFramed(valueText);
    } catch (const Exception& e) {
      Log::error(L"Exception: %s", e.message.c_str());
    }
  }
}

void Property::setProperty(const String& text) { property::setItems(*this, viewOf(text), nullptr); }

// With a `prefix`, the text reads as if the prefix stood in front of it: the
// first item's name is the prefix followed by the name characters that begin
// the text, with no skip between them.
void property::setItems(Property& object, std::wstring_view text, const wchar_t* prefix) {
  // The carrier of PropertyReader adds no level of its own, so that a text
  // reads to the same depth framed or not.
  const DepthGuard depth(prefix ? 0 : 1);
  if (depth.tooDeep()) {
    Log::error(L"Property::setProperty: %s", L"objects nested too deep");
    return;
  }
  const PropertyAttributes& attributes = object.getPropertyAttributes();
  PropertyTextReader reader(text);
  if (!prefix) reader.skip();
  for (; !reader.atEnd(); reader.skip()) {
    PropertyTextReader::Item item;
    try {
      if (prefix) {
        // The prefix's name goes on only with the name characters at the very
        // start: readName would first skip a comment, and a name after the
        // comment is no part of the prefix's.
        if (text.front() != L'#') item.name = reader.readName();
        item.type = reader.readType();
        item.value = reader.readValue();
      } else {
        item = reader.readItem();
      }
    } catch (const Exception& e) {
      Log::error(L"Property::setProperty: %s", e.message.c_str());
      return;
    }
    const std::wstring prefixed = prefix ? prefix + std::wstring(item.name) : std::wstring();
    const auto entry = attributes.find(prefix ? std::wstring_view(prefixed) : item.name);
    prefix = nullptr;
    if (entry == attributes.end()) continue;
    IPropertyAttribute& attribute = *entry->second;
    IPropertyConverter* converter = converterFor(item.type, attribute);
    try {
      attribute.set(&object, converter, stringOf(item.value));
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

const void* IPropertyAttribute::getValueAddress(const Property*) const { return nullptr; }

IPropertyAttribute::IPropertyAttribute(const IPropertyAttribute& other)
    : Unknown(other),
      rttiClassName(other.rttiClassName),
      rawName(other.rawName),
      propertyName(other.propertyName),
      description(other.description) {}

IPropertyAttribute& IPropertyAttribute::operator=(const IPropertyAttribute& other) {
  rttiClassName = other.rttiClassName;
  rawName = other.rawName;
  propertyName = other.propertyName;
  description = other.description;
  return *this;
}

String IPropertyAttribute::getPropertyType() const {
  const IPropertyConverter* converter = getPropertyConverter();
  return converter ? converter->getPropertyType() : String();
}

// The generation is read before the search: a table that changes during it
// leaves an older generation behind, which the next call finds stale.
IPropertyConverter* IPropertyAttribute::getPropertyConverter() const {
  const std::uint64_t generation = property::factoryGeneration();
  {
    SpinGuard guard(_cacheLock);
    if (_cachedGeneration == generation) return _cachedConverter;
  }
  IPropertyConverter* converter = PropertyFactory::getPropertyConverterByRttiClassName(rttiClassName);
  SpinGuard guard(_cacheLock);
  _cachedGeneration = generation;
  _cachedConverter = converter;
  return converter;
}

}  // namespace orvo
