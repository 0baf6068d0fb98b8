#include "property/PropertyClasses.h"

#include <cwchar>

namespace orvo::testing {

void convertPropertyToClass(const String& text, Celsius& value) {
  wchar_t* end = nullptr;
  const long parsed = std::wcstol(text.getBuffer(), &end, 10);
  if (end == text.getBuffer()) ORVO_THROW("void convertPropertyToClass(String const &,Celsius &)");
  value.tenths = static_cast<int>(parsed);
}

void convertPropertyToString(const Celsius& value, String& text) { text.format(L"%d", value.tenths); }

void convertPropertyToClass(const String& text, Unregistered& value) { value.value = text.getLength(); }
void convertPropertyToString(const Unregistered&, String& text) { text = L"?"; }

ORVO_PROPERTY_BEGIN(Node)
  ORVO_PROPERTY(_temperature, "temperature", "Degrees")
  ORVO_PROPERTY(_child, "child", "One node or nil")
ORVO_PROPERTY_END(Node)

ORVO_PROPERTY_BEGIN(Leaf)
  ORVO_PROPERTY(_extra, "extra", "Declared first, replaced below")
  ORVO_PROPERTY(_ownTemperature, "temperature", "Hides the base's")
  ORVO_PROPERTY(_extra, "extra", "More degrees")
ORVO_PROPERTY_END(Leaf)

ORVO_PROPERTY_BEGIN(Holder)
  ORVO_PROPERTY(_children, "children", "Nodes in order")
  ORVO_PROPERTY(_chain, "chain", "Nodes as a list")
  ORVO_PROPERTY(_named, "named", "Nodes by name")
ORVO_PROPERTY_END(Holder)

ORVO_PROPERTY_BEGIN(Stranger)
  ORVO_PROPERTY(_temperature, "temperature", "Degrees")
  ORVO_PROPERTY(_broken, "broken", "A type without converter")
ORVO_PROPERTY_END(Stranger)

ORVO_PROPERTY_BEGIN(Orphan)
  ORVO_PROPERTY(_mark, "mark", "Degrees")
ORVO_PROPERTY_TABLE_END(Orphan)

ORVO_PROPERTY_BEGIN(Racer)
  ORVO_PROPERTY(_speed, "speed", "Racing")
ORVO_PROPERTY_END(Racer)

const bool celsiusRegistered =
    PropertyFactory::registerPropertyConverter(PropertyConverterUnit<Celsius>::createInstance(L"Celsius"));

}  // namespace orvo::testing
