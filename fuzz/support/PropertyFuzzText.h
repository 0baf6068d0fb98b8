// PropertyFuzzText.h: the fuzz input as a property text. Bytes below 0xC0
// are characters of those codes (Latin-1 letters end a name); bytes from
// 0xC0 on stand for characters of 255 and above, which names may hold,
// spread over the wide range.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include <orvo/core/String.h>

inline orvo::String propertyFuzzText(const std::uint8_t* data, std::size_t size) {
  std::wstring characters;
  for (std::size_t i = 0; i < size; ++i) {
    characters += static_cast<wchar_t>(data[i] < 0xC0 ? data[i] : 0xFF + (data[i] - 0xC0) * 0x3F1);
  }
  return orvo::String(characters.c_str());
}
