// Reads arbitrary text into objects: as a framed text through PropertyReader,
// into a declared class through setProperty, and through the converters of
// containers of values and of handles. No input may crash or hang; bad text is
// logged, never raised, except by a converter, which raises Exception only.
// What was read must write itself out stably: the text written from an
// object, read back and written again, is the same text.
#include <cstddef>
#include <cstdint>
#include <list>
#include <map>
#include <string>
#include <vector>

#include <orvo/core.h>

#include "support/PropertyFuzzText.h"

namespace fuzzing {

using namespace orvo;

class Item : public Property {
  ORVO_PROPERTY_CLASS(Item, Property)

  int count = 0;
  double weight = 0;
  String label;
  Point position;
  bool active = false;
  std::vector<int> values;
  Uuid id;
  THandle<Item> child;
  std::vector<THandle<Item>> items;
  std::map<String, THandle<Property>> named;
};

class Special : public Item {
  ORVO_PROPERTY_CLASS(Special, Item)

  std::list<String> notes;
};

ORVO_PROPERTY_BEGIN(Item)
  ORVO_PROPERTY(count, "count", "")
  ORVO_PROPERTY(weight, "weight", "")
  ORVO_PROPERTY(label, "label", "")
  ORVO_PROPERTY(position, "position", "")
  ORVO_PROPERTY(active, "active", "")
  ORVO_PROPERTY(values, "values", "")
  ORVO_PROPERTY(id, "id", "")
  ORVO_PROPERTY(child, "child", "")
  ORVO_PROPERTY(items, "items", "")
  ORVO_PROPERTY(named, "named", "")
ORVO_PROPERTY_END(Item)

ORVO_PROPERTY_BEGIN(Special)
  ORVO_PROPERTY(notes, "notes", "")
ORVO_PROPERTY_END(Special)

void require(bool condition) {
  if (!condition) __builtin_trap();
}

// Writing what was read, reading that and writing again gives the same text.
void requireStable(const THandle<Property>& object) {
  if (!object) return;
  const String text = PropertyWriter::getPropertyString(object.get());
  const THandle<Property> again = PropertyReader::getPropertyClass(text);
  require(PropertyWriter::getPropertyString(again.get()) == text);
}

template <class T>
void convertWith(const wchar_t* type, const String& text) {
  IPropertyConverter* converter = PropertyFactory::getPropertyConverter(type);
  require(converter != nullptr);
  T value{};
  try {
    converter->setValue(&value, text);
  } catch (const Exception&) {
    return;
  }
  String written, writtenType;
  converter->getValue(&value, writtenType, written);
  require(writtenType == type);
}

}  // namespace fuzzing

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace fuzzing;
  const String text = propertyFuzzText(data, size);

  requireStable(PropertyReader::getPropertyClass(text));
  const THandle<Special> special = Special::createInstance();
  special->setProperty(text);
  requireStable(THandle<Property>(special.get()));

  convertWith<std::vector<int>>(L"intArray", text);
  convertWith<std::map<String, String>>(L"StringMap", text);
  convertWith<std::vector<THandle<Item>>>(L"ItemArray", text);
  convertWith<std::map<String, THandle<Special>>>(L"SpecialMap", text);
  try {
    propertyStringNormalize(text, L"\t");
  } catch (const Exception&) {
  }
  return 0;
}
