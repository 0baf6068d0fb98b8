// StringTestSupport.h: readable failure messages and helpers for the string
// tests.
#pragma once

#include <orvo/core/String.h>

#include <gtest/gtest.h>

#include <initializer_list>
#include <ostream>
#include <string>
#include <utility>

namespace orvo {

// Prints a string's code units, so that a failed expectation shows the text.
template <class T>
void PrintTo(const TString<T>& string, std::ostream* out) {
  *out << '"';
  for (const T* p = string.getBuffer(); *p; ++p) {
    const auto unit = static_cast<unsigned long>(static_cast<std::make_unsigned_t<T>>(*p));
    if (unit >= 0x20 && unit < 0x7F) {
      *out << static_cast<char>(unit);
    } else {
      *out << "\\x{" << std::hex << unit << std::dec << '}';
    }
  }
  *out << '"';
}

namespace test {

inline const unsigned char* u8(const char* text) {
  return reinterpret_cast<const unsigned char*>(text);
}
inline std::string bytesOf(const StringUtf8& s) { return reinterpret_cast<const char*>(s.getBuffer()); }

// Checks many numeric results at once, each row {result, expected}; a
// failure names the row and the line of the list. Called as EXPECT_EACH.
inline void expectEach(int line, std::initializer_list<std::pair<long long, long long>> rows) {
  int row = 0;
  for (const auto& [result, expected] : rows) {
    EXPECT_EQ(result, expected) << "row " << row << " of the list at line " << line;
    ++row;
  }
}

}  // namespace test
}  // namespace orvo

#define EXPECT_EACH(...) ::orvo::test::expectEach(__LINE__, __VA_ARGS__)
