// Code pages by name and the whole-string conversions among the three forms.
#include <orvo/core/CodePage.h>
#include <orvo/core/StringConvert.h>
#include <orvo/core/StringHelper.h>

#include <gtest/gtest.h>

#include <cctype>
#include <set>
#include <string>
#include <thread>
#include <vector>

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

using CharsetNames = StringConversion;

// --- Charset names --------------------------------------------------------

TEST_F(CharsetNames, TheTableHasEightyOneDistinctLowerCaseNames) {
  std::set<std::string> names;
  int rows = 0;
  for (const CharsetName* row = charsetTable; row->name; ++row, ++rows) {
    names.insert(row->name);
    for (const char* c = row->name; *c; ++c) EXPECT_FALSE(std::isupper(*c)) << row->name;
    EXPECT_NE(row->description, nullptr);
  }
  EXPECT_EQ(rows, 81);
  EXPECT_EQ(names.size(), 81u);
}

TEST_F(CharsetNames, EveryNameSelectsItsCodePageInAnyCase) {
  for (const CharsetName* row = charsetTable; row->name; ++row) {
    setCodePage(1);
    std::string upper = row->name;
    for (char& c : upper) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    EXPECT_TRUE(setCodePage(upper.c_str())) << upper;
    EXPECT_EQ(getCodePage(), row->codePage) << upper;
  }
}

TEST_F(CharsetNames, NamedExamples) {
  struct Case {
    const char* name;
    int codePage;
  } cases[] = {{"GB2312", 936},     {"latin1", 1252},      {"iso-8859-1", 1252},
               {"ascii", 1252},     {"us-ascii", 1252},    {"iso-8859-8", 1255},
               {"hz-gb-2312", 936}, {"iso-2022-kr", 50225}, {"Shift_JIS", 932},
               {"KOI8-R", 20866},   {"Big5", 950},         {"EUC-KR", 949}};
  for (const Case& c : cases) {
    setCodePage(0);
    EXPECT_TRUE(setCodePage(c.name)) << c.name;
    EXPECT_EQ(getCodePage(), c.codePage) << c.name;
  }
}

TEST_F(CharsetNames, UnknownNamesLeaveTheCodePageAlone) {
  setCodePage(1251);
  for (const char* name : {"utf-8", "UTF-8", "klingon", "", " gb2312", "gb2312 "}) {
    EXPECT_FALSE(setCodePage(name)) << name;
  }
  EXPECT_FALSE(setCodePage(static_cast<const char*>(nullptr)));
  EXPECT_EQ(getCodePage(), 1251);
  EXPECT_TRUE(setCodePage(65001));  // UTF-8 by number is fine.
}

// --- Empty and null -------------------------------------------------------

TEST_F(StringConversion, NullAndEmptyTextsGiveTheEmptyString) {
  EXPECT_EQ(StringHelper::wideToAnsi(nullptr).getLength(), 0);
  EXPECT_EQ(StringHelper::ansiToWide(nullptr).getLength(), 0);
  EXPECT_EQ(StringHelper::wideToUtf8(nullptr).getLength(), 0);
  EXPECT_EQ(StringHelper::utf8ToWide(nullptr).getLength(), 0);
  EXPECT_EQ(StringHelper::utf8ToAnsi(nullptr).getLength(), 0);
  EXPECT_EQ(StringHelper::ansiToUtf8(nullptr).getLength(), 0);
  EXPECT_TRUE(StringBlock<char>::isSharedEmpty(StringHelper::wideToAnsi(L"")));
  EXPECT_TRUE(StringBlock<wchar_t>::isSharedEmpty(StringHelper::ansiToWide("")));
  EXPECT_TRUE(StringBlock<unsigned char>::isSharedEmpty(StringHelper::wideToUtf8(L"")));
  EXPECT_TRUE(StringBlock<wchar_t>::isSharedEmpty(StringHelper::utf8ToWide(u8(""))));
  EXPECT_TRUE(StringBlock<char>::isSharedEmpty(StringHelper::utf8ToAnsi(u8(""))));
  EXPECT_TRUE(StringBlock<unsigned char>::isSharedEmpty(StringHelper::ansiToUtf8("")));
}

// --- UTF-8 ----------------------------------------------------------------

TEST_F(StringConversion, Utf8AndWideBothWays) {
  const String wide(L"A\u00e9\u20ac\U0001F600z");
  const StringUtf8 utf8 = StringHelper::wideToUtf8(wide);
  EXPECT_EQ(bytesOf(utf8), "A\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80z");
  EXPECT_EQ(utf8.getBufferLength(), 12);  // Exact size.
  const String back = StringHelper::utf8ToWide(utf8);
  EXPECT_EQ(back, wide);
  EXPECT_EQ(back.getLength(), 5);  // The four-byte sequence is one code point.
}

