// PropertyHandleText.h: the text of arrays, lists and maps of handles on
// property classes, `:Shape{...}:Circle{...}` and `first:Shape{...}`.
//
// Each element is written framed with its own class (PropertyWriter) and read
// back through PropertyReader, so that a container of THandle<Shape> keeps
// the derived classes of its elements. An element read back as an object of
// a class that is not an X stays null in a container of THandle<X>.
//
// Elements with an empty text, a null handle or an object without attribute
// text, vanish from an array or list; in a map such an entry is written
// `key{nil}` (null) or `key:Type{}` (an object of a class with a converter),
// so that the key survives. Keys are written as they stand: a key that is not
// a name of the text format does not read back.
//
// Threads: plain functions on the caller's values.
#pragma once

#include <list>
#include <map>
#include <memory>
#include <vector>

#include <orvo/core/Export.h>
#include <orvo/core/Property.h>

namespace orvo {

namespace property {
class GrowingText;
}

class ORVO_API PropertyHandleText {
 public:
  using Sink = void (*)(void* context, const String& name, const Unknown::THandle<Property>& object);

  // Reads each item of `text` and passes its name and the object made from
  // ":" type "{" value "}". Raises Exception on an item that does not parse.
  static void read(const String& text, Sink sink, void* context);

  // Collects elements in the order they are added.
  class ORVO_API Writer {
   public:
    Writer();
    // Writes into `into` instead, which finish then leaves as it is.
    explicit Writer(property::GrowingText& into);
    ~Writer();
    Writer(const Writer&) = delete;
    Writer& operator=(const Writer&) = delete;

    void add(const Property* object);
    void add(const String& key, const Property* object);
    // The text; the writer is empty afterwards.
    String finish();

   private:
    std::unique_ptr<property::GrowingText> _own;
    property::GrowingText* _text;
  };
};

template <class X>
Unknown::THandle<X> propertyHandleAs(const Unknown::THandle<Property>& object) {
  return Unknown::THandle<X>(object.template dynamicCast<X>());
}

// The array and list forms, on a std::vector or std::list of THandle<X>.
template <class X, class Sequence>
void readPropertyHandleSequence(const String& text, Sequence& value) {
  value.clear();
  PropertyHandleText::read(
      text,
      [](void* into, const String&, const Unknown::THandle<Property>& object) {
        static_cast<Sequence*>(into)->push_back(propertyHandleAs<X>(object));
      },
      &value);
}

template <class X>
void writePropertyHandles(const std::vector<Unknown::THandle<X>>& value, PropertyHandleText::Writer& writer) {
  for (const auto& element : value) writer.add(element.get());
}

template <class X>
void writePropertyHandles(const std::list<Unknown::THandle<X>>& value, PropertyHandleText::Writer& writer) {
  for (const auto& element : value) writer.add(element.get());
}

template <class X>
void writePropertyHandles(const std::map<String, Unknown::THandle<X>>& value, PropertyHandleText::Writer& writer) {
  for (const auto& [key, element] : value) writer.add(key, element.get());
}

template <class Container>
void writePropertyHandleText(const Container& value, String& text) {
  PropertyHandleText::Writer writer;
  writePropertyHandles(value, writer);
  text = writer.finish();
}

template <class X>
void convertPropertyToClass(const String& text, std::vector<Unknown::THandle<X>>& value) {
  readPropertyHandleSequence<X>(text, value);
}

template <class X>
void convertPropertyToClass(const String& text, std::list<Unknown::THandle<X>>& value) {
  readPropertyHandleSequence<X>(text, value);
}

template <class X>
void convertPropertyToClass(const String& text, std::map<String, Unknown::THandle<X>>& value) {
  value.clear();
  PropertyHandleText::read(
      text,
      [](void* into, const String& name, const Unknown::THandle<Property>& object) {
        (*static_cast<std::map<String, Unknown::THandle<X>>*>(into))[name] = propertyHandleAs<X>(object);
      },
      &value);
}

template <class X>
void convertPropertyToString(const std::vector<Unknown::THandle<X>>& value, String& text) {
  writePropertyHandleText(value, text);
}

template <class X>
void convertPropertyToString(const std::list<Unknown::THandle<X>>& value, String& text) {
  writePropertyHandleText(value, text);
}

template <class X>
void convertPropertyToString(const std::map<String, Unknown::THandle<X>>& value, String& text) {
  writePropertyHandleText(value, text);
}

}  // namespace orvo
