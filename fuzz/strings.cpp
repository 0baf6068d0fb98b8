// Drives the character primitives, the string conversions and the string
// operations with arbitrary bytes. The first byte picks the code page; the
// rest is the text, read as code-page text, as UTF-8 and as wide units. Every
// walk must end on the terminator, and the conversions must agree with each
// other and with their portable paths.
#include <orvo/core/Character.h>
#include <orvo/core/CodePage.h>
#include <orvo/core/String.h>
#include <orvo/core/StringConvert.h>
#include <orvo/core/StringHelper.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <string>
#include <vector>

#include "text/Utf8Codec.h"
#include "platform/CpuFeatures.h"

namespace {

using namespace orvo;

void require(bool condition) {
  if (!condition) std::abort();
}

// Every code page of the charset table, the default, UTF-8 and one no
// converter knows; the seeds in corpus/strings/codepage-* end each page's text
// right after a sequence the page rejects.
const int kCodePages[] = {0,    852,  866,  874,  932,  936,  949,   950,   1250,  1251,  1252,
                          1253, 1254, 1255, 1256, 1257, 1258, 20866, 28592, 50225, 65001, 12345};

// Walks a text forward and back with the primitives of its form.
template <class T>
void walk(const T* text) {
  const std::size_t units = std::char_traits<T>::length(text);
  const T* const end = text + units;
  const T* p = text;
  int characters = 0;
  for (std::size_t steps = 0; *p; ++steps) {
    require(steps <= units);  // Every step moves, so no hang.
    int code;
    const T* next = stringChar(p, code);
    require(next > p && next <= end);
    p = next;
    ++characters;
  }
  require(p == end);
  int code = -1;
  require(stringChar(p, code) == p && code == 0);
  require(stringLength(text) <= characters);

  const T* position = end;
  for (std::size_t steps = 0; position > text; ++steps) {
    require(steps < units);
    const T* before = position;
    stringGetLastChar(text, position);
    require(position < before && position >= text);
  }
}

// The UTF-8 codec's vector and portable paths must give the same bytes.
void compareCodecPaths(const unsigned char* bytes, std::size_t length, platform::Simd vectors) {
  platform::limitSimd(vectors);
  const utf8::Measure vector = utf8::measureDecoded(bytes, length);
  std::vector<wchar_t> vectorOut(vector.units + 1);
  utf8::decode(bytes, length, vectorOut.data(), vector);
  platform::limitSimd(platform::Simd::Portable);
  const utf8::Measure portable = utf8::measureDecoded(bytes, length);
  std::vector<wchar_t> portableOut(portable.units + 1);
  utf8::decode(bytes, length, portableOut.data(), portable);
  platform::limitSimd(vectors);
  require(vector.units == portable.units && vector.wellFormed == portable.wellFormed);
  require(std::wmemcmp(vectorOut.data(), portableOut.data(), vector.units) == 0);

  const std::size_t encodedLength = utf8::encodedLength(vectorOut.data(), vector.units);
  std::vector<unsigned char> encodedVector(encodedLength + 1), encodedPortable(encodedLength + 1);
  utf8::encode(vectorOut.data(), vector.units, encodedVector.data(), encodedLength);
  platform::limitSimd(platform::Simd::Portable);
  require(utf8::encodedLength(vectorOut.data(), vector.units) == encodedLength);
  utf8::encode(vectorOut.data(), vector.units, encodedPortable.data(), encodedLength);
  platform::limitSimd(platform::Simd::Avx512);  // The processor's best again.
  require(encodedVector == encodedPortable);
  // Well-formed UTF-8 comes back byte for byte.
  if (vector.wellFormed) require(encodedLength == length && std::memcmp(encodedVector.data(), bytes, length) == 0);
}

void convert(const char* ansi, const unsigned char* utf8, const wchar_t* wide) {
  const String fromUtf8 = StringHelper::utf8ToWide(utf8);
  // The character walk over UTF-8 gives the characters the conversion gives.
  const StringUtf8 utf8String(utf8);
  require(utf8String.getLength() == fromUtf8.getLength());
  const unsigned char* p = utf8;
  for (int i = 0; i < fromUtf8.getLength(); ++i) {
    int code;
    p = stringChar(p, code);
    require(code == static_cast<int>(fromUtf8.getBuffer()[i]));
  }
  require(*p == 0);
  const StringUtf8 backToUtf8 = StringHelper::wideToUtf8(fromUtf8);
  // A second round changes nothing: broken parts are replaced already.
  require(StringHelper::utf8ToWide(backToUtf8) == fromUtf8);

  const StringUtf8 wideAsUtf8 = StringHelper::wideToUtf8(wide);
  require(StringHelper::wideToUtf8(StringHelper::utf8ToWide(wideAsUtf8)) == wideAsUtf8);

  const String fromAnsi = StringHelper::ansiToWide(ansi);
  const StringAnsi backToAnsi = StringHelper::wideToAnsi(fromAnsi);
  const StringAnsi wideAsAnsi = StringHelper::wideToAnsi(wide);
  require(StringHelper::ansiToUtf8(ansi) == StringHelper::wideToUtf8(fromAnsi));
  require(StringHelper::utf8ToAnsi(utf8) == StringHelper::wideToAnsi(fromUtf8));
  (void)backToAnsi;
  (void)wideAsAnsi;
  require(String(StringConvert(utf8)) == fromUtf8);
  require(StringAnsi(StringConvert(ansi)).getBufferLength() == static_cast<int>(std::strlen(ansi)) + 1);
}

// String operations at positions inside the text.
template <class T>
void operate(const T* text, const T* other) {
  TString<T> s(text);
  const int length = s.getLength();
  const int units = s.getBufferLength() / static_cast<int>(sizeof(T)) - 1;
  for (int i = 0; i < length && i < 64; ++i) (void)s[i];
  // Positions beyond the text answer from its end, never beyond the block.
  require(s[length + 3] == 0 && s[-1] == 0);
  require(s.getSubString(length > 0 ? length - 1 : 0, length + 8).getLength() <= 1);
  require(TString<T>(text, length + 8) == s);
  if (length > 0) {
    const int start = length / 3;
    const TString<T> middle = s.getSubString(start, (length - start + 1) / 2);
    require(middle.getLength() <= length);
    require(s.find(middle.getBuffer()) >= 0 || middle.getLength() == 0);
  }
  require(s.find(other) < units + 1);
  require(s.find(static_cast<int>(other[0])) <= units);
  const int order = s.compare(other);
  require(order >= -1 && order <= 1);
  require(TString<T>(other).compare(s) == -order);
  require(s.compare(TString<T>(other)) == order);
  require(s.compareNoCase(other) >= -1);
  TString<T> copy = s;
  copy.trim();
  require(copy.getBufferLength() <= s.getBufferLength());
  copy = s;
  copy.upperCase();
  require(copy.getBufferLength() == s.getBufferLength());
  copy = s;
  if (other[0] != 0) {
    // A short replacement: one as long as the text would grow the string
    // with the square of its length.
    const T replacement[3] = {text[0], text[0] ? text[1] : T(0), 0};
    copy.replace(other, replacement);
    copy.remove(other);
  }
  copy = s;
  copy.insert(units / 2, other);
  copy.erase(units / 3, units / 4 + 1);
  (void)(s + other);
  (void)(other + s);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 1) return 0;
  setCodePage(kCodePages[data[0] % std::size(kCodePages)]);
  // The text ends at the first zero byte, as any terminated text does.
  const std::string bytes(reinterpret_cast<const char*>(data + 1), size - 1);
  const char* ansi = bytes.c_str();
  const auto* utf8 = reinterpret_cast<const unsigned char*>(ansi);
  std::vector<wchar_t> wide((size - 1) / sizeof(wchar_t) + 1, 0);
  std::memcpy(wide.data(), data + 1, (size - 1) / sizeof(wchar_t) * sizeof(wchar_t));

  walk(ansi);
  walk(utf8);
  walk(wide.data());
  for (platform::Simd vectors : {platform::Simd::Avx2, platform::Simd::Avx512}) {
    compareCodecPaths(utf8, std::strlen(ansi), vectors);
  }
  convert(ansi, utf8, wide.data());

  // A second text for searching and comparing: the last few bytes.
  const std::size_t tail = std::strlen(ansi) > 3 ? std::strlen(ansi) - 3 : 0;
  operate(ansi, ansi + tail);
  operate(utf8, utf8 + tail);
  const std::size_t wideLength = std::wcslen(wide.data());
  operate(wide.data(), wide.data() + (wideLength > 2 ? wideLength - 2 : 0));
  return 0;
}
