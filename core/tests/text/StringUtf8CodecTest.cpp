// The library's own UTF-8 codec: strict decoding, exact measuring, the vector
// paths agreeing with the portable ones; and the one-character primitives of
// UTF-8 and wide text, whose walk agrees with the codec.
#include <orvo/core/Character.h>
#include <orvo/core/StringHelper.h>

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <tuple>
#include <vector>

#include "platform/CpuFeatures.h"
#include "text/StringTestSupport.h"
#include "text/Utf8Codec.h"

namespace orvo {
namespace {

const unsigned char* bytesOf(const std::string& text) { return reinterpret_cast<const unsigned char*>(text.data()); }

std::wstring decodeAll(const std::string& bytes) {
  const utf8::Measure measure = utf8::measureDecoded(bytesOf(bytes), bytes.size());
  std::wstring out(measure.units, L'\0');
  utf8::decode(bytesOf(bytes), bytes.size(), out.data(), measure);
  return out;
}

std::string encodeAll(const std::wstring& text) {
  std::string out(utf8::encodedLength(text.data(), text.size()), '\0');
  utf8::encode(text.data(), text.size(), reinterpret_cast<unsigned char*>(out.data()), out.size());
  return out;
}

// Runs each test with each level of vector loops the processor has, and
// without them.
class Utf8Codec : public ::testing::TestWithParam<platform::Simd> {
 protected:
  Utf8Codec() { platform::limitSimd(GetParam()); }
  ~Utf8Codec() override { platform::limitSimd(platform::Simd::Avx512); }
};

constexpr platform::Simd kPaths[] = {platform::Simd::Portable, platform::Simd::Avx2, platform::Simd::Avx512};

std::string pathName(const ::testing::TestParamInfo<platform::Simd>& info) {
  const char* names[] = {"Portable", "Avx2", "Avx512"};
  return names[static_cast<int>(info.param)];
}

INSTANTIATE_TEST_SUITE_P(Paths, Utf8Codec, ::testing::ValuesIn(kPaths), pathName);

TEST_P(Utf8Codec, EveryScalarValueRoundTripsInItsStandardForm) {
  std::wstring all;
  for (wchar_t c = 1; c <= 0x10FFFF; ++c) {
    if (c < 0xD800 || c > 0xDFFF) all.push_back(c);
  }
  EXPECT_EQ(decodeAll(encodeAll(all)), all);
  EXPECT_EQ(encodeAll(L"\u007F\u0080\u07FF\u0800\uFFFF\U00010000\U0010FFFF"),
            "\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF\xF0\x90\x80\x80\xF4\x8F\xBF\xBF");
  const wchar_t invalid[] = {0xD800, 0xDFFF, static_cast<wchar_t>(0x110000), static_cast<wchar_t>(-1)};
  EXPECT_EQ(encodeAll(std::wstring(invalid, 4)), "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD");
  // The example of the Unicode standard, section 3.9.
  EXPECT_EQ(decodeAll("\x61\xF1\x80\x80\xE1\x80\xC2\x62\x80\x63\x80\xBF\x64"), L"a\uFFFD\uFFFD\uFFFDb\uFFFDc\uFFFD\uFFFDd");
  EXPECT_EQ(decodeAll("\xE0\x80\x80\xF5\x80\xFF\xE2\x82"), std::wstring(7, L'\uFFFD'));
}

TEST_P(Utf8Codec, WholeAndBrokenSequencesAtEveryPositionOfALongText) {
  // Around the 16- and 32-byte blocks of the fast paths, and at the very end.
  const char* whole[] = {"\xC3\xA9", "\xE4\xB8\xAD", "\xF0\x9F\x98\x80"};
  const char* broken[] = {"\xC3",     "\xE2\x82",     "\xF0\x9F\x98",     "\x80",        "\xC0\xAF",
                          "\xED\xA0\x80", "\xF4\x90\x80\x80", "\xF8", "\xE0\x9F\xBF"};
  for (std::size_t at = 0; at < 70; ++at) {
    for (const char* piece : whole) {
      const std::string bytes = std::string(at, 'a') + piece + std::string(at % 37, 'b');
      const std::wstring expected = std::wstring(at, L'a') + decodeAll(piece) + std::wstring(at % 37, L'b');
      ASSERT_EQ(decodeAll(bytes), expected) << at;
      ASSERT_EQ(encodeAll(expected), bytes) << at;
    }
    for (const char* piece : broken) {
      for (const std::string& text : {std::string(at, 'a') + piece, std::string(at, 'a') + piece + std::string(70 - at, 'b')}) {
        const utf8::Measure measure = utf8::measureDecoded(bytesOf(text), text.size());
        ASSERT_FALSE(measure.wellFormed) << at << " " << text.size();
        const std::wstring decoded = decodeAll(text);
        ASSERT_EQ(decoded.size(), measure.units);
        ASSERT_EQ(decoded.substr(0, at + 1), std::wstring(at, L'a') + L'\uFFFD') << at;
      }
    }
  }
}

// A fixed pseudo-random byte soup, heavy in lead and continuation bytes, with
// a share of well-formed sequences.
std::string byteSoup(unsigned seed, std::size_t length) {
  std::string bytes;
  auto next = [&seed] { return static_cast<char>(((seed = seed * 1103515245 + 12345) >> 16) & 0xFF); };
  while (bytes.size() < length) {
    const auto pick = static_cast<unsigned char>(next());
    const char other = next();
    bytes += pick < 0x60 ? std::string(1, static_cast<char>(pick % 0x5F + 0x20))
             : pick < 0xA0 ? std::string("\xE4\xB8\xAD") : std::string(1, other ? other : '\x80');
  }
  return bytes;
}

TEST_P(Utf8Codec, MeasuresWhatItWritesAndTheWalkAgreesForArbitraryBytes) {
  for (unsigned seed = 1; seed < 200; ++seed) {
    const std::string bytes = byteSoup(seed, 50 + seed * 7);
    const utf8::Measure measure = utf8::measureDecoded(bytesOf(bytes), bytes.size());
    std::vector<wchar_t> out(measure.units + 1, L'#');
    utf8::decode(bytesOf(bytes), bytes.size(), out.data(), measure);
    ASSERT_EQ(out[measure.units], L'#') << seed;  // Nothing written past the end.
    // The one-character walk gives the same characters, one by one.
    const unsigned char* p = bytesOf(bytes);
    ASSERT_EQ(stringLength(p), static_cast<int>(measure.units)) << seed;
    for (std::size_t i = 0; i < measure.units; ++i) {
      int code;
      p = stringChar(p, code);
      ASSERT_EQ(code, static_cast<int>(out[i])) << seed << " " << i;
      ASSERT_TRUE(code != 0 && code <= 0x10FFFF && (code < 0xD800 || code > 0xDFFF));
    }
  }
}

// Measures and decodes the same bytes with each path.
void expectPathsAgree(const std::string& bytes, const std::string& what) {
  utf8::Measure measures[std::size(kPaths)];
  std::wstring decoded[std::size(kPaths)];
  for (std::size_t path = 0; path < std::size(kPaths); ++path) {
    platform::limitSimd(kPaths[path]);
    measures[path] = utf8::measureDecoded(bytesOf(bytes), bytes.size());
    decoded[path] = decodeAll(bytes);
  }
  platform::limitSimd(platform::Simd::Avx512);
  for (std::size_t path = 1; path < std::size(kPaths); ++path) {
    ASSERT_EQ(measures[0].units, measures[path].units) << what << " " << path;
    ASSERT_EQ(measures[0].wellFormed, measures[path].wellFormed) << what << " " << path;
    ASSERT_EQ(decoded[0], decoded[path]) << what << " " << path;
  }
}

// Western text: ASCII and two-byte characters only, the text the vector
// check takes 128 bytes at a time without its table lookups.
std::string westernText(std::size_t length) {
  const char* words[] = {"caf\xC3\xA9 ", "na\xC3\xAFve ", "the ", "\xC2\xA9 ", "\xDF\xBF", "fox ", ("stra\xC3\x9F" "e ")};
  std::string text;
  for (std::size_t i = 0; text.size() < length; ++i) text += words[(i * 5 + i / 3) % std::size(words)];
  return text;
}

TEST(Utf8CodecPaths, VectorAndPortableMeasuresAgree) {
  const std::string base = westernText(520);
  for (std::size_t at = 0; at < base.size(); ++at) {
    const std::string where = " at " + std::to_string(at);
    for (char fault : {'\x80', '\xBF', '\xC0', '\xC1', '\xC3', '\xDF', '\xE2', '\xF0', 'q'}) {
      std::string changed = base, inserted = base;
      changed[at] = fault;
      expectPathsAgree(changed, std::to_string(fault & 0xFF) + " set" + where);
      expectPathsAgree(inserted.insert(at, 1, fault), std::to_string(fault & 0xFF) + " inserted" + where);
    }
    // Longer characters inside Western text, whole and cut short.
    for (const char* piece : {"\xE2\x82\xAC", "\xF0\x9F\x98\x80", "\xE2\x82", "\xED\xA0\x80"}) {
      std::string inserted = base;
      expectPathsAgree(inserted.insert(at, piece), piece + where);
    }
    expectPathsAgree(base.substr(0, at), "cut" + where);
    // A lead near the end of a 128-byte group, then whole ASCII groups: the
    // open sequence must still count.
    for (const char* lead : {"\xC3", "\xE2\x82", "\xC3\xA9"}) {
      expectPathsAgree(base.substr(0, at) + lead + std::string(300, 'a'), lead + where);
    }
  }
}

// A character, whole or cut short, with its lead anywhere around the ends of
// the first two 64-byte blocks, and a second one at distances around a
// block behind it: the vector checks hand their state on from block to
// block, and from the way they check Western text to the way they check the
// rest.
TEST(Utf8CodecPaths, CharactersAcrossBlockEndsAgree) {
  const std::string pieces[] = {"\xC3\xA9", "\xE2\x82\xAC", "\xF0\x9F\x98\x80", "\xC3", "\xE2\x82"};
  for (const std::string& first : pieces) {
    for (std::size_t at = 56; at < 136; ++at) {
      for (const std::string& second : pieces) {
        for (std::size_t gap : {0, 1, 2, 5, 30, 62, 63, 64, 65, 70}) {
          const std::string text = std::string(at, 'a') + first + std::string(gap, 'a') + second + std::string(80, 'a');
          expectPathsAgree(text, first + " at " + std::to_string(at) + ", " + second + " after " + std::to_string(gap));
        }
      }
    }
  }
}

// --- One character at a time -------------------------------------------

TEST(Utf8Primitives, CharToStringWritesTheLowSixteenBitsInOneToThreeBytes) {
  const std::pair<int, const char*> cases[] = {{0x41, "A"},          {0x7F, "\x7F"},          {0x80, "\xC2\x80"},
                                               {0x7FF, "\xDF\xBF"},  {0x800, "\xE0\xA0\x80"}, {0xFFFF, "\xEF\xBF\xBF"},
                                               {0x120AC, "\xE2\x82\xAC"}, {0xD800, "\xEF\xBF\xBD"}, {0, ""}};
  for (const auto& [code, bytes] : cases) {
    unsigned char buffer[4] = {1, 1, 1, 1};
    const int length = static_cast<int>(std::strlen(bytes));
    EXPECT_EQ(charToString(buffer, code), length) << code;
    EXPECT_STREQ(reinterpret_cast<const char*>(buffer), bytes) << code;
    EXPECT_EQ(code == 0 ? 0 : charLength<unsigned char>(code), length) << code;
  }
}

TEST(Utf8Primitives, TheWalkDecodesAsTheConversionDoesForwardAndBack) {
  // The text, its characters, and the bytes of each character. Broken
  // sequences give U+FFFD per maximal broken part, as utf8ToWide does.
  const std::tuple<const char*, const wchar_t*, const char*> cases[] = {
      {"A\xD0\xB0\xE2\x82\xAC", L"A\u0430\u20AC", "123"}, {"\xF0\x9F\x98\x80x", L"\U0001F600x", "41"},
      {"\xE4" "A", L"\uFFFDA", "11"}, {"\xC0\x80", L"\uFFFD\uFFFD", "11"},
      {"\xED\xA0\x80", L"\uFFFD\uFFFD\uFFFD", "111"}, {"\xE2\x82" "x", L"\uFFFDx", "21"},
      {"\x80\xC3\xA9", L"\uFFFD\u00E9", "12"}, {"a\xE2", L"a\uFFFD", "11"},
      {"\xC3\x80\x80\x80\x80", L"\u00C0\uFFFD\uFFFD\uFFFD", "2111"}};
  for (const auto& [bytes, characters, lengths] : cases) {
    const unsigned char* const text = test::u8(bytes);
    EXPECT_EQ(StringHelper::utf8ToWide(text), characters) << bytes;
    const int count = static_cast<int>(std::wcslen(characters));
    ASSERT_EQ(stringLength(text), count) << bytes;
    const unsigned char* p = text;
    for (int i = 0; i < count; ++i) {
      int code = -1;
      const int length = lengths[i] - '0';
      EXPECT_EQ(stringCharLength(p), length) << bytes << " " << i;
      EXPECT_EQ(stringChar(p, code), p + length) << bytes << " " << i;
      EXPECT_EQ(code, static_cast<int>(characters[i])) << bytes << " " << i;
      p += length;
    }
    int code = -1;
    EXPECT_EQ(stringChar(p, code), p);  // The terminator: no step.
    EXPECT_EQ(code + stringCharLength(p), 1);
    for (int i = count; i-- > 0;) {
      const unsigned char* const before = p;
      stringGetLastChar(text, p);
      EXPECT_EQ(before - p, lengths[i] - '0') << bytes << " " << i;
    }
  }
  // The character's bytes as a little-endian number.
  const unsigned char* text = test::u8("a\xC3\xA9\xE2\x82\xAC");
  const unsigned char* position = text + 6;
  EXPECT_EQ(stringGetLastChar(text, position), 0xAC82E2);
  EXPECT_EQ(stringGetLastChar(text, position), 0xA9C3);
  EXPECT_EQ(stringGetLastChar(text, position), 'a');
}

TEST(WidePrimitives, OneUnitIsOneCharacter) {
  wchar_t buffer[2] = {1, 1};
  EXPECT_EQ(charToString(buffer, 0x1F600), 1);
  EXPECT_EQ(std::wstring(buffer), L"\U0001F600");
  EXPECT_EQ(charToString(buffer, 0) + buffer[0] + stringLength(L"\U0001F600x"), 2);
  EXPECT_EQ(charLength<wchar_t>(0x20AC) + stringCharLength(L"a"), 2);
  const wchar_t* text = L"ab";
  const wchar_t* position = &text[2];
  EXPECT_EQ(stringGetLastChar(text, position), L'b');
}

}  // namespace
}  // namespace orvo
