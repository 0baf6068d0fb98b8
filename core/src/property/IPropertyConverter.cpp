#include <orvo/core/IPropertyConverter.h>

#include <cstring>

#include <orvo/core/Property.h>
#include <orvo/core/PropertyFactory.h>

#include "text/TextScratch.h"

namespace orvo {

IPropertyConverter::IPropertyConverter(const String& rttiClassName, const String& propertyType, bool unitProperty)
    : rttiClassName(rttiClassName), propertyType(propertyType), unitProperty(unitProperty) {}

const wchar_t* IPropertyConverter::getClassName() const { return L"IPropertyConverter"; }

// The compiler's names of types are plain ASCII, so each byte widens to one
// character as it stands.
String IPropertyConverter::rttiClassNameOf(const std::type_info& type) {
  const char* name = type.name();
  const std::size_t length = std::strlen(name);
  TextScratch<wchar_t> wide;
  wchar_t* out = wide.reserve(length);
  for (std::size_t i = 0; i < length; ++i) out[i] = static_cast<wchar_t>(static_cast<unsigned char>(name[i]));
  return String(out, static_cast<int>(length));
}

void IPropertyConverter::getPropertyValue(const THandle<const Unknown>& object, String& type, String& text) const {
  const Property* property = dynamic_cast<const Property*>(object.get());
  if (!property) {
    type = propertyType;
    text = L"nil";
    return;
  }
  const String realClass = rttiClassNameOf(typeid(*property));
  const IPropertyConverter* writer =
      realClass == rttiClassName ? this : PropertyFactory::getPropertyConverterByRttiClassName(realClass);
  if (!writer) return;
  type = writer->propertyType;
  text = property->getProperty();
}

bool IPropertyConverter::appendValue(const void*, property::GrowingText&) { return false; }

bool IPropertyConverter::isNilText(const String& text) noexcept {
  const wchar_t* at = text.getBuffer();
  auto isBlank = [](wchar_t c) { return c == L' ' || (c >= L'\t' && c <= L'\r'); };
  while (isBlank(*at)) ++at;
  if (std::wcsncmp(at, L"nil", 3) != 0) return false;
  at += 3;
  while (isBlank(*at)) ++at;
  return *at == 0;
}

}  // namespace orvo
