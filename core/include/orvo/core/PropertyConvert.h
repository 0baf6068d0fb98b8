// PropertyConvert.h: the text form of every property value type, and of the
// arrays, lists and maps of them. The text is what stands between the braces
// of a property text (PropertyText.h).
//
// Each type has one pair, found by overload resolution:
//
//   void convertPropertyToClass(String const &text, T &value);   // text -> value
//   void convertPropertyToString(T const &value, String &text);  // value -> text
//
//   Point size;
//   convertPropertyToClass(L"640, 480", size);   // 640, 480
//   std::vector<int> list{1, 2, 3};
//   String text;
//   convertPropertyToString(list, text);         // "{1}{2}{3}"
//
// Text forms, by type:
//   int, int16_t, uint16_t, int8_t, uint8_t   "%d" of the value. Read as the C
//       library's wcstol reads: leading white space, a sign, digits, stop at
//       the first other character; text that is no number gives 0, no error. A
//       number beyond int saturates at INT_MIN / INT_MAX; the narrow types then
//       keep the low 16 or 8 bits (70000 as int16_t is 4464).
//   uint32_t, Varint, TimeSpan   decimal, read as wcstoll reads (saturating
//       at the 64-bit range); uint32_t and Varint keep the low 32 bits, so
//       "-1" is 4294967295 as uint32_t.
//   float, double   "%f": six decimals, so precision beyond them is lost; a
//       value of 1e300 takes over 300 characters. Read as wcstod reads; float
//       narrows the double.
//   bool    "true" or "false"; only the exact text "true" reads as true.
//   String  the text with "\" , "{" and "}" escaped by a backslash.
//   Buffer  lower-case hexadecimal, two digits a byte.
//   Point, Pointf, Rect, Rectf, Vector2, Vector3, Vector4, Quaternion   the
//       fields in order, "%d" or "%f", separated by commas ("1,2"). Read as
//       swscanf reads: white space before a number is accepted, white space
//       before a comma ends the scan, text after the last field is ignored.
//       An int field beyond int keeps the low 32 bits of the number (beyond
//       the 64-bit range, of the saturated number); a float field beyond
//       float is infinity.
//   Time    "year-mm-dd hh:mm:ss" in local time (Time::convertToString).
//   Uuid, uuid_node_t   their 36- and 12-digit hexadecimal forms.
//   std::vector<T>, std::list<T>   "{" element "}" for each element.
//   std::map<String, T>   key ":{" element "}" for each entry in key order.
//
// A text that cannot be read raises Exception with code -1 and the message
// "void convertPropertyToClass(String const &,Type &)", naming the type; a
// Uuid or node that cannot be written raises "void convertPropertyToString(
// Type const &,String &)". Containers read each item's name (a map's key),
// skip its type, read its value with the element's reader, and pass on the
// element's exception; a malformed item raises "String readPropertyValue(
// String &)". On an exception `value` may hold part of the text.
//
// A new value type joins by declaring its own pair in namespace orvo; the
// container forms then work for it too. propertyDefaultValue<T>() is the value
// a reader starts from (an element before its text is read).
//
// Threads: plain functions; a value and a string they change belong to one
// thread at a time.
#pragma once

#include <cstdint>
#include <list>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include <orvo/core/Buffer.h>
#include <orvo/core/Export.h>
#include <orvo/core/Point.h>
#include <orvo/core/Quaternion.h>
#include <orvo/core/Rect.h>
#include <orvo/core/String.h>
#include <orvo/core/Time.h>
#include <orvo/core/Uuid.h>
#include <orvo/core/Varint.h>
#include <orvo/core/Vector2.h>
#include <orvo/core/Vector3.h>
#include <orvo/core/Vector4.h>

