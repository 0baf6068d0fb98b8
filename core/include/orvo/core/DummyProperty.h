// DummyProperty.h: the carrier through which PropertyReader turns a framed
// text of any class into an object.
//
// Its one attribute, "property", holds a THandle<Property>; reading the text
// "property:Shape{...}" into it makes a Shape through Shape's class
// converter. Applications rarely need it directly.
//
// Threads: as Property.
#pragma once

#include <orvo/core/Export.h>
#include <orvo/core/Property.h>
#include <orvo/core/PropertyDeclaration.h>

namespace orvo {

class ORVO_API DummyProperty : public Property {
  ORVO_PROPERTY_CLASS(DummyProperty, Property)

 public:
  const THandle<Property>& getHeldProperty() const noexcept { return _property; }

 protected:
  DummyProperty() noexcept = default;

 private:
  THandle<Property> _property;
};

}  // namespace orvo
