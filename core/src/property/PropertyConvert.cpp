// The text forms of the property value types. Numbers are read the way the
// C library's wide conversions read them and written through the library's
// one wide formatter; the geometry values are scanned by swscanf.
#include <orvo/core/Exception.h>
#include <orvo/core/PropertyConvert.h>

#include <climits>
#include <cstdarg>
#include <cwchar>

#include "property/PropertyTextReader.h"

namespace orvo {

namespace {

// The design's _wtoi: wcstol's prefix, saturated to int as the 32-bit
// runtime's long saturates.
int readInt(const String &text) {
  const long number = std::wcstol(text.getBuffer(), nullptr, 10);
  if (number < INT_MIN) return INT_MIN;
  if (number > INT_MAX) return INT_MAX;
  return static_cast<int>(number);
}

// The design's _wtoi64.
long long readInt64(const String &text) { return std::wcstoll(text.getBuffer(), nullptr, 10); }

// The design's _wtof.
double readDouble(const String &text) { return std::wcstod(text.getBuffer(), nullptr); }

// The one call of swscanf: the number of fields assigned, or EOF for a text
// that ends before the first one.
int scanFields(const String &text, const wchar_t *format, ...) {
  va_list fields;
  va_start(fields, format);
  const int assigned = std::vswscanf(text.getBuffer(), format, fields);
  va_end(fields);
  return assigned;
}

// Scans the fields of `value` named by `fields` in order; false, with the
// value as it was, if fewer than all of them were read.
template <class Value, class... Field>
bool scanValue(const String &text, const wchar_t *format, Value &value, Field Value::*...fields) {
  Value read = value;
  if (scanFields(text, format, &(read.*fields)...) != static_cast<int>(sizeof...(Field))) return false;
  value = read;
  return true;
}

void writeDecimal(long long value, String &text) { text.format(L"%I64d", value); }

}  // namespace

// ---- numbers and text
// ---------------------------------------------------------

void convertPropertyToClass(const String &text, int &value) { value = readInt(text); }
void convertPropertyToString(const int &value, String &text) { text.format(L"%d", value); }

void convertPropertyToClass(const String &text, std::uint32_t &value) {
  value = static_cast<std::uint32_t>(readInt64(text));
}
void convertPropertyToString(const std::uint32_t &value, String &text) { writeDecimal(value, text); }

void convertPropertyToClass(const String &text, std::int16_t &value) {
  value = static_cast<std::int16_t>(readInt(text));
}
void convertPropertyToString(const std::int16_t &value, String &text) { text.format(L"%d", int{value}); }

void convertPropertyToClass(const String &text, std::uint16_t &value) {
  value = static_cast<std::uint16_t>(readInt(text));
}
void convertPropertyToString(const std::uint16_t &value, String &text) { text.format(L"%d", int{value}); }

void convertPropertyToClass(const String &text, std::int8_t &value) { value = static_cast<std::int8_t>(readInt(text)); }
void convertPropertyToString(const std::int8_t &value, String &text) { text.format(L"%d", int{value}); }

void convertPropertyToClass(const String &text, std::uint8_t &value) {
  value = static_cast<std::uint8_t>(readInt(text));
}
void convertPropertyToString(const std::uint8_t &value, String &text) { text.format(L"%d", int{value}); }

void convertPropertyToClass(const String &text, float &value) { value = static_cast<float>(readDouble(text)); }
void convertPropertyToString(const float &value, String &text) { text.format(L"%f", double{value}); }

void convertPropertyToClass(const String &text, double &value) { value = readDouble(text); }
void convertPropertyToString(const double &value, String &text) { text.format(L"%f", value); }

void convertPropertyToClass(const String &text, bool &value) { value = text == L"true"; }
void convertPropertyToString(const bool &value, String &text) { text = value ? L"true" : L"false"; }

// The replacements run one after the other, in this order, as the format
// was designed: reading "\\{" gives "{", not "\{".
void convertPropertyToClass(const String &text, String &value) {
  String plain = text;
  plain.replace(L"\\\\", L"\\");
  plain.replace(L"\\{", L"{");
  plain.replace(L"\\}", L"}");
  value = plain;
}
void convertPropertyToString(const String &value, String &text) {
  String escaped = value;
  escaped.replace(L"\\", L"\\\\");
  escaped.replace(L"{", L"\\{");
  escaped.replace(L"}", L"\\}");
  text = escaped;
}

void convertPropertyToClass(const String &text, Varint &value) {
  value = Varint(static_cast<std::int32_t>(static_cast<std::uint32_t>(readInt64(text))));
}
void convertPropertyToString(const Varint &value, String &text) { writeDecimal(value.value, text); }

void convertPropertyToClass(const String &text, TimeSpan &value) { value = TimeSpan(readInt64(text)); }
void convertPropertyToString(const TimeSpan &value, String &text) { writeDecimal(value.getSpan(), text); }

// ---- values of the library
// ------------------------------------------------------

void convertPropertyToClass(const String &text, Buffer &value) {
  if (!value.convertFromHex(text)) ORVO_THROW("void convertPropertyToClass(String const &,Buffer &)");
}
void convertPropertyToString(const Buffer &value, String &text) { text = value.convertToHex(); }

void convertPropertyToClass(const String &text, Time &value) {
  if (!value.convertFromString(text.getBuffer())) ORVO_THROW("void convertPropertyToClass(String const &,Time &)");
}
void convertPropertyToString(const Time &value, String &text) { text = value.convertToString(); }

void convertPropertyToClass(const String &text, Uuid &value) {
  if (!uuid_convertFromString(value, text.getBuffer())) {
    ORVO_THROW("void convertPropertyToClass(String const &,Uuid &)");
  }
}
void convertPropertyToString(const Uuid &value, String &text) {
  wchar_t digits[37];
  if (!uuid_convertToString(value, digits)) ORVO_THROW("void convertPropertyToString(Uuid const &,String &)");
  text = digits;
}

void convertPropertyToClass(const String &text, uuid_node_t &value) {
  if (!value.convertFromString(text)) ORVO_THROW("void convertPropertyToClass(String const &,uuid_node_t &)");
}
void convertPropertyToString(const uuid_node_t &value, String &text) {
  wchar_t digits[13];
  if (!value.convertToString(digits)) ORVO_THROW("void convertPropertyToString(uuid_node_t const &,String &)");
  text = digits;
}

void convertPropertyToClass(const String &text, Point &value) {
  if (!scanValue(text, L"%d,%d", value, &Point::x, &Point::y))
    ORVO_THROW("void convertPropertyToClass(String const &,Point &)");
}
void convertPropertyToString(const Point &value, String &text) { text.format(L"%d,%d", value.x, value.y); }

void convertPropertyToClass(const String &text, Pointf &value) {
  if (!scanValue(text, L"%f,%f", value, &Pointf::x, &Pointf::y))
    ORVO_THROW("void convertPropertyToClass(String const &,Pointf &)");
}
void convertPropertyToString(const Pointf &value, String &text) {
  text.format(L"%f,%f", double{value.x}, double{value.y});
}

void convertPropertyToClass(const String &text, Rect &value) {
  if (!scanValue(text, L"%d,%d,%d,%d", value, &Rect::left, &Rect::top, &Rect::right, &Rect::bottom))
    ORVO_THROW("void convertPropertyToClass(String const &,Rect &)");
}
void convertPropertyToString(const Rect &value, String &text) {
  text.format(L"%d,%d,%d,%d", value.left, value.top, value.right, value.bottom);
}

void convertPropertyToClass(const String &text, Rectf &value) {
  if (!scanValue(text, L"%f,%f,%f,%f", value, &Rectf::left, &Rectf::top, &Rectf::right, &Rectf::bottom))
    ORVO_THROW("void convertPropertyToClass(String const &,Rectf &)");
}
void convertPropertyToString(const Rectf &value, String &text) {
  text.format(L"%f,%f,%f,%f", double{value.left}, double{value.top}, double{value.right}, double{value.bottom});
}

void convertPropertyToClass(const String &text, Vector2 &value) {
  if (!scanValue(text, L"%f,%f", value, &Vector2::x, &Vector2::y))
    ORVO_THROW("void convertPropertyToClass(String const &,Vector2 &)");
}
void convertPropertyToString(const Vector2 &value, String &text) {
  text.format(L"%f,%f", double{value.x}, double{value.y});
}

void convertPropertyToClass(const String &text, Vector3 &value) {
  if (!scanValue(text, L"%f,%f,%f", value, &Vector3::x, &Vector3::y, &Vector3::z))
    ORVO_THROW("void convertPropertyToClass(String const &,Vector3 &)");
}
void convertPropertyToString(const Vector3 &value, String &text) {
  text.format(L"%f,%f,%f", double{value.x}, double{value.y}, double{value.z});
}

void convertPropertyToClass(const String &text, Vector4 &value) {
  if (!scanValue(text, L"%f,%f,%f,%f", value, &Vector4::x, &Vector4::y, &Vector4::z, &Vector4::w))
    ORVO_THROW("void convertPropertyToClass(String const &,Vector4 &)");
}
void convertPropertyToString(const Vector4 &value, String &text) {
  text.format(L"%f,%f,%f,%f", double{value.x}, double{value.y}, double{value.z}, double{value.w});
}

void convertPropertyToClass(const String &text, Quaternion &value) {
  if (!scanValue(text, L"%f,%f,%f,%f", value, &Quaternion::x, &Quaternion::y, &Quaternion::z, &Quaternion::w))
    ORVO_THROW("void convertPropertyToClass(String const &,Quaternion &)");
}
void convertPropertyToString(const Quaternion &value, String &text) {
  text.format(L"%f,%f,%f,%f", double{value.x}, double{value.y}, double{value.z}, double{value.w});
}

// ---- walking the items of a container text ----------------------------------

void forEachPropertyItem(const String &text, PropertyItemVisit visit, void *context) {
  property::PropertyTextReader reader(std::wstring_view(text.getBuffer(), static_cast<std::size_t>(text.getLength())));
  for (reader.skip(); !reader.atEnd(); reader.skip()) {
    const property::PropertyTextReader::Item item = reader.readItem();
    visit(context, PropertyItem{item.name, item.type, item.value});
  }
}

}  // namespace orvo