namespace orvo {

namespace property {
class GrowingText;
}

// ---- numbers and text -------------------------------------------------------

ORVO_API void convertPropertyToClass(const String& text, int& value);
ORVO_API void convertPropertyToString(const int& value, String& text);
ORVO_API void convertPropertyToClass(const String& text, std::uint32_t& value);
ORVO_API void convertPropertyToString(const std::uint32_t& value, String& text);
ORVO_API void convertPropertyToClass(const String& text, std::int16_t& value);
ORVO_API void convertPropertyToString(const std::int16_t& value, String& text);
ORVO_API void convertPropertyToClass(const String& text, std::uint16_t& value);
ORVO_API void convertPropertyToString(const std::uint16_t& value, String& text);
ORVO_API void convertPropertyToClass(const String& text, std::int8_t& value);
ORVO_API void convertPropertyToString(const std::int8_t& value, String& text);
ORVO_API void convertPropertyToClass(const String& text, std::uint8_t& value);
ORVO_API void convertPropertyToString(const std::uint8_t& value, String& text);
ORVO_API void convertPropertyToClass(const String& text, float& value);
ORVO_API void convertPropertyToString(const float& value, String& text);
ORVO_API void convertPropertyToClass(const String& text, double& value);
ORVO_API void convertPropertyToString(const double& value, String& text);
ORVO_API void convertPropertyToClass(const String& text, bool& value);
ORVO_API void convertPropertyToString(const bool& value, String& text);
ORVO_API void convertPropertyToClass(const String& text, String& value);
ORVO_API void convertPropertyToString(const String& value, String& text);
ORVO_API void convertPropertyToClass(const String& text, Varint& value);
ORVO_API void convertPropertyToString(const Varint& value, String& text);
ORVO_API void convertPropertyToClass(const String& text, TimeSpan& value);
ORVO_API void convertPropertyToString(const TimeSpan& value, String& text);

// ---- values of the library --------------------------------------------------

ORVO_API void convertPropertyToClass(const String& text, Buffer& value);
ORVO_API void convertPropertyToString(const Buffer& value, String& text);
ORVO_API void convertPropertyToClass(const String& text, Time& value);
ORVO_API void convertPropertyToString(const Time& value, String& text);
ORVO_API void convertPropertyToClass(const String& text, Uuid& value);
ORVO_API void convertPropertyToString(const Uuid& value, String& text);
ORVO_API void convertPropertyToClass(const String& text, uuid_node_t& value);
ORVO_API void convertPropertyToString(const uuid_node_t& value, String& text);

ORVO_API void convertPropertyToClass(const String& text, Point& value);
ORVO_API void convertPropertyToString(const Point& value, String& text);
ORVO_API void convertPropertyToClass(const String& text, Pointf& value);
ORVO_API void convertPropertyToString(const Pointf& value, String& text);
ORVO_API void convertPropertyToClass(const String& text, Rect& value);
ORVO_API void convertPropertyToString(const Rect& value, String& text);
ORVO_API void convertPropertyToClass(const String& text, Rectf& value);
ORVO_API void convertPropertyToString(const Rectf& value, String& text);
ORVO_API void convertPropertyToClass(const String& text, Vector2& value);
ORVO_API void convertPropertyToString(const Vector2& value, String& text);
ORVO_API void convertPropertyToClass(const String& text, Vector3& value);
ORVO_API void convertPropertyToString(const Vector3& value, String& text);
ORVO_API void convertPropertyToClass(const String& text, Vector4& value);
ORVO_API void convertPropertyToString(const Vector4& value, String& text);
ORVO_API void convertPropertyToClass(const String& text, Quaternion& value);
ORVO_API void convertPropertyToString(const Quaternion& value, String& text);

// The value a reader starts from: a value-initialised T (zeros, an empty
// text or container, a Time that is not set), and for a Quaternion, which has
// no default, the identity (0, 0, 0, 1).
template <class T>
T propertyDefaultValue() {
  return T{};
}
template <>
inline Quaternion propertyDefaultValue<Quaternion>() {
  return Quaternion(0.0f, 0.0f, 0.0f, 1.0f);
}

// ---- walking the items of a container text ----------------------------------

// One item of a property text; the views point into the text being read and
// stay valid during the call that receives them.
struct PropertyItem {
  std::wstring_view name;
  std::wstring_view type;
  std::wstring_view value;
};

using PropertyItemVisit = void (*)(void* context, const PropertyItem& item);

// Calls `visit` for each item of `text` in order, skipping white space and
// comments between them, in time linear in the text's length. A malformed
// item raises as readPropertyValue does, after the items before it were
// visited; an exception from `visit` ends the walk and passes on.
ORVO_API void forEachPropertyItem(const String& text, PropertyItemVisit visit, void* context);

// The same with any callable taking a PropertyItem.
template <class Visitor>
  requires std::is_invocable_v<Visitor&, const PropertyItem&>
void forEachPropertyItem(const String& text, Visitor&& visitor) {
  using Target = std::remove_reference_t<Visitor>;
  forEachPropertyItem(
      text, [](void* context, const PropertyItem& item) { (*static_cast<Target*>(context))(item); },
      const_cast<void*>(static_cast<const void*>(&visitor)));
}

namespace detail {

inline String propertyString(std::wstring_view view) { return String(view.data(), static_cast<int>(view.size())); }

template <class T>
T readPropertyElement(std::wstring_view value) {
  T element = propertyDefaultValue<T>();
  convertPropertyToClass(propertyString(value), element);
  return element;
}

// Gathers a container's text in one growing buffer, so that writing is
// linear in the output's length; it is the buffer the library writes its
// own property texts into.
class ORVO_API PropertyTextBuilder {
 public:
  PropertyTextBuilder();
  ~PropertyTextBuilder();
  PropertyTextBuilder(const PropertyTextBuilder&) = delete;
  PropertyTextBuilder& operator=(const PropertyTextBuilder&) = delete;

