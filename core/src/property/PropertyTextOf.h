// PropertyTextOf.h: views of Strings for the property reader, and Strings of
// views and of built texts.
#pragma once

#include <string>
#include <string_view>

#include <orvo/core/String.h>

namespace orvo::property {

inline std::wstring_view viewOf(const String& text) {
  return std::wstring_view(text.getBuffer(), static_cast<std::size_t>(text.getLength()));
}

inline String stringOf(std::wstring_view part) {
  return part.empty() ? String() : String(part.data(), static_cast<int>(part.size()));
}

inline void append(std::wstring& out, const String& text) { out.append(viewOf(text)); }

}  // namespace orvo::property