TEST_F(StringConversion, BrokenUtf8BecomesReplacementCharacters) {
  EXPECT_EQ(StringHelper::utf8ToWide(u8("a\xE2\x82" "b")), L"a\uFFFDb");
  EXPECT_EQ(StringHelper::utf8ToWide(u8("\xC0\xAF")), L"\uFFFD\uFFFD");     // Overlong.
  EXPECT_EQ(StringHelper::utf8ToWide(u8("\xED\xA0\x80")), L"\uFFFD\uFFFD\uFFFD");  // Surrogate.
  EXPECT_EQ(StringHelper::utf8ToWide(u8("\xF4\x90\x80\x80")), L"\uFFFD\uFFFD\uFFFD\uFFFD");
  EXPECT_EQ(StringHelper::utf8ToWide(u8("x\xF0\x9F\x98")), L"x\uFFFD");     // Truncated.
}

TEST_F(StringConversion, WideValuesUtf8CannotCarryBecomeReplacementCharacters) {
  const wchar_t text[] = {L'a', 0xD800, static_cast<wchar_t>(0x110000), L'b', 0};
  EXPECT_EQ(bytesOf(StringHelper::wideToUtf8(text)), "a\xEF\xBF\xBD\xEF\xBF\xBD" "b");
}

TEST_F(StringConversion, LongTextsCrossTheFastAsciiPath) {
  std::wstring wide;
  for (int i = 0; i < 1000; ++i) wide += (i % 37 == 0) ? L'\u4E2D' : static_cast<wchar_t>(L'a' + i % 26);
  const StringUtf8 utf8 = StringHelper::wideToUtf8(wide.c_str());
  const String back = StringHelper::utf8ToWide(utf8);
  EXPECT_EQ(back, wide.c_str());
}

// --- Code pages -----------------------------------------------------------

struct CodePageSample {
  int codePage;
  const char* bytes;
  const wchar_t* text;
};

const CodePageSample kSamples[] = {
    {936, "\xD6\xD0\xCE\xC4 GB2312", L"\u4E2D\u6587 GB2312"},
    {932, "\x93\xFA\x96\x7B\x8C\xEA sjis", L"\u65E5\u672C\u8A9E sjis"},
    {20866, "\xF0\xD2\xC9\xD7\xC5\xD4", L"\u041F\u0440\u0438\u0432\u0435\u0442"},
    {1252, "caf\xE9 \x80", L"caf\u00E9 \u20AC"},
    {0, "caf\xE9 \x80", L"caf\u00E9 \u20AC"},
    {1251, "\xCF\xF0\xE8\xE2\xE5\xF2", L"\u041F\u0440\u0438\u0432\u0435\u0442"},
    {949, "\xC7\xD1\xB1\xB9", L"\uD55C\uAD6D"},
    {50225, "\x1B$)C\x0EGQ19\x0F", L"\uD55C\uAD6D"},
    {65001, "\xE2\x82\xAC", L"\u20AC"},
};

TEST_F(StringConversion, RealCodePagesConvertBothWays) {
  for (const CodePageSample& sample : kSamples) {
    setCodePage(sample.codePage);
    EXPECT_EQ(StringHelper::ansiToWide(sample.bytes), sample.text) << sample.codePage;
    EXPECT_STREQ(StringHelper::wideToAnsi(sample.text).getBuffer(), sample.bytes) << sample.codePage;
  }
}

TEST_F(StringConversion, CodePageAndUtf8GoThroughWideText) {
  setCodePage(936);
  EXPECT_EQ(bytesOf(StringHelper::ansiToUtf8("\xD6\xD0")), "\xE4\xB8\xAD");
  EXPECT_STREQ(StringHelper::utf8ToAnsi(u8("\xE4\xB8\xAD")).getBuffer(), "\xD6\xD0");
}

TEST_F(StringConversion, CharactersThePageLacksBecomeQuestionMarks) {
  setCodePage(1252);
  EXPECT_STREQ(StringHelper::wideToAnsi(L"a\u4E2Db\u0416").getBuffer(), "a?b?");
  setCodePage(50225);  // Stateful: the '?' must stand outside a shifted run.
  const StringAnsi mixed = StringHelper::wideToAnsi(L"\uD55C\u0E01\uAD6D");
  EXPECT_EQ(StringHelper::ansiToWide(mixed), L"\uD55C?\uAD6D");
}