  void append(std::wstring_view part);
  void append(const String& part);
  void appendFramed(const String& element);
  // The text; the builder is empty afterwards.
  String take();

 private:
  std::unique_ptr<property::GrowingText> _text;
};

template <class Sequence>
void readPropertySequence(const String& text, Sequence& value) {
  value.clear();
  forEachPropertyItem(text, [&value](const PropertyItem& item) {
    value.push_back(readPropertyElement<typename Sequence::value_type>(item.value));
  });
}

template <class Sequence>
void writePropertySequence(const Sequence& value, String& text) {
  PropertyTextBuilder builder;
  String element;
  for (const auto& each : value) {
    convertPropertyToString(each, element);
    builder.appendFramed(element);
  }
  text = builder.take();
}

}  // namespace detail

// ---- containers -------------------------------------------------------------

// All six are declared before any is defined, so that containers of
// containers find each other.
template <class T>
void convertPropertyToClass(const String& text, std::vector<T>& value);
template <class T>
void convertPropertyToString(const std::vector<T>& value, String& text);
template <class T>
void convertPropertyToClass(const String& text, std::list<T>& value);
template <class T>
void convertPropertyToString(const std::list<T>& value, String& text);
template <class T>
void convertPropertyToClass(const String& text, std::map<String, T>& value);
template <class T>
void convertPropertyToString(const std::map<String, T>& value, String& text);

template <class T>
void convertPropertyToClass(const String& text, std::vector<T>& value) {
  detail::readPropertySequence(text, value);
}
template <class T>
void convertPropertyToString(const std::vector<T>& value, String& text) {
  detail::writePropertySequence(value, text);
}

template <class T>
void convertPropertyToClass(const String& text, std::list<T>& value) {
  detail::readPropertySequence(text, value);
}
template <class T>
void convertPropertyToString(const std::list<T>& value, String& text) {
  detail::writePropertySequence(value, text);
}

// An item's name is its key; a repeated key replaces the earlier value. Keys
// are written as they stand: one outside the name characters of the property
// text does not read back.
template <class T>
void convertPropertyToClass(const String& text, std::map<String, T>& value) {
  value.clear();
  forEachPropertyItem(text, [&value](const PropertyItem& item) {
    value.insert_or_assign(detail::propertyString(item.name), detail::readPropertyElement<T>(item.value));
  });
}
template <class T>
void convertPropertyToString(const std::map<String, T>& value, String& text) {
  detail::PropertyTextBuilder builder;
  String element;
  for (const auto& [key, each] : value) {
    convertPropertyToString(each, element);
    builder.append(key);
    builder.append(std::wstring_view(L":"));
    builder.appendFramed(element);
  }
  text = builder.take();
}

}  // namespace orvo
