// The one-character primitives of the three text forms.
#include <orvo/core/Character.h>
#include <orvo/core/CodePage.h>

#include <gtest/gtest.h>

#include <cstring>

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

TEST(Utf8Primitives, CharToStringWritesOneToThreeBytes) {
  struct Case {
    int code;
    const char* bytes;
  } cases[] = {{0x41, "A"},
               {0x7F, "\x7F"},
               {0x80, "\xC2\x80"},
               {0x7FF, "\xDF\xBF"},
               {0x800, "\xE0\xA0\x80"},
               {0x20AC, "\xE2\x82\xAC"},
               {0xFFFF, "\xEF\xBF\xBF"}};
  for (const Case& c : cases) {
    unsigned char buffer[4] = {1, 1, 1, 1};
    const int length = charToString(buffer, c.code);
    EXPECT_EQ(length, static_cast<int>(std::strlen(c.bytes))) << std::hex << c.code;
    EXPECT_STREQ(reinterpret_cast<char*>(buffer), c.bytes) << std::hex << c.code;
    EXPECT_EQ(charLength<unsigned char>(c.code), length);
  }
}

TEST(Utf8Primitives, CharToStringOfZeroWritesOnlyTheTerminator) {
  unsigned char buffer[4] = {1, 1, 1, 1};
  EXPECT_EQ(charToString(buffer, 0), 0);
  EXPECT_EQ(buffer[0], 0);
  EXPECT_EQ(buffer[1], 1);
}

TEST(Utf8Primitives, CodesAboveSixteenBitsKeepTheirLowSixteen) {
  unsigned char buffer[4];
  EXPECT_EQ(charToString(buffer, 0x1F600), 3);  // U+F600
  EXPECT_STREQ(reinterpret_cast<char*>(buffer), "\xEF\x98\x80");
}

TEST(Utf8Primitives, StringCharDecodesGoodSequences) {
  int code = -1;
  const unsigned char* text = u8("\xD0\xB0");
  EXPECT_EQ(stringChar(text, code), text + 2);
  EXPECT_EQ(code, 0x430);
  text = u8("\xE2\x82\xAC!");
  EXPECT_EQ(stringChar(text, code), text + 3);
  EXPECT_EQ(code, 0x20AC);
  text = u8("z");
  EXPECT_EQ(stringChar(text, code), text + 1);
  EXPECT_EQ(code, 'z');
}

TEST(Utf8Primitives, AStrayLeadByteIsOneCharacterOfItsLowBits) {
  int code = -1;
  const unsigned char* text = u8("\xE4" "A");
  EXPECT_EQ(stringChar(text, code), text + 1);
  EXPECT_EQ(code, 0x64);
}

TEST(Utf8Primitives, BrokenSequencesCountOnlyTheirGoodBytes) {
  EXPECT_EQ(stringCharLength(u8("\xE2\x82\xAC")), 3);
  EXPECT_EQ(stringCharLength(u8("\xE2\x82" "A")), 2);
  EXPECT_EQ(stringCharLength(u8("\xE2" "AB")), 1);
  EXPECT_EQ(stringCharLength(u8("\xC3" "A")), 1);
  EXPECT_EQ(stringCharLength(u8("\x80")), 1);
  int code;
  const unsigned char* text = u8("\xE2\x82" "A");
  EXPECT_EQ(stringChar(text, code), text + 2);
  EXPECT_EQ(code, (0x02 << 6) | 0x02);  // Read as a two-byte character.
}

TEST(Utf8Primitives, FourByteSequencesComeApartIntoSingleBytes) {
  const unsigned char* text = u8("\xF0\x9F\x98\x80");
  EXPECT_EQ(stringCharLength(text), 1);
  EXPECT_EQ(stringLength(text), 4);
}

TEST(Utf8Primitives, ALeadByteBeforeTheTerminatorNeverStepsPastIt) {
  for (const char* bytes : {"\xE2", "\xC3", "\xE2\x82", "a\xE2"}) {
    const unsigned char* text = u8(bytes);
    const unsigned char* end = text + std::strlen(bytes);
    const unsigned char* p = text;
    int code;
    while (*p) p = stringChar(p, code);
    EXPECT_EQ(p, end) << bytes;
    EXPECT_EQ(stringChar(p, code), end);  // At the terminator: stays.
    EXPECT_EQ(code, 0);
  }
}

TEST(Utf8Primitives, StringLengthCountsCharacters) {
  EXPECT_EQ(stringLength(u8("")), 0);
  EXPECT_EQ(stringLength(u8("abc")), 3);
  EXPECT_EQ(stringLength(u8("\xC3\xA9t\xE2\x82\xAC")), 3);
  EXPECT_EQ(stringLength(u8("\xE2\x82" "A")), 2);
}

TEST(Utf8Primitives, GetLastCharAnswersTheBytesLittleEndian) {
  const unsigned char* text = u8("x\xC3\xA9");
  const unsigned char* position = text + 3;
  EXPECT_EQ(stringGetLastChar(text, position), 0xA9C3);
  EXPECT_EQ(position, text + 1);
  EXPECT_EQ(stringGetLastChar(text, position), 'x');
  EXPECT_EQ(position, text);

  text = u8("\xE2\x82\xAC");
  position = text + 3;
  EXPECT_EQ(stringGetLastChar(text, position), 0xAC82E2);
  EXPECT_EQ(position, text);
}

TEST(Utf8Primitives, GetLastCharOnStrayBytesStepsOneByte) {
  const unsigned char* text = u8("\x82\xAC");  // Continuations without a lead.
  const unsigned char* position = text + 2;
  EXPECT_EQ(stringGetLastChar(text, position), 0xAC);
  EXPECT_EQ(position, text + 1);
  EXPECT_EQ(stringGetLastChar(text, position), 0x82);
  EXPECT_EQ(position, text);
}

