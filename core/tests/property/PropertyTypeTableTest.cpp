// The library's converter table: every name in its order, and lookups of a
// sample both ways.
#include <gtest/gtest.h>

#include <cstdint>
#include <list>
#include <map>
#include <set>
#include <string>
#include <vector>

#include <orvo/core/DummyProperty.h>
#include <orvo/core/PropertyConvert.h>
#include <orvo/core/PropertyFactory.h>

#include "property/PropertyTypeTable.h"

namespace orvo {
namespace {

TEST(PropertyTypeTable, RegistersEveryNameInOrder) {
  std::wstring order;
  for (const property::PropertyTypeRow& row : property::propertyTypeRows()) order += std::wstring(row.name) + L" ";
  EXPECT_EQ(order,
            L"Buffer Point Pointf Property DummyProperty int uint32_t int16_t uint16_t float double bool int8_t "
            L"uint8_t String Varint Quaternion Rect Rectf TimeSpan Time Uuid uuid_node_t Vector2 Vector3 Vector4 ");

  std::set<IPropertyConverter*> converters;
  for (const property::PropertyTypeRow& row : property::propertyTypeRows()) {
    for (const wchar_t* suffix : {L"", L"Array", L"List", L"Map"}) {
      const String name = String(row.name) + suffix;
      SCOPED_TRACE(name.getBuffer());
      IPropertyConverter* converter = PropertyFactory::getPropertyConverter(name);
      ASSERT_NE(converter, nullptr);
      EXPECT_EQ(PropertyFactory::getPropertyConverterByRttiClassName(converter->getRttiClassName()), converter);
      const bool classRow = std::wstring(row.name).ends_with(L"Property");
      EXPECT_EQ(converter->isUnitProperty(), *suffix != 0 || !classRow);
      converters.insert(converter);
    }
  }
  EXPECT_EQ(converters.size(), 104u);
}

template <class T>
const String& rtti() {
  return IPropertyConverter::rttiClassNameOf<T>();
}

TEST(PropertyTypeTable, FindsTypesByTheirClass) {
  const std::pair<String, const wchar_t*> samples[] = {
      {rtti<std::int8_t>(), L"int8_t"}, {rtti<std::vector<String>>(), L"StringArray"},
      {rtti<std::list<uuid_node_t>>(), L"uuid_node_tList"},
      {rtti<std::map<String, Unknown::THandle<DummyProperty>>>(), L"DummyPropertyMap"}, {rtti<long>(), nullptr}};
  for (const auto& [name, type] : samples) {
    const IPropertyConverter* converter = PropertyFactory::getPropertyConverterByRttiClassName(name);
    EXPECT_EQ(converter ? converter->getPropertyType().getBuffer() : nullptr, type ? String(type) : String());
  }
}

}  // namespace
}  // namespace orvo
