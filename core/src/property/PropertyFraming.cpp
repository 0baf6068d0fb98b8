// Texts framed with a class name: PropertyReader, PropertyWriter and the
// containers of handles, which frame each element.
#include <orvo/core/DummyProperty.h>
#include <orvo/core/PropertyFactory.h>
#include <orvo/core/PropertyHandleText.h>
#include <orvo/core/PropertyReader.h>
#include <orvo/core/PropertyWriter.h>

#include "property/PropertyTextOf.h"
#include "property/PropertyTextReader.h"

namespace orvo {

using property::append;
using property::stringOf;
using property::viewOf;

namespace {

const IPropertyConverter* converterOfClass(const Property& object) {
  return PropertyFactory::getPropertyConverterByRttiClassName(IPropertyConverter::rttiClassNameOf(typeid(object)));
}

}  // namespace

THandle<Property> PropertyReader::getPropertyClass(const String& text) {
  String framed(text);
  framed.trim();
  if (framed.getLength() == 0) return THandle<Property>();
  // The text becomes the item "property:Type{...}" of a carrier whose one
  // attribute, "property", holds any Property: the class converter that Type
  // names makes the object.
  const THandle<DummyProperty> carrier = DummyProperty::createInstance();
  carrier->setProperty(L"property" + framed);
  return carrier->getHeldProperty();
}

String PropertyWriter::getPropertyString(const Property* object) {
  if (!object) return String();
  const String text = object->getProperty();
  if (text.getLength() == 0) return text;
  const IPropertyConverter* converter = converterOfClass(*object);
  if (!converter) return text;
  std::wstring out;
  out.reserve(static_cast<std::size_t>(text.getLength() + converter->getPropertyType().getLength()) + 3);
  out += L':';
  append(out, converter->getPropertyType());
  out += L'{';
  append(out, text);
  out += L'}';
  return stringOf(out);
}

void PropertyHandleText::read(const String& text, Sink sink, void* context) {
  property::PropertyTextReader reader(viewOf(text));
  std::wstring framed;
  for (reader.skip(); !reader.atEnd(); reader.skip()) {
    const property::PropertyTextReader::Item item = reader.readItem();
    framed.assign(L":");
    framed.append(item.type);
    framed += L'{';
    framed.append(item.value);
    framed += L'}';
    sink(context, stringOf(item.name), PropertyReader::getPropertyClass(stringOf(framed)));
  }
}

void PropertyHandleText::Writer::add(const Property* object) {
  append(_text, PropertyWriter::getPropertyString(object));
}

// An entry without element text keeps its key: a null handle as "{nil}", an
// object of a class with a converter as an empty object of that class.
void PropertyHandleText::Writer::add(const String& key, const Property* object) {
  append(_text, key);
  const String element = PropertyWriter::getPropertyString(object);
  if (element.getLength() != 0) {
    append(_text, element);
    return;
  }
  const IPropertyConverter* converter = object ? converterOfClass(*object) : nullptr;
  if (!converter) {
    _text += L"{nil}";
    return;
  }
  _text += L':';
  append(_text, converter->getPropertyType());
  _text += L"{}";
}

String PropertyHandleText::Writer::finish() const { return stringOf(_text); }

}  // namespace orvo
