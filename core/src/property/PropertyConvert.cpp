// The text forms of the property value types. Numbers are read the way the
// C library's wide conversions read them and written through the library's
// one wide formatter; the geometry values are scanned by swscanf.
#include <orvo/core/PropertyConvert.h>

#include <climits>
#include <cstdarg>
#include <cwchar>
#include <utility>

#include <orvo/core/Exception.h>

#include "property/GrowingText.h"
#include "property/PropertyTextReader.h"

namespace orvo {

namespace {

// The design's _wtoi: wcstol's prefix, saturated to int as the 32-bit
// runtime's long saturates.
int readInt(const String& text) {
  const long number = std::wcstol(text.getBuffer(), nullptr, 10);
  if (number < INT_MIN) return INT_MIN;
  if (number > INT_MAX) return INT_MAX;
  return static_cast<int>(number);
}

// The design's _wtoi64.
long long readInt64(const String& text) { return std::wcstoll(text.getBuffer(), nullptr, 10); }

// The design's _wtof.
double readDouble(const String& text) { return std::wcstod(text.getBuffer(), nullptr); }

// The one call of swscanf: the number of fields assigned, or EOF for a text
// that ends before the first one.
int scanFields(const String& text, const wchar_t* format, ...) {
  va_list fields;
  va_start(fields, format);
  const int assigned = std::vswscanf(text.getBuffer(), format, fields);
  va_end(fields);
  return assigned;
}

// Scans the fields of `value` named by `fields` in order; false, with the
// value as it was, if fewer than all of them were read.
template <class Value, class... Field>
bool scanValue(const String& text, const wchar_t* format, Value& value, Field Value::*... fields) {
  Value read = value;
  if (scanFields(text, format, &(read.*fields)...) != static_cast<int>(sizeof...(Field))) return false;
  value = read;
  return true;
}

// A float field goes to the formatter as the double that "%f" takes.
int formatArgument(int field) { return field; }
double formatArgument(float field) { return field; }

template <class Value, class... Field>
void writeFields(String& text, const wchar_t* format, const Value& value, Field Value::*... fields) {
  text.format(format, formatArgument(value.*fields)...);
}

// Each replacement runs over the whole text before the next, in the order
// the format was designed with: reading "\\{" gives "{", not "\{".
String replacedInTurn(String text, const wchar_t* const (&steps)[3][2]) {
  for (const auto& step : steps) text.replace(step[0], step[1]);
  return text;
}

// The digits by hand: the C library's formatter spends most of its time on
// the format, several times what the digits cost (bench/property_convert).
void writeDecimal(long long value, String& text) {
  wchar_t digits[20];
  wchar_t* const end = digits + 20;
  wchar_t* first = end;
  unsigned long long magnitude = value < 0 ? 0ULL - static_cast<unsigned long long>(value) : value;
  do {
    *--first = static_cast<wchar_t>(L'0' + magnitude % 10);
    magnitude /= 10;
  } while (magnitude != 0);
  if (value < 0) *--first = L'-';
  text = String(first, static_cast<int>(end - first));
}

}  // namespace

// ---- numbers and text -------------------------------------------------------

void convertPropertyToClass(const String& text, int& value) { value = readInt(text); }
void convertPropertyToString(const int& value, String& text) { writeDecimal(value, text); }

void convertPropertyToClass(const String& text, std::uint32_t& value) {
  value = static_cast<std::uint32_t>(readInt64(text));
}
void convertPropertyToString(const std::uint32_t& value, String& text) { writeDecimal(value, text); }

void convertPropertyToClass(const String& text, std::int16_t& value) {
  value = static_cast<std::int16_t>(readInt(text));
}
void convertPropertyToString(const std::int16_t& value, String& text) { writeDecimal(int{value}, text); }

void convertPropertyToClass(const String& text, std::uint16_t& value) {
  value = static_cast<std::uint16_t>(readInt(text));
}
void convertPropertyToString(const std::uint16_t& value, String& text) { writeDecimal(int{value}, text); }

void convertPropertyToClass(const String& text, std::int8_t& value) { value = static_cast<std::int8_t>(readInt(text)); }
void convertPropertyToString(const std::int8_t& value, String& text) { writeDecimal(int{value}, text); }

void convertPropertyToClass(const String& text, std::uint8_t& value) {
  value = static_cast<std::uint8_t>(readInt(text));
}
void convertPropertyToString(const std::uint8_t& value, String& text) { writeDecimal(int{value}, text); }

void convertPropertyToClass(const String& text, float& value) { value = static_cast<float>(readDouble(text)); }
void convertPropertyToString(const float& value, String& text) { text.format(L"%f", double{value}); }

void convertPropertyToClass(const String& text, double& value) { value = readDouble(text); }
void convertPropertyToString(const double& value, String& text) { text.format(L"%f", value); }

void convertPropertyToClass(const String& text, bool& value) { value = text == L"true"; }
void convertPropertyToString(const bool& value, String& text) { text = value ? L"true" : L"false"; }

void convertPropertyToClass(const String& text, String& value) {
  static constexpr const wchar_t* kUnescape[3][2] = {{L"\\\\", L"\\"}, {L"\\{", L"{"}, {L"\\}", L"}"}};
  value = replacedInTurn(text, kUnescape);
}
void convertPropertyToString(const String& value, String& text) {
  static constexpr const wchar_t* kEscape[3][2] = {{L"\\", L"\\\\"}, {L"{", L"\\{"}, {L"}", L"\\}"}};
  text = replacedInTurn(value, kEscape);
}

void convertPropertyToClass(const String& text, Varint& value) {
  value = Varint(static_cast<std::int32_t>(static_cast<std::uint32_t>(readInt64(text))));
}
void convertPropertyToString(const Varint& value, String& text) { writeDecimal(value.value, text); }

void convertPropertyToClass(const String& text, TimeSpan& value) { value = TimeSpan(readInt64(text)); }
void convertPropertyToString(const TimeSpan& value, String& text) { writeDecimal(value.getSpan(), text); }

// ---- values of the library --------------------------------------------------

// Read into a new block, so that a text that does not read leaves the bytes.
void convertPropertyToClass(const String& text, Buffer& value) {
  Buffer read;
  if (!read.convertFromHex(text)) ORVO_THROW("void convertPropertyToClass(String const &,Buffer &)");
  value = std::move(read);
}
void convertPropertyToString(const Buffer& value, String& text) { text = value.convertToHex(); }

void convertPropertyToClass(const String& text, Time& value) {
  if (!value.convertFromString(text.getBuffer())) ORVO_THROW("void convertPropertyToClass(String const &,Time &)");
}
void convertPropertyToString(const Time& value, String& text) { text = value.convertToString(); }

void convertPropertyToClass(const String& text, Uuid& value) {
  if (!uuid_convertFromString(value, text.getBuffer())) {
    ORVO_THROW("void convertPropertyToClass(String const &,Uuid &)");
  }
}
// The writers of Uuid and uuid_node_t answer false for no value today; the
// checks keep the designed message should one of them ever refuse.
void convertPropertyToString(const Uuid& value, String& text) {
  wchar_t digits[37];
  if (!uuid_convertToString(value, digits)) ORVO_THROW("void convertPropertyToString(Uuid const &,String &)");
  text = digits;
}

void convertPropertyToClass(const String& text, uuid_node_t& value) {
  if (!value.convertFromString(text)) ORVO_THROW("void convertPropertyToClass(String const &,uuid_node_t &)");
}
void convertPropertyToString(const uuid_node_t& value, String& text) {
  wchar_t digits[13];
  if (!value.convertToString(digits)) ORVO_THROW("void convertPropertyToString(uuid_node_t const &,String &)");
  text = digits;
}

// Each comma-separated value is read and written field by field in the same
// order; only the name in the message and the format differ.
#define ORVO_FIELDS_TEXT_FORM(Type, format, ...)                             \
  void convertPropertyToClass(const String& text, Type& value) {             \
    if (!scanValue(text, format, value, __VA_ARGS__)) {                      \
      ORVO_THROW("void convertPropertyToClass(String const &," #Type " &)"); \
    }                                                                        \
  }                                                                          \
  void convertPropertyToString(const Type& value, String& text) { writeFields(text, format, value, __VA_ARGS__); }

ORVO_FIELDS_TEXT_FORM(Point, L"%d,%d", &Point::x, &Point::y)
ORVO_FIELDS_TEXT_FORM(Pointf, L"%f,%f", &Pointf::x, &Pointf::y)
ORVO_FIELDS_TEXT_FORM(Rect, L"%d,%d,%d,%d", &Rect::left, &Rect::top, &Rect::right, &Rect::bottom)
ORVO_FIELDS_TEXT_FORM(Rectf, L"%f,%f,%f,%f", &Rectf::left, &Rectf::top, &Rectf::right, &Rectf::bottom)
ORVO_FIELDS_TEXT_FORM(Vector2, L"%f,%f", &Vector2::x, &Vector2::y)
ORVO_FIELDS_TEXT_FORM(Vector3, L"%f,%f,%f", &Vector3::x, &Vector3::y, &Vector3::z)
ORVO_FIELDS_TEXT_FORM(Vector4, L"%f,%f,%f,%f", &Vector4::x, &Vector4::y, &Vector4::z, &Vector4::w)
ORVO_FIELDS_TEXT_FORM(Quaternion, L"%f,%f,%f,%f", &Quaternion::x, &Quaternion::y, &Quaternion::z, &Quaternion::w)

#undef ORVO_FIELDS_TEXT_FORM

// ---- walking the items of a container text ----------------------------------

namespace detail {

PropertyTextBuilder::PropertyTextBuilder() : _text(std::make_unique<property::GrowingText>()) {}
PropertyTextBuilder::~PropertyTextBuilder() = default;

void PropertyTextBuilder::append(std::wstring_view part) { _text->append(part); }
void PropertyTextBuilder::append(const String& part) { _text->append(part); }
void PropertyTextBuilder::appendFramed(const String& element) { _text->appendFramed(element); }
String PropertyTextBuilder::take() { return _text->finish(); }

}  // namespace detail

void forEachPropertyItem(const String& text, PropertyItemVisit visit, void* context) {
  property::PropertyTextReader reader(std::wstring_view(text.getBuffer(), static_cast<std::size_t>(text.getLength())));
  for (reader.skip(); !reader.atEnd(); reader.skip()) {
    const property::PropertyTextReader::Item item = reader.readItem();
    visit(context, PropertyItem{item.name, item.type, item.value});
  }
}

}  // namespace orvo
