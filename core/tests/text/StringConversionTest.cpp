// Code pages: by name, one character at a time, and the whole-string
// conversions among the three forms.
#include <orvo/core/Character.h>
#include <orvo/core/CodePage.h>
#include <orvo/core/StringConvert.h>
#include <orvo/core/StringHelper.h>

#include <gtest/gtest.h>

#include <cctype>
#include <cstring>
#include <map>
#include <set>
#include <string>
#include <tuple>

#include "text/CharsetTable.h"
#include "text/StringBlock.h"
#include "text/StringTestSupport.h"

namespace orvo {
namespace {

using test::bytesOf;
using test::u8;

class StringConversion : public ::testing::Test {
 protected:
  ~StringConversion() override { setCodePage(saved); }
  int saved = getCodePage();
};

// --- One character at a time ------------------------------------------

TEST_F(StringConversion, OneCharacterThroughTheActiveCodePage) {
  // The page, a character's bytes and code, and charToString's answer for
  // the code (-1: refused).
  const std::tuple<int, const char*, int, int> cases[] = {{936, "\xD6\xD0", 0x4E2D, 2}, {0, "\x80", 0x20AC, 1},
                                                          {1252, "A", 'A', 1},          {1252, "\x81", 0xFFFD, 1},
                                                          {12345, "A", 0xFFFD, -1},     {1252, "\xE9", 0xE9, 1}};
  for (const auto& [codePage, bytes, expected, encodedLength] : cases) {
    setCodePage(codePage);
    int code;
    EXPECT_EQ(stringChar(bytes, code), bytes + std::strlen(bytes)) << codePage;
    EXPECT_EQ(code, expected) << codePage << " " << bytes;
    char buffer[3] = {1, 1, 1};
    EXPECT_EQ(charToString(buffer, expected), encodedLength) << codePage;
    EXPECT_EQ(charLength<char>(expected), encodedLength) << codePage;
    EXPECT_STREQ(buffer, encodedLength < 0 ? "" : expected == 0xFFFD ? "?" : bytes) << codePage;
  }
  setCodePage(1252);
  char buffer[3];
  EXPECT_EQ(charToString(buffer, 0x4E2D), 1);  // Missing from the page: '?'.
  EXPECT_STREQ(buffer, "?");
  EXPECT_EQ(charToString(buffer, 0) + charLength<char>(0), 0);
  setCodePage(50225);  // A character that needs a shift sequence is refused.
  EXPECT_EQ(charToString(buffer, 0xD55C), -1);
}

// Where the page is 0, a high bit opens a two-byte character, which never
// takes the terminator.
TEST_F(StringConversion, StringsWalkThroughTheCodePage) {
  const char* lead = "a\xD6";
  int code = -1;
  const char* const end = stringChar(lead + 1, code);
  EXPECT_EACH({{saved, 0},  // The start value; every test restores it.
               {stringCharLength("\xD6\xD0"), 2}, {stringCharLength("A"), 1}, {stringLength("\xD6\xD0" "a"), 2},
               {stringLength("\x41\xB0"), 1},  // A lead before the terminator isn't counted.
               {end - lead, 2}, {stringChar(end, code) - lead, 2}, {code, 0}});
  setCodePage(936);
  const char* text = "a\xD6\xD0" "b";
  const char* position = text + 4;
  const char* cut = "a\0b";  // A position behind a terminator stops on it.
  const char* cutPosition = cut + 3;
  StringAnsi s("\xD6\xD0\xCE\xC4" "ab");
  EXPECT_EACH({{stringGetLastChar(text, position), 'b'}, {stringGetLastChar(text, position), 0x4E2D},
                    {position - text, 1}, {stringGetLastChar(cut, cutPosition), 0}, {cutPosition - cut, 1},
                    {s.getLength(), 4}, {s[1], 0x6587}, {s.find('a'), 4}, {s.find(0x6587), 2}});
  EXPECT_STREQ(s.getSubString(1, 2).getBuffer(), "\xCE\xC4" "a");
  EXPECT_STREQ(StringAnsi(0x4E2D).getBuffer(), "\xD6\xD0");
}

// --- Charset names --------------------------------------------------------

TEST_F(StringConversion, EveryDistinctLowerCaseNameSelectsItsCodePageInAnyCase) {
  std::set<std::string> names;
  for (const CharsetName* row = charsetTable; row->name; ++row) {
    names.insert(row->name);
    std::string upper = row->name;
    for (char& c : upper) {
      EXPECT_FALSE(std::isupper(static_cast<unsigned char>(c))) << row->name;
      c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    }
    setCodePage(1);
    EXPECT_TRUE(setCodePage(upper.c_str())) << upper;
    EXPECT_EQ(getCodePage(), row->codePage) << upper;
  }
  EXPECT_EQ(names.size(), 81u);
  for (const char* name : {"utf-8", "klingon", "", " gb2312"}) EXPECT_FALSE(setCodePage(name)) << name;
  EXPECT_FALSE(setCodePage(static_cast<const char*>(nullptr)));
  EXPECT_EQ(getCodePage(), 50225);  // The last row's, untouched by the refusals.
}

TEST_F(StringConversion, NullAndEmptyTextsGiveTheSharedEmptyString) {
  for (const char* text : {static_cast<const char*>(nullptr), ""}) {
    const auto* utf8 = reinterpret_cast<const unsigned char*>(text);
    const wchar_t* wide = text ? L"" : nullptr;
    EXPECT_EACH({{StringBlock<char>::isSharedEmpty(StringHelper::wideToAnsi(wide)), true},
                      {StringBlock<wchar_t>::isSharedEmpty(StringHelper::ansiToWide(text)), true},
                      {StringBlock<unsigned char>::isSharedEmpty(StringHelper::wideToUtf8(wide)), true},
                      {StringBlock<wchar_t>::isSharedEmpty(StringHelper::utf8ToWide(utf8)), true},
                      {StringBlock<char>::isSharedEmpty(StringHelper::utf8ToAnsi(utf8)), true},
                      {StringBlock<unsigned char>::isSharedEmpty(StringHelper::ansiToUtf8(text)), true},
                      {String(StringConvert(text)).getLength() + StringAnsi(StringConvert(utf8)).getLength() +
                           StringUtf8(StringConvert(wide)).getLength(), 0}});
  }
}

// --- Code pages -----------------------------------------------------------

TEST_F(StringConversion, RealCodePagesConvertBothWays) {
  const std::tuple<int, const char*, const wchar_t*> samples[] = {
      {936, "\xD6\xD0\xCE\xC4 GB2312", L"\u4E2D\u6587 GB2312"},
      {932, "\x93\xFA\x96\x7B\x8C\xEA sjis", L"\u65E5\u672C\u8A9E sjis"},
      {20866, "\xF0\xD2\xC9\xD7\xC5\xD4", L"\u041F\u0440\u0438\u0432\u0435\u0442"},
      {0, "caf\xE9 \x80", L"caf\u00E9 \u20AC"},
      {1251, "\xCF\xF0\xE8\xE2\xE5\xF2", L"\u041F\u0440\u0438\u0432\u0435\u0442"},
      {949, "\xC7\xD1\xB1\xB9", L"\uD55C\uAD6D"},
      {50225, "\x1B$)C\x0EGQ19\x0F", L"\uD55C\uAD6D"},
      {65001, "\xE2\x82\xAC", L"\u20AC"}, {1252, "\x80", L"\u20AC"}};
  for (const auto& [codePage, bytes, text] : samples) {
    setCodePage(codePage);
    EXPECT_EQ(StringHelper::ansiToWide(bytes), text) << codePage;
    EXPECT_STREQ(StringHelper::wideToAnsi(text).getBuffer(), bytes) << codePage;
    EXPECT_STREQ(StringHelper::utf8ToAnsi(StringHelper::wideToUtf8(text)).getBuffer(), bytes) << codePage;
    EXPECT_EQ(StringHelper::ansiToUtf8(bytes), StringHelper::wideToUtf8(text)) << codePage;
  }
}

TEST_F(StringConversion, LackingCharactersAndUnknownCodePages) {
  setCodePage(50225);  // Stateful: the '?' must stand outside a shifted run.
  const StringAnsi mixed = StringHelper::wideToAnsi(L"\uD55C\u0E01\uAD6D");
  EXPECT_EQ(StringHelper::ansiToWide(mixed), L"\uD55C?\uAD6D");
  EXPECT_TRUE(setCodePage(12345));  // Any number is taken; no converter: empty, except for UTF-8.
  EXPECT_EQ(getCodePage() + StringAnsi('A').getLength(), 12345);
  EXPECT_EQ(StringHelper::ansiToWide("abc").getLength() + StringHelper::wideToAnsi(L"abc").getLength(), 0);
  EXPECT_EQ(StringHelper::utf8ToAnsi(u8("abc")).getLength() + StringHelper::ansiToUtf8("abc").getLength(), 0);
  EXPECT_EQ(StringHelper::utf8ToWide(u8("abc")), L"abc");
}

// For every code page of the charset table, a text that ends right after a
// sequence the page rejects: it ends in one U+FFFD, and nothing is read past
// it. Some converters consume a rejected pair whole before they refuse it
// (949). Pages that map every byte have no such sequence (null); all refuse
// a character they lack, which becomes '?', also at the very end.
TEST_F(StringConversion, EveryCodePageEndsCleanlyAfterARejectedSequence) {
  const std::map<int, const char*> rejected = {
      {852, nullptr},    {866, nullptr}, {874, "\x81"},  {932, "\x80"},   {936, "\xFF"},
      {949, "\xA2\xE8"}, {950, "\x81"},  {1250, "\x81"}, {1251, "\x98"},  {1252, "\x81"},
      {1253, "\x81"},    {1254, "\x81"}, {1255, "\x81"}, {1256, nullptr}, {1257, "\x81"},
      {1258, "\x81"},    {20866, nullptr}, {28592, nullptr}, {50225, "\x80"}};
  for (const CharsetName* row = charsetTable; row->name; ++row) {
    ASSERT_TRUE(rejected.count(row->codePage)) << row->codePage;
  }
  for (const auto& [codePage, bytes] : rejected) {
    setCodePage(codePage);
    if (bytes) {
      const std::string text = std::string("x") + bytes;
      EXPECT_EQ(StringHelper::ansiToWide(text.c_str()), L"x\uFFFD") << codePage;
      int code = 0;
      stringChar(text.c_str() + 1, code);
      EXPECT_EACH({{code, 0xFFFD}, {StringAnsi(text.c_str()).find(L'x'), 0}});
    }
    EXPECT_EQ(StringHelper::ansiToWide(StringHelper::wideToAnsi(L"x\U0001F600")), L"x?") << codePage;
  }
  setCodePage(936);
  EXPECT_EQ(StringHelper::ansiToWide("x\xD6"), L"x\uFFFD");  // A pair cut short.
}

// --- StringConvert --------------------------------------------------------

TEST_F(StringConversion, StringConvertTurnsAnyFormIntoAnyOther) {
  setCodePage(1252);
  for (const StringConvert& text : {StringConvert("caf\xE9"), StringConvert(u8("caf\xC3\xA9")), StringConvert(L"caf\u00E9")}) {
    EXPECT_EQ(String(text), L"caf\u00E9");
    EXPECT_STREQ(StringAnsi(text).getBuffer(), "caf\xE9");
    EXPECT_EQ(bytesOf(StringUtf8(text)), "caf\xC3\xA9");
    EXPECT_EQ(StringUtf8(text).getBufferLength(), 6);  // An exact block.
  }
  // Wide to UTF-8 goes straight, not through the code page, which lacks the character.
  EXPECT_EQ(bytesOf(StringUtf8(StringConvert(L"\U0001F600"))), "\xF0\x9F\x98\x80");
}

}  // namespace
}  // namespace orvo