TEST_F(StringConversion, BrokenCodePageTextBecomesReplacementCharacters) {
  setCodePage(1252);
  EXPECT_EQ(StringHelper::ansiToWide("a\x81" "b"), L"a\uFFFD" "b");
  setCodePage(936);
  EXPECT_EQ(StringHelper::ansiToWide("x\xD6"), L"x\uFFFD");  // Truncated pair.
  setCodePage(932);
  EXPECT_EQ(StringHelper::ansiToWide("\x93\xFA\x93"), L"\u65E5\uFFFD");
}

TEST_F(StringConversion, AnUnknownCodePageGivesEmptyStrings) {
  setCodePage(12345);
  EXPECT_EQ(StringHelper::ansiToWide("abc").getLength(), 0);
  EXPECT_EQ(StringHelper::wideToAnsi(L"abc").getLength(), 0);
  EXPECT_EQ(StringHelper::utf8ToAnsi(u8("abc")).getLength(), 0);
  EXPECT_EQ(StringHelper::ansiToUtf8("abc").getLength(), 0);
  EXPECT_EQ(StringHelper::utf8ToWide(u8("abc")), L"abc");  // UTF-8 needs no code page.
}

TEST_F(StringConversion, ManyCodePagesInTurnOnOneThread) {
  // More code pages than a thread keeps converters for: evicted ones reopen.
  for (int round = 0; round < 3; ++round) {
    for (const CodePageSample& sample : kSamples) {
      setCodePage(sample.codePage);
      ASSERT_EQ(StringHelper::ansiToWide(sample.bytes), sample.text) << sample.codePage;
    }
    for (int page : {437, 850, 1250, 1253, 1254, 1255, 1256, 1257, 1258, 28592}) {
      setCodePage(page);
      ASSERT_EQ(StringHelper::ansiToWide("plain"), L"plain") << page;
    }
  }
}

TEST_F(StringConversion, ThreadsConvertAtTheSameTime) {
  setCodePage(936);
  std::vector<std::thread> threads;
  std::vector<int> failures(4, 0);
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([t, &failures] {
      for (int i = 0; i < 300; ++i) {
        const String wide = StringHelper::ansiToWide("\xD6\xD0\xCE\xC4");
        const StringAnsi back = StringHelper::wideToAnsi(wide);
        const String fromUtf8 = StringHelper::utf8ToWide(u8("\xE4\xB8\xAD"));
        failures[t] += !(wide == L"\u4E2D\u6587") + !(back == "\xD6\xD0\xCE\xC4") +
                       !(fromUtf8 == L"\u4E2D");
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  for (int f : failures) EXPECT_EQ(f, 0);
}

// --- StringConvert --------------------------------------------------------

TEST_F(StringConversion, StringConvertTurnsAnyFormIntoAnyOther) {
  setCodePage(1252);
  const String fromAnsi = StringConvert("caf\xE9");
  const String fromUtf8 = StringConvert(u8("caf\xC3\xA9"));
  const String fromWide = StringConvert(L"caf\u00E9");
  EXPECT_EQ(fromAnsi, L"caf\u00E9");
  EXPECT_EQ(fromUtf8, L"caf\u00E9");
  EXPECT_EQ(fromWide, L"caf\u00E9");
  const StringAnsi ansi = StringConvert(u8("caf\xC3\xA9"));
  EXPECT_STREQ(ansi.getBuffer(), "caf\xE9");
  EXPECT_STREQ(StringAnsi(StringConvert(L"\u20AC")).getBuffer(), "\x80");
  EXPECT_STREQ(StringAnsi(StringConvert("same")).getBuffer(), "same");
  EXPECT_EQ(bytesOf(StringUtf8(StringConvert("\xE9"))), "\xC3\xA9");
  EXPECT_EQ(bytesOf(StringUtf8(StringConvert(L"\u00E9"))), "\xC3\xA9");
  EXPECT_EQ(bytesOf(StringUtf8(StringConvert(u8("\xC3\xA9")))), "\xC3\xA9");
}

TEST_F(StringConversion, StringConvertOfNullIsEmptyInEveryForm) {
  EXPECT_EQ(String(StringConvert(static_cast<const char*>(nullptr))).getLength(), 0);
  EXPECT_EQ(StringAnsi(StringConvert(static_cast<const unsigned char*>(nullptr))).getLength(), 0);
  EXPECT_EQ(StringUtf8(StringConvert(static_cast<const wchar_t*>(nullptr))).getLength(), 0);
}

}  // namespace
}  // namespace orvo
