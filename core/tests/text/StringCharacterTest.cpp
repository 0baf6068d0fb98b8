// The one-character primitives of the three text forms.
#include <orvo/core/Character.h>
#include <orvo/core/CodePage.h>
#include <orvo/core/String.h>
#include <orvo/core/StringHelper.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "text/StringTestSupport.h"

namespace orvo {
namespace {

using test::u8;

// Restores the active code page after a test that changes it.
class CodePagePrimitives : public ::testing::Test {
 protected:
  ~CodePagePrimitives() override { setCodePage(saved); }
  int saved = getCodePage();
};

// --- UTF-8 ----------------------------------------------------------------

TEST(Utf8Primitives, CharToStringWritesTheLowSixteenBitsInOneToThreeBytes) {
  struct Case {
    int code;
    const char* bytes;
  } cases[] = {{0x41, "A"},           {0x7F, "\x7F"},           {0x80, "\xC2\x80"},
               {0x7FF, "\xDF\xBF"},   {0x800, "\xE0\xA0\x80"},  {0xFFFF, "\xEF\xBF\xBF"},
               {0x120AC, "\xE2\x82\xAC"}, {0xD800, "\xEF\xBF\xBD"}, {0, ""}};
  for (const Case& c : cases) {
    unsigned char buffer[4] = {1, 1, 1, 1};
    const int length = static_cast<int>(std::char_traits<char>::length(c.bytes));
    EXPECT_EQ(charToString(buffer, c.code), length) << c.code;
    EXPECT_EQ(reinterpret_cast<const char*>(buffer), std::string(c.bytes)) << c.code;
    if (c.code != 0) {
      EXPECT_EQ(charLength<unsigned char>(c.code), length) << c.code;
    }
  }
}

TEST(Utf8Primitives, TheWalkDecodesAsTheConversionDoes) {
  // Each case: the text, then per character its bytes and its code. Broken
  // sequences give U+FFFD per maximal broken part, as utf8ToWide does.
  struct Step {
    int bytes;
    int code;
  };
  struct Case {
    const char* text;
    std::vector<Step> steps;
  } cases[] = {
      {"A\xD0\xB0\xE2\x82\xAC", {{1, 'A'}, {2, 0x430}, {3, 0x20AC}}},
      {"\xF0\x9F\x98\x80x", {{4, 0x1F600}, {1, 'x'}}},
      {"\xE4" "A", {{1, 0xFFFD}, {1, 'A'}}},
      {"\xC0\x80", {{1, 0xFFFD}, {1, 0xFFFD}}},
      {"\xED\xA0\x80", {{1, 0xFFFD}, {1, 0xFFFD}, {1, 0xFFFD}}},
      {"\xE2\x82" "x", {{2, 0xFFFD}, {1, 'x'}}},
      {"\x80\xC3\xA9", {{1, 0xFFFD}, {2, 0xE9}}},
      {"a\xE2", {{1, 'a'}, {1, 0xFFFD}}},
  };
  for (const Case& c : cases) {
    const unsigned char* p = u8(c.text);
    const String wide = StringHelper::utf8ToWide(p);
    ASSERT_EQ(stringLength(p), static_cast<int>(c.steps.size())) << c.text;
    ASSERT_EQ(wide.getLength(), static_cast<int>(c.steps.size())) << c.text;
    for (std::size_t i = 0; i < c.steps.size(); ++i) {
      int code = -1;
      EXPECT_EQ(stringCharLength(p), c.steps[i].bytes) << c.text << " " << i;
      const unsigned char* next = stringChar(p, code);
      EXPECT_EQ(next - p, c.steps[i].bytes) << c.text << " " << i;
      EXPECT_EQ(code, c.steps[i].code) << c.text << " " << i;
      EXPECT_EQ(static_cast<int>(wide[static_cast<int>(i)]), code) << c.text << " " << i;
      p = next;
    }
    int code = -1;
    EXPECT_EQ(stringChar(p, code), p);  // The terminator: no step.
    EXPECT_EQ(code, 0);
    // Back from the end, character by character, to the start.
    const unsigned char* position = p;
    for (std::size_t i = c.steps.size(); i-- > 0;) {
      const unsigned char* before = position;
      stringGetLastChar(u8(c.text), position);
      EXPECT_EQ(before - position, c.steps[i].bytes) << c.text << " " << i;
    }
    EXPECT_EQ(position, u8(c.text)) << c.text;
  }
}

TEST(Utf8Primitives, GetLastCharAnswersTheBytesLittleEndian) {
  const unsigned char* text = u8("a\xC3\xA9\xE2\x82\xAC");
  const unsigned char* position = text + 6;
  EXPECT_EQ(stringGetLastChar(text, position), 0xAC82E2);
  EXPECT_EQ(stringGetLastChar(text, position), 0xA9C3);
  EXPECT_EQ(stringGetLastChar(text, position), 'a');
  EXPECT_EQ(position, text);
}

TEST(WidePrimitives, OneUnitIsOneCharacter) {
  wchar_t buffer[2] = {1, 1};
  EXPECT_EQ(charToString(buffer, 0x1F600), 1);
  EXPECT_EQ(buffer[0], static_cast<wchar_t>(0x1F600));
  EXPECT_EQ(buffer[1], 0);
  EXPECT_EQ(charToString(buffer, 0), 0);
  EXPECT_EQ(charLength<wchar_t>(0x20AC), 1);
  const wchar_t* text = L"ab";
  int code;
  EXPECT_EQ(stringChar(text + 2, code), text + 2);
  EXPECT_EQ(code, 0);
  const wchar_t* position = text + 2;
  EXPECT_EQ(stringGetLastChar(text, position), L'b');
  EXPECT_EQ(position, text + 1);
  EXPECT_EQ(stringLength(L"\U0001F600x"), 2);
}

// --- Code-page text -------------------------------------------------------

TEST_F(CodePagePrimitives, TheCodePageStartsAtZeroAndTakesAnyNumber) {
  EXPECT_EQ(saved, 0);  // Every test restores it.
  EXPECT_TRUE(setCodePage(12345));
  EXPECT_EQ(getCodePage(), 12345);
}

TEST_F(CodePagePrimitives, AHighBitOpensATwoByteCharacterThatNeverTakesTheTerminator) {
  EXPECT_EQ(stringCharLength("\xD6\xD0"), 2);
  EXPECT_EQ(stringLength("\xD6\xD0" "a"), 2);
  EXPECT_EQ(stringLength("\x41\xB0"), 1);  // A lead before the terminator isn't counted.
  const char* text = "a\xD6";
  int code;
  EXPECT_EQ(stringChar(text + 1, code), text + 2);
  EXPECT_EQ(stringChar(text + 2, code), text + 2);
  EXPECT_EQ(code, 0);
}

TEST_F(CodePagePrimitives, DecodeAndEncodeThroughTheActiveCodePage) {
  struct Case {
    int codePage;
    const char* bytes;
    int code;
    int encodedLength;  // charToString of the code; -1 refused.
  } cases[] = {{936, "\xD6\xD0", 0x4E2D, 2}, {0, "\x80", 0x20AC, 1},  {1252, "A", 'A', 1},
               {1252, "\x81", 0xFFFD, 1},   {12345, "A", 0xFFFD, -1}, {1252, "\xE9", 0xE9, 1}};
  for (const Case& c : cases) {
    setCodePage(c.codePage);
    int code;
    const char* next = stringChar(c.bytes, code);
    EXPECT_EQ(next, c.bytes + std::char_traits<char>::length(c.bytes)) << c.codePage;
    EXPECT_EQ(code, c.code) << c.codePage << " " << c.bytes;
    char buffer[3] = {1, 1, 1};
    EXPECT_EQ(charToString(buffer, c.code), c.encodedLength) << c.codePage;
    EXPECT_EQ(charLength<char>(c.code), c.encodedLength) << c.codePage;
    EXPECT_STREQ(buffer, c.encodedLength < 0 ? "" : c.code == 0xFFFD ? "?" : c.bytes) << c.codePage;
  }
  setCodePage(1252);
  char buffer[3];
  EXPECT_EQ(charToString(buffer, 0x4E2D), 1);  // Missing from the page: '?'.
  EXPECT_STREQ(buffer, "?");
  EXPECT_EQ(charToString(buffer, 0), 0);
  EXPECT_EQ(charLength<char>(0), 0);
}

TEST_F(CodePagePrimitives, StringsWalkThroughTheCodePage) {
  setCodePage(936);
  const char* text = "a\xD6\xD0" "b";
  const char* position = text + 4;
  EXPECT_EQ(stringGetLastChar(text, position), 'b');
  EXPECT_EQ(stringGetLastChar(text, position), 0x4E2D);
  EXPECT_EQ(position, text + 1);
  StringAnsi s("\xD6\xD0\xCE\xC4" "ab");
  EXPECT_EQ(s.getLength(), 4);
  EXPECT_EQ(s[1], 0x6587);
  EXPECT_EQ(s.find('a'), 4);
  EXPECT_EQ(s.find(0x6587), 2);
  EXPECT_STREQ(s.getSubString(1, 2).getBuffer(), "\xCE\xC4" "a");
  StringAnsi padded("  \xD6\xD0  ");
  EXPECT_STREQ(padded.trim().getBuffer(), "\xD6\xD0");
  EXPECT_STREQ(StringAnsi(0x4E2D).getBuffer(), "\xD6\xD0");
  setCodePage(12345);
  EXPECT_EQ(StringAnsi('A').getLength(), 0);
}

}  // namespace
}  // namespace orvo
