// The library's own property classes, Property and DummyProperty, and the
// registration of every property type name of the library. Definitions here
// initialise in the order they stand: the two classes' tables first, then
// the converters row by row, which is the order of the type table.
#include "property/PropertyTypeTable.h"

#include <cstdint>

#include <orvo/core/DummyProperty.h>
#include <orvo/core/Property.h>
#include <orvo/core/PropertyConvert.h>
#include <orvo/core/PropertyDeclaration.h>

namespace orvo {

PropertyAttributes Property::_propertyAttributes_;
const String Property::_propertyType(L"Property");
const bool Property::_registerProperty_ = Property::registerProperty_();

ORVO_PROPERTY_BEGIN(DummyProperty)
  ORVO_PROPERTY(_property, "property", "Property")
ORVO_PROPERTY_TABLE_END(DummyProperty)

namespace property {
namespace {

constexpr PropertyTypeRow kRows[] = {
    {L"Buffer", &registerPropertyValueType<Buffer>},
    {L"Point", &registerPropertyValueType<Point>},
    {L"Pointf", &registerPropertyValueType<Pointf>},
    {L"Property", &registerPropertyClassType<Property>},
    {L"DummyProperty", &registerPropertyClassType<DummyProperty>},
    {L"int", &registerPropertyValueType<int>},
    {L"uint32_t", &registerPropertyValueType<std::uint32_t>},
    {L"int16_t", &registerPropertyValueType<std::int16_t>},
    {L"uint16_t", &registerPropertyValueType<std::uint16_t>},
    {L"float", &registerPropertyValueType<float>},
    {L"double", &registerPropertyValueType<double>},
    {L"bool", &registerPropertyValueType<bool>},
    {L"int8_t", &registerPropertyValueType<std::int8_t>},
    {L"uint8_t", &registerPropertyValueType<std::uint8_t>},
    {L"String", &registerPropertyValueType<String>},
    {L"Varint", &registerPropertyValueType<Varint>},
    {L"Quaternion", &registerPropertyValueType<Quaternion>},
    {L"Rect", &registerPropertyValueType<Rect>},
    {L"Rectf", &registerPropertyValueType<Rectf>},
    {L"TimeSpan", &registerPropertyValueType<TimeSpan>},
    {L"Time", &registerPropertyValueType<Time>},
    {L"Uuid", &registerPropertyValueType<Uuid>},
    {L"uuid_node_t", &registerPropertyValueType<uuid_node_t>},
    {L"Vector2", &registerPropertyValueType<Vector2>},
    {L"Vector3", &registerPropertyValueType<Vector3>},
    {L"Vector4", &registerPropertyValueType<Vector4>},
};

bool registerRows() {
  for (const PropertyTypeRow& row : kRows) row.registerRow(row.name);
  return true;
}

const bool rowsRegistered = registerRows();

}  // namespace

std::span<const PropertyTypeRow> propertyTypeRows() { return kRows; }

}  // namespace property
}  // namespace orvo
