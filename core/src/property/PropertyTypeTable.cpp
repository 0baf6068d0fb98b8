// The library's own property classes, Property and DummyProperty, and the
// registration of every property type name of the library. Definitions here
// initialise in the order they stand, which is the order of the type table.
#include <orvo/core/DummyProperty.h>
#include <orvo/core/Property.h>
#include <orvo/core/PropertyDeclaration.h>

namespace orvo {

PropertyAttributes Property::_propertyAttributes_;
const String Property::_propertyType(L"Property");
const bool Property::_registerProperty_ = Property::registerProperty_();

ORVO_PROPERTY_BEGIN(DummyProperty)
  ORVO_PROPERTY(_property, "property", "Property")
ORVO_PROPERTY_TABLE_END(DummyProperty)

namespace {

const bool typesRegistered = registerPropertyClassType<Property>(L"Property") &&
                             registerPropertyClassType<DummyProperty>(L"DummyProperty");

}  // namespace

}  // namespace orvo
