#include <orvo/core/StringHelper.h>

#include <cstdint>
#include <cstring>
#include <cwchar>

#include "text/CodePageCodec.h"
#include "text/StringBlock.h"
#include "text/Utf8Codec.h"

namespace orvo {
namespace {

bool isAscii(const char* text, std::size_t length) {
  unsigned char bits = 0;
  for (std::size_t i = 0; i < length; ++i) bits |= static_cast<unsigned char>(text[i]);
  return bits < 0x80;
}

bool isAscii(const wchar_t* text, std::size_t length) {
  std::uint32_t bits = 0;
  for (std::size_t i = 0; i < length; ++i) bits |= static_cast<std::uint32_t>(text[i]);
  return bits < 0x80;
}

// A string holding a copy of `length` units; the empty string for none.
template <class T, class Source>
TString<T> copyToString(const Source* units, std::size_t length) {
  StringBlock<T> block(static_cast<long long>(length));
  if (!block) return TString<T>();
  T* target = block.text();
  for (std::size_t i = 0; i < length; ++i) target[i] = static_cast<T>(units[i]);
  return block.finish();
}

}  // namespace

String StringHelper::utf8ToWide(const unsigned char* text) {
  if (!text) return String();
  const std::size_t bytes = std::strlen(reinterpret_cast<const char*>(text));
  const utf8::Measure measure = utf8::measureDecoded(text, bytes);
  StringBlock<wchar_t> block(static_cast<long long>(measure.units));
  if (!block) return String();
  utf8::decode(text, bytes, block.text(), measure);
  return block.finish(static_cast<int>(measure.units));
}

StringUtf8 StringHelper::wideToUtf8(const wchar_t* text) {
  if (!text) return StringUtf8();
  const std::size_t units = std::wcslen(text);
  const std::size_t bytes = utf8::encodedLength(text, units);
  StringBlock<unsigned char> block(static_cast<long long>(bytes));
  if (!block) return StringUtf8();
  utf8::encode(text, units, block.text(), bytes);
  return block.finish();
}

String StringHelper::ansiToWide(const char* text) {
  if (!text) return String();
  const int page = codepage::activePage();
  if (page == codepage::kUtf8) return utf8ToWide(reinterpret_cast<const unsigned char*>(text));
  const std::size_t bytes = std::strlen(text);
  if (bytes == 0) return String();
  if (isAscii(text, bytes) && codepage::isAsciiCompatible(page)) {
    return copyToString<wchar_t>(reinterpret_cast<const unsigned char*>(text), bytes);
  }
  TextScratch<wchar_t> wide;
  if (!codepage::toWide(page, text, bytes, wide)) return String();
  return copyToString<wchar_t>(wide.data(), wide.size());
}

StringAnsi StringHelper::wideToAnsi(const wchar_t* text) {
  if (!text) return StringAnsi();
  const int page = codepage::activePage();
  const std::size_t units = std::wcslen(text);
  if (units == 0) return StringAnsi();
  if (isAscii(text, units) && codepage::isAsciiCompatible(page)) {
    return copyToString<char>(text, units);
  }
  TextScratch<char> bytes;
  if (!codepage::fromWide(page, text, units, bytes)) return StringAnsi();
  return copyToString<char>(bytes.data(), bytes.size());
}

StringAnsi StringHelper::utf8ToAnsi(const unsigned char* text) {
  if (!text) return StringAnsi();
  return wideToAnsi(utf8ToWide(text));
}

StringUtf8 StringHelper::ansiToUtf8(const char* text) {
  if (!text) return StringUtf8();
  return wideToUtf8(ansiToWide(text));
}

}  // namespace orvo
