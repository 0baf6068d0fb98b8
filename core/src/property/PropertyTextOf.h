// PropertyTextOf.h: views of Strings for the property reader, Strings of
// views and of built texts, and the writers that append an object's text to
// a growing buffer, so that nested objects are written without a String of
// their own.
#pragma once

#include <string_view>

#include <orvo/core/String.h>

#include "property/GrowingText.h"

namespace orvo {
class Property;
}

namespace orvo::property {

inline std::wstring_view viewOf(const String& text) {
  return std::wstring_view(text.getBuffer(), static_cast<std::size_t>(text.getLength()));
}

inline String stringOf(std::wstring_view part) {
  return part.empty() ? String() : String(part.data(), static_cast<int>(part.size()));
}

// How deep objects may nest in a text that setProperty reads: each level
// takes a few hundred bytes of stack, and the library may run on a 64 KiB one.
constexpr unsigned kMaxPropertyDepth = 32;

// setProperty on `object`; with a `prefix`, as if it stood before `text`.
void setItems(Property& object, std::wstring_view text, const wchar_t* prefix);

// Appends what getProperty returns.
void appendAttributes(const Property& object, GrowingText& out);
// Appends what PropertyWriter::getPropertyString returns; false if that is
// empty.
bool appendFramed(const Property& object, GrowingText& out);

}  // namespace orvo::property
