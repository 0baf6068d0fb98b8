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

using property::stringOf;
using property::viewOf;

namespace {

const IPropertyConverter* converterOfClass(const Property& object) {
  return PropertyFactory::getPropertyConverterByRttiClassName(IPropertyConverter::rttiClassNameOf(typeid(object)));
}

// The text becomes the item "property:Type{...}" of a carrier whose one
// attribute, "property", holds any Property: the class converter that Type
// names makes the object.
THandle<Property> objectOfFramed(std::wstring_view framed) {
  const THandle<DummyProperty> carrier = DummyProperty::createInstance();
  property::setItems(*carrier, framed, L"property");
  return carrier->getHeldProperty();
}

}  // namespace

THandle<Property> PropertyReader::getPropertyClass(const String& text) {
  std::wstring_view framed = viewOf(text);
  const auto blank = [](wchar_t c) { return c == L' ' || (c >= L'\t' && c <= L'\r'); };
  while (!framed.empty() && blank(framed.front())) framed.remove_prefix(1);
  while (!framed.empty() && blank(framed.back())) framed.remove_suffix(1);
  if (framed.empty()) return THandle<Property>();
  return objectOfFramed(framed);
}

// The frame is written first and taken back if no attribute text follows,
// so that the text goes into the caller's buffer once.
bool property::appendFramed(const Property& object, GrowingText& out) {
  const std::size_t start = out.size();
  const IPropertyConverter* converter = converterOfClass(object);
  if (converter) {
    out.push(L':');
    out.append(converter->getPropertyType());
    out.push(L'{');
  }
  const std::size_t text = out.size();
  appendAttributes(object, out);
  if (out.size() == text) {
    out.truncate(start);
    return false;
  }
  if (converter) out.push(L'}');
  return true;
}

String PropertyWriter::getPropertyString(const Property* object) {
  property::GrowingText out;
  if (object) property::appendFramed(*object, out);
  return out.finish();
}

void PropertyHandleText::read(const String& text, Sink sink, void* context) {
  const std::wstring_view whole = viewOf(text);
  property::PropertyTextReader reader(whole);
  for (reader.skip(); !reader.atEnd(); reader.skip()) {
    const std::wstring_view name = reader.readName();
    const auto start = static_cast<std::size_t>(reader.position());
    reader.readType();
    reader.readValue();
    // The item's ":Type{...}" as it stands, read as getPropertyClass reads
    // it; "{...}" without a type reads as ":{...}" does.
    const std::wstring_view framed = whole.substr(start, static_cast<std::size_t>(reader.position()) - start);
    sink(context, stringOf(name), objectOfFramed(framed));
  }
}

PropertyHandleText::Writer::Writer() : _own(std::make_unique<property::GrowingText>()), _text(_own.get()) {}

PropertyHandleText::Writer::Writer(property::GrowingText& into) : _text(&into) {}

PropertyHandleText::Writer::~Writer() = default;

void PropertyHandleText::Writer::add(const Property* object) {
  if (object) property::appendFramed(*object, *_text);
}

// An entry without element text keeps its key: a null handle as "{nil}", an
// object of a class with a converter as an empty object of that class.
void PropertyHandleText::Writer::add(const String& key, const Property* object) {
  _text->append(key);
  if (object && property::appendFramed(*object, *_text)) return;
  const IPropertyConverter* converter = object ? converterOfClass(*object) : nullptr;
  if (!converter) {
    _text->append(std::wstring_view(L"{nil}"));
    return;
  }
  _text->push(L':');
  _text->append(converter->getPropertyType());
  _text->append(std::wstring_view(L"{}"));
}

String PropertyHandleText::Writer::finish() { return _own ? _own->finish() : String(); }

}  // namespace orvo