// --- Wide text ------------------------------------------------------------

TEST(WidePrimitives, OneUnitIsOneCharacter) {
  wchar_t buffer[2] = {1, 1};
  EXPECT_EQ(charToString(buffer, 0x1F600), 1);
  EXPECT_EQ(buffer[0], static_cast<wchar_t>(0x1F600));
  EXPECT_EQ(buffer[1], 0);
  EXPECT_EQ(charToString(buffer, 0), 0);
  EXPECT_EQ(charLength<wchar_t>(0x20AC), 1);
  const wchar_t* text = L"ab";
  int code;
  EXPECT_EQ(stringChar(text, code), text + 1);
  EXPECT_EQ(code, L'a');
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
  EXPECT_TRUE(setCodePage(65001));
  EXPECT_EQ(getCodePage(), 65001);
}

TEST_F(CodePagePrimitives, AHighBitOpensATwoByteCharacter) {
  EXPECT_EQ(stringCharLength("\xD6\xD0"), 2);
  EXPECT_EQ(stringCharLength("A"), 1);
  EXPECT_EQ(stringLength("\xD6\xD0" "a"), 2);
  EXPECT_EQ(stringLength("\x41\xB0"), 1);  // The lead before the terminator isn't counted.
  EXPECT_EQ(stringLength(""), 0);
}

TEST_F(CodePagePrimitives, StringCharDecodesThroughTheActiveCodePage) {
  int code;
  const char* text = "\xD6\xD0" "x";
  setCodePage(936);
  EXPECT_EQ(stringChar(text, code), text + 2);
  EXPECT_EQ(code, 0x4E2D);
  setCodePage(0);
  text = "\x80" "x";
  EXPECT_EQ(stringChar(text, code), text + 2);  // Two bytes, by the rule.
  EXPECT_EQ(code, 0x20AC);
  const char* letter = "A";
  EXPECT_EQ(stringChar(letter, code), letter + 1);
  EXPECT_EQ(code, 'A');
}

TEST_F(CodePagePrimitives, StringCharNeverStepsPastTheTerminator) {
  const char* text = "a\xD6";
  int code;
  const char* p = stringChar(text, code);
  EXPECT_EQ(p, text + 1);
  p = stringChar(p, code);
  EXPECT_EQ(p, text + 2);  // Only the lead byte.
  EXPECT_EQ(stringChar(p, code), p);
  EXPECT_EQ(code, 0);
}

TEST_F(CodePagePrimitives, AnUndecodableCharacterGivesTheReplacementCode) {
  int code;
  setCodePage(1252);
  stringChar("\x81", code);  // Unassigned in Windows-1252.
  EXPECT_EQ(code, 0xFFFD);
  setCodePage(12345);
  stringChar("A", code);
  EXPECT_EQ(code, 0xFFFD);
}

TEST_F(CodePagePrimitives, CharToStringEncodesThroughTheActiveCodePage) {
  char buffer[3] = {1, 1, 1};
  setCodePage(936);
  EXPECT_EQ(charToString(buffer, 0x4E2D), 2);
  EXPECT_STREQ(buffer, "\xD6\xD0");
  EXPECT_EQ(charLength<char>(0x4E2D), 2);
  setCodePage(1252);
  EXPECT_EQ(charToString(buffer, 0x20AC), 1);
  EXPECT_STREQ(buffer, "\x80");
  EXPECT_EQ(charToString(buffer, 0x4E2D), 1);  // Missing from the page: '?'.
  EXPECT_STREQ(buffer, "?");
  EXPECT_EQ(charToString(buffer, 0), 0);
  EXPECT_STREQ(buffer, "");
  EXPECT_EQ(charLength<char>(0), 0);
}

TEST_F(CodePagePrimitives, AnUnknownCodePageRefusesEveryCharacter) {
  setCodePage(12345);
  char buffer[3] = {1, 1, 1};
  EXPECT_EQ(charToString(buffer, 'A'), -1);
  EXPECT_STREQ(buffer, "");
  EXPECT_EQ(charLength<char>('A'), -1);
  EXPECT_EQ(StringAnsi('A').getLength(), 0);
}

TEST_F(CodePagePrimitives, GetLastCharWalksFromTheStart) {
  setCodePage(936);
  const char* text = "a\xD6\xD0" "b";
  const char* position = text + 4;
  EXPECT_EQ(stringGetLastChar(text, position), 'b');
  EXPECT_EQ(position, text + 3);
  EXPECT_EQ(stringGetLastChar(text, position), 0x4E2D);
  EXPECT_EQ(position, text + 1);
  EXPECT_EQ(stringGetLastChar(text, position), 'a');
  EXPECT_EQ(position, text);
}

TEST_F(CodePagePrimitives, CodePageStringsUseThePrimitives) {
  setCodePage(936);
  StringAnsi s("\xD6\xD0\xCE\xC4" "ab");  // "中文ab"
  EXPECT_EQ(s.getLength(), 4);
  EXPECT_EQ(s[1], 0x6587);
  EXPECT_EQ(s.find('a'), 4);
  EXPECT_EQ(s.find(0x6587), 2);
  EXPECT_STREQ(s.getSubString(1, 2).getBuffer(), "\xCE\xC4" "a");
  StringAnsi padded("  \xD6\xD0  ");
  padded.trim();
  EXPECT_STREQ(padded.getBuffer(), "\xD6\xD0");
  EXPECT_STREQ(StringAnsi(0x4E2D).getBuffer(), "\xD6\xD0");
}

}  // namespace
}  // namespace orvo
