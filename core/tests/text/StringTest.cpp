// Behaviour of TString in its three forms: blocks and sharing, reading,
// comparing, building, searching, formatting and editing.
#include <orvo/core/Log.h>
#include <orvo/core/String.h>

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "text/StringBlock.h"
#include "text/StringTestSupport.h"

namespace orvo {
namespace {

template <class T>
int refs(const TString<T>& s) {
  return StringBlock<T>::referenceCount(s);
}
template <class T>
bool isSharedEmpty(const TString<T>& s) {
  return StringBlock<T>::isSharedEmpty(s);
}
constexpr int kW = sizeof(wchar_t);

using test::bytesOf;
using test::u8;

// --- Blocks, sharing and the empty string ---------------------------------

TEST(StringBlocks, OnePointerWithTheHeaderInFrontOfAnExactBlock) {
  EXPECT_EQ(sizeof(String), sizeof(void*));
  String s(L"abc");
  EXPECT_EQ(*reinterpret_cast<const wchar_t* const*>(&s), s.getBuffer());
  auto* header = reinterpret_cast<const String::StringData*>(
      reinterpret_cast<const char*>(s.getBuffer()) - sizeof(String::StringData));
  EXPECT_EQ(header->size, 4 * kW);
  EXPECT_EQ(header->refCount.load(), 1);
  EXPECT_EQ(StringAnsi("hello").getBufferLength(), 6);
  EXPECT_EQ((StringAnsi("ab") + "cde").getBufferLength(), 6);
}

TEST(StringBlocks, EveryEmptyStringSharesOneCountedBlock) {
  String byDefault, fromNull(static_cast<const wchar_t*>(nullptr)), fromEmpty(L"");
  const int before = refs(byDefault);
  for (const String* s : {&byDefault, &fromNull, &fromEmpty}) {
    EXPECT_TRUE(isSharedEmpty(*s));
    EXPECT_EQ(s->getLength(), 0);
    EXPECT_EQ(s->getBuffer()[0], 0);
    EXPECT_EQ(s->getBufferLength(), kW);
  }
  {
    String second;
    EXPECT_EQ(refs(byDefault), before + 1);
  }
  EXPECT_EQ(refs(byDefault), before);
  EXPECT_EQ(StringAnsi().getBufferLength(), 1);
}

TEST(StringBlocks, CopiesAndMovesShareTheBlock) {
  String a(L"shared text");
  {
    String b = a, c;
    c = b;
    EXPECT_EQ(c.getBuffer(), a.getBuffer());
    EXPECT_EQ(refs(a), 3);
  }
  EXPECT_EQ(refs(a), 1);
  const String& same = a;
  a = same;
  EXPECT_EQ(refs(a), 1);
  const wchar_t* block = a.getBuffer();
  String moved(std::move(a));
  EXPECT_EQ(moved.getBuffer(), block);
  EXPECT_TRUE(isSharedEmpty(a));  // NOLINT(bugprone-use-after-move)
}

TEST(StringBlocks, AssigningTextReusesOnlyAnUnsharedBlockOfTheSameSize) {
  String s(L"abc");
  const wchar_t* block = s.getBuffer();
  EXPECT_EQ(s.getLength(), 3);
  s = L"xyz";
  EXPECT_EQ(StringBlock<wchar_t>::cachedLength(s), -1);
  EXPECT_EQ(s.getBuffer(), block);
  String copy = s;
  s = L"uvw";
  EXPECT_EQ(copy, L"xyz");
  EXPECT_NE(s.getBuffer(), copy.getBuffer());
  s = s.getBuffer() + 1;  // A text from inside the string itself.
  EXPECT_EQ(s, L"vw");
  s = L"";  // Unlike the constructor: a block of its own.
  EXPECT_FALSE(isSharedEmpty(s));
  EXPECT_EQ(s, String());
  s = static_cast<const wchar_t*>(nullptr);
  EXPECT_TRUE(isSharedEmpty(s));
}

class ErrorCollector : public LogListener {
 public:
  void onError(const wchar_t* message) override { errors.emplace_back(message); }
  void onWarning(const wchar_t*) override {}
  void onInformation(const wchar_t*) override {}
  void onDebug(const wchar_t*) override {}
  void onWhistle(bool) override {}
  std::vector<std::wstring> errors;
};

TEST(StringBlocks, AFailedAllocationIsLoggedAndGivesNoBlock) {
  ErrorCollector collector;
  Log::addListener(&collector);
  EXPECT_FALSE(StringBlock<wchar_t>(600000000));  // Beyond the 32-bit size of a block.
  Log::removeListener(&collector);
  ASSERT_EQ(collector.errors.size(), 1u);
  EXPECT_EQ(collector.errors[0], L"Allocate memory(2400000036) error!");
}

// --- Construction and reading ---------------------------------------------

TEST(StringReading, TextAndCountCountsCharactersAndStopsAtTheTerminator) {
  EXPECT_EQ(String(L"abcdef", 3), L"abc");
  EXPECT_TRUE(isSharedEmpty(String(L"abc", -2)));
  const wchar_t padded[6] = {L'a', L'b', 0, 0, 0, 0};
  EXPECT_EQ(String(padded, 6).getBufferLength(), 3 * kW);
  // A count beyond the text stops at the terminator (ASan checks the reads).
  EXPECT_EQ(String(L"ab", 1000), L"ab");
  EXPECT_EQ(bytesOf(StringUtf8(u8("\xC3\xA9\xE2\x82\xAC" "x"), 2)), "\xC3\xA9\xE2\x82\xAC");
  EXPECT_EQ(bytesOf(StringUtf8(u8("\xC3\xA9"), 9)), "\xC3\xA9");
  EXPECT_STREQ(StringAnsi("\xD6\xD0" "ab", 2).getBuffer(), "\xD6\xD0" "a");
  EXPECT_STREQ(StringAnsi("a\xD6", 5).getBuffer(), "a\xD6");
}

TEST(StringReading, OneCharacterStrings) {
  EXPECT_EQ(String(0x1F600).getBuffer()[0], static_cast<wchar_t>(0x1F600));
  EXPECT_TRUE(isSharedEmpty(StringAnsi(0)));
  EXPECT_STREQ(StringAnsi(65).getBuffer(), "A");
  EXPECT_EQ(bytesOf(StringUtf8(0x20AC)), "\xE2\x82\xAC");
}

TEST(StringReading, LengthIndexAndSubStringCountCharacters) {
  EXPECT_EQ(String(L"h\u00e9llo").getLength(), 5);
  EXPECT_EQ(StringAnsi("h\xE9llo").getLength(), 4);  // é takes the l with it.
  StringUtf8 u(u8("\xD0\xB0x\xC3\xA9"));
  EXPECT_EQ(StringBlock<unsigned char>::cachedLength(u), -1);
  EXPECT_EQ(u.getLength(), 3);
  EXPECT_EQ(StringBlock<unsigned char>::cachedLength(u), 3);
  EXPECT_EQ(u[0], 0x430);
  EXPECT_EQ(u[1], 'x');
  EXPECT_EQ(bytesOf(u.getSubString(1, 2)), "x\xC3\xA9");
  String s(L"hello world");
  EXPECT_EQ(s[4], L'o');
  EXPECT_EQ(s.getSubString(6, 5), L"world");
  EXPECT_EQ(s.getSubString(0, 11).getBuffer(), s.getBuffer());
  EXPECT_TRUE(isSharedEmpty(s.getSubString(3, 0)));
}

TEST(StringReading, PositionsBeyondTheTextStayInsideTheBlock) {
  String s(L"abc");
  StringUtf8 u(u8("a\xC3\xA9"));
  EXPECT_EQ(s[3], 0);
  EXPECT_EQ(s[100], 0);
  EXPECT_EQ(s[-1], 0);
  EXPECT_EQ(u[50], 0);
  EXPECT_EQ(s.getSubString(1, 100), L"bc");
  EXPECT_TRUE(isSharedEmpty(s.getSubString(100, 2)));
  EXPECT_EQ(s.getSubString(-5, 2), L"ab");
  EXPECT_EQ(bytesOf(u.getSubString(1, 100)), "\xC3\xA9");
  EXPECT_TRUE(isSharedEmpty(u.getSubString(7, 1)));
}

// --- Comparison -----------------------------------------------------------

std::wstring widen(const char* text) { return text ? std::wstring(text, text + std::strlen(text)) : L""; }

TEST(StringComparison, SignOfTheFirstDifferingCharacterInEachForm) {
  struct Case {
    const char* left;
    const char* right;
    int expected;
  } cases[] = {{"abc", "abc", 0},  {"abc", "abd", -1}, {"abc", "abb", 1},
               {"abc", "ab", 1},   {"abc", "abcd", -1}, {"abc", nullptr, 1}, {"", nullptr, 0}};
  for (const Case& c : cases) {
    const std::wstring left = widen(c.left), right = widen(c.right);
    const wchar_t* rightText = c.right ? right.c_str() : nullptr;
    EXPECT_EQ(String(left.c_str()).compare(rightText), c.expected) << c.left;
    EXPECT_EQ(String(left.c_str()).compare(String(rightText)), c.expected) << c.left;
    EXPECT_EQ(String(rightText).compare(String(left.c_str())), -c.expected) << c.left;
    EXPECT_EQ(StringAnsi(c.left).compare(c.right), c.expected) << c.left;
    EXPECT_EQ(StringUtf8(u8(c.left)).compare(c.right ? u8(c.right) : nullptr), c.expected) << c.left;
  }
  EXPECT_EQ(StringUtf8(u8("\xC3\xA9")).compare(u8("z")), 1);  // Code 0xE9 against 'z'.
  EXPECT_EQ(String(L"\u00e9").compare(L"z"), 1);
  // One code point per wchar_t: above U+FFFF the order is by code point.
  EXPECT_EQ(String(L"\U0001F600").compare(L"\uFFFF"), 1);
}

TEST(StringComparison, LongTextsAndEmbeddedTerminators) {
  const std::wstring base(67, L'q');
  for (std::size_t i = 0; i < base.size(); ++i) {
    std::wstring other = base;
    other[i] = L'r';
    const String shorter(std::wstring(base, 0, i).c_str());
    EXPECT_EQ(String(base.c_str()).compare(String(other.c_str())), -1) << i;
    EXPECT_EQ(String(other.c_str()).compare(base.c_str()), 1) << i;
    EXPECT_EQ(String(base.c_str()).compare(shorter), 1) << i;
    EXPECT_EQ(shorter.compare(String(base.c_str())), -1) << i;
    // A zero unit inside a block ends the comparison there.
    std::wstring a(80, L'k'), b(80, L'k');
    a[i] = b[i] = 0;
    b[i + 1] = L'z';
    const wchar_t* const pa = a.c_str();
    EXPECT_EQ(String(pa, 80).compare(String(b.c_str(), 80)), 0) << i;
    b[i] = L'a';
    EXPECT_EQ(String(pa, 80).compare(String(b.c_str(), 80)), -1) << i;
  }
}

TEST(StringComparison, NoCaseFoldsAsciiLettersOnlyAndOperatorsFollowCompare) {
  EXPECT_EQ(String(L"Hello").compareNoCase(L"hELLO"), 0);
  EXPECT_EQ(String(L"\u00C9").compareNoCase(L"\u00E9"), -1);
  EXPECT_EQ(String(L"A").compareNoCase(L"_"), 1);
  EXPECT_EQ(StringUtf8(u8("ABC")).compareNoCase(u8("abd")), -1);
  EXPECT_EQ(StringAnsi("Zebra").compareNoCase("zEBRA"), 0);
  EXPECT_EQ(StringAnsi("[").compareNoCase("a"), -1);
  String b(L"b");
  EXPECT_TRUE(b == L"b" && b != L"a" && b > L"a" && b < L"c" && b >= L"b" && b <= L"b");
  EXPECT_FALSE(b > L"b" || b < L"b" || b >= L"c" || b <= L"a");
  EXPECT_TRUE(b != String(L"bb") && String() == String(L""));
}

// --- Building, trimming, case ---------------------------------------------

TEST(StringBuilding, ConcatenationSharesAnEmptySideAndLeavesCopiesAlone) {
  String left(L"left");
  EXPECT_EQ((left + String()).getBuffer(), left.getBuffer());
  EXPECT_EQ((left + static_cast<const wchar_t*>(nullptr)).getBuffer(), left.getBuffer());
  EXPECT_EQ((String() + left).getBuffer(), left.getBuffer());
  EXPECT_EQ((L"" + left).getBuffer(), left.getBuffer());
  EXPECT_EQ(L"the " + left + L"-right", L"the left-right");
  EXPECT_EQ(L"only" + String(), L"only");
  EXPECT_EQ(String() + L"only", L"only");
  String s = left;
  s += L"b";
  s += String(L"c");
  s += L'd';
  s += 0;
  s += s;
  EXPECT_EQ(s, L"leftbcdleftbcd");
  EXPECT_EQ(left, L"left");
  StringUtf8 u;
  u += 0x20AC;
  EXPECT_EQ(bytesOf(u), "\xE2\x82\xAC");
}

TEST(StringTrim, RemovesTheSixAsciiSpacesByCharacter) {
  String s(L" \t\r\n\v\fword word\f\v\n\r\t ");
  EXPECT_EQ(s.trim(), L"word word");
  String nbsp(L"\u00A0x\u00A0");
  const wchar_t* block = nbsp.getBuffer();
  nbsp.trim();
  EXPECT_EQ(nbsp.getBuffer(), block);
  String spaces(L"   ");
  EXPECT_TRUE(isSharedEmpty(spaces.trim()));
  StringUtf8 u(u8("  \xC3\xA9 \xE2\x82\xAC  "));
  EXPECT_EQ(bytesOf(u.trim()), "\xC3\xA9 \xE2\x82\xAC");
  StringUtf8 stray(u8("\x89x\x89"));  // Stray bytes decode to U+FFFD, no space.
  EXPECT_EQ(bytesOf(stray.trim()), "\x89x\x89");
  StringAnsi a("  ab  ");
  EXPECT_STREQ(a.trimLeft().getBuffer(), "ab  ");
  EXPECT_STREQ(a.trimRight().getBuffer(), "ab");
}

TEST(StringCase, ChangesAsciiUnitsOfTheOneCopyOnly) {
  String a(L"Mixed \u00e9 Case 1");
  String b = a;
  b.upperCase();
  EXPECT_EQ(a, L"Mixed \u00e9 Case 1");
  EXPECT_EQ(b, L"MIXED \u00e9 CASE 1");
  EXPECT_EQ(refs(a), 1);
  const wchar_t* own = b.getBuffer();
  EXPECT_EQ(b.lowerCase(), L"mixed \u00e9 case 1");
  EXPECT_EQ(b.getBuffer(), own);
  String e;
  EXPECT_TRUE(isSharedEmpty(e.upperCase()));
  StringAnsi trail("\x81" "a");  // Unit by unit: a trail byte changes too.
  EXPECT_STREQ(trail.upperCase().getBuffer(), "\x81" "A");
}

// --- Find -----------------------------------------------------------------

TEST(StringFind, WideTextAnswersUnitIndexes) {
  String s(L"one two one");
  EXPECT_EQ(s.find(L'o'), 0);
  EXPECT_EQ(s.find(L'o', 1), 6);
  EXPECT_EQ(s.find(L'z'), -1);
  EXPECT_EQ(s.find(L"one", 1), 8);
  EXPECT_EQ(s.find(L"onex"), -1);
  EXPECT_EQ(s.find(L"", 3), 3);
  EXPECT_EQ(s.find(L'o', 12), -1);
  EXPECT_EQ(String().find(L""), -1);
  EXPECT_EQ(String().find(0), -1);
}

TEST(StringFind, TheCharacterZeroFindsTheTerminatorFromAnyStartUpToTheLength) {
  const String wide(L"abc");
  const StringUtf8 utf8(u8("ab\xC3\xA9"));
  const StringAnsi ansi("ab\xD6\xD0");
  for (int start = 0; start <= 3; ++start) {
    EXPECT_EQ(wide.find(0, start), 3) << start;
    EXPECT_EQ(utf8.find(0, start), 4) << start;
    EXPECT_EQ(ansi.find(0, start), 4) << start;
  }
  // At the end nothing but the terminator is found.
  for (int character : {int{'a'}, int{'c'}, 0xE9, 1}) {
    EXPECT_EQ(wide.find(character, 3), -1) << character;
    EXPECT_EQ(utf8.find(character, 3), -1) << character;
    EXPECT_EQ(ansi.find(character, 3), -1) << character;
  }
  EXPECT_EQ(wide.find(0, 4), -1);
}

TEST(StringFind, EightBitFormsMatchWholeCharactersAndAnswerByteOffsets) {
  StringUtf8 s(u8("\xC3\xA9x\xC3\xA9y"));
  EXPECT_EQ(s.find('x'), 2);
  EXPECT_EQ(s.find('y', 2), 5);  // `start` counts characters.
  EXPECT_EQ(s.find(0xE9, 1), 3);
  EXPECT_EQ(s.find(u8("\xC3\xA9y")), 3);
  EXPECT_EQ(s.find(u8(""), 3), 5);
  EXPECT_EQ(s.find(u8("yy")), -1);
  EXPECT_EQ(StringUtf8().find(u8("")), -1);
  // A cut-off sequence is a character of its own, never the first bytes of a
  // longer one; and nothing is read past the terminator.
  EXPECT_EQ(StringUtf8(u8("\xC3\xA9")).find(u8("\xC3")), -1);
  EXPECT_EQ(StringUtf8(u8("x\xE4\xB8\xAD")).find(u8("x\xE4\xB8")), -1);
  EXPECT_EQ(StringUtf8(u8("a\xC3" "b\xC3\xA9")).find(u8("\xC3")), 1);
  EXPECT_EQ(StringUtf8(u8("abcd")).find(u8("d\xE2\x82\xAC")), -1);
  const StringAnsi ansi("\xD6\xD0\xCE\xC4");
  EXPECT_EQ(ansi.find("\xD0\xCE"), -1);
  EXPECT_EQ(ansi.find("\xCE\xC4"), 2);
}

// --- Format ---------------------------------------------------------------

TEST(StringFormat, WritesExactBlocksInEachForm) {
  String s(L"base");
  EXPECT_EQ(s.format(L"%s=%d (%S) %s", L"answer", 42, "narrow", s.getBuffer()), 23);
  EXPECT_EQ(s, L"answer=42 (narrow) base");
  EXPECT_EQ(s.getBufferLength(), 24 * kW);
  const std::wstring longText(3000, L'w');
  EXPECT_EQ(s.format(L"[%s]", longText.c_str()), 3002);
  EXPECT_EQ(s.getBuffer()[3001], L']');
  StringAnsi a;
  EXPECT_EQ(a.format("%s-%03d", "n", 7), 5);
  EXPECT_STREQ(a.getBuffer(), "n-007");
  StringUtf8 u;
  u.format(u8("%s!"), "\xC3\xA9");
  EXPECT_EQ(u.getLength(), 2);
  EXPECT_EQ(a.format("%s", ""), 0);
  EXPECT_TRUE(isSharedEmpty(a));
}

TEST(StringFormat, AFailedFormatLeavesTheEmptyStringAndAnswersMinusOne) {
  // A wide "%ls" argument that has no narrow form, and a narrow "%s" one
  // that is no text of the locale, make the C library's formatting fail.
  String wide(L"old");
  const wchar_t bad[] = {static_cast<wchar_t>(0x7FFFFFFF), 0};
  EXPECT_EQ(wide.format(L"%S", "\xFF\xFE"), -1);
  EXPECT_TRUE(isSharedEmpty(wide));
  StringAnsi ansi("old");
  EXPECT_EQ(ansi.format("%ls", bad), -1);
  EXPECT_TRUE(isSharedEmpty(ansi));
}

// --- Replace, remove, erase, insert ---------------------------------------

TEST(StringEdit, ReplaceCountsOccurrencesWithoutOverlap) {
  String s(L"aaa");
  EXPECT_EQ(s.replace(L"aa", L"b"), 1);
  EXPECT_EQ(s, L"ba");
  String t(L"a.b.c");
  EXPECT_EQ(t.replace(L'.', L'/'), 2);
  EXPECT_EQ(t.replace(String(L"/"), String(L"--")), 2);
  EXPECT_EQ(t, L"a--b--c");
  EXPECT_EQ(t.replace(L"--", String()), 2);
  EXPECT_EQ(t.replace(String(L"abc"), L"x"), 1);
  EXPECT_EQ(t, L"x");
  for (String* e : {&s, &t}) {  // An empty search text replaces nothing.
    EXPECT_EQ(e->replace(L"", L"x") + e->replace(0, L'x') + e->remove(L"") + e->remove(0), 0);
  }
  String self(L"abab");
  EXPECT_EQ(self.replace(self.getSubString(0, 2), self), 2);
  EXPECT_EQ(self, L"abababab");
  EXPECT_EQ(self.replace(L"ab", L""), 4);
  EXPECT_TRUE(isSharedEmpty(self));
  StringUtf8 u(u8("a\xC3\xA9" "b\xC3\xA9"));
  EXPECT_EQ(u.replace(0xE9, 'e'), 2);
  EXPECT_EQ(bytesOf(u), "aebe");
}

TEST(StringEdit, ReplaceWritesInPlaceOnlyAnUnsharedBlockOfEqualLength) {
  String s(L"cat hat");
  const wchar_t* block = s.getBuffer();
  EXPECT_EQ(s.getLength(), 7);
  EXPECT_EQ(s.replace(L"zz", L"y"), 0);
  EXPECT_EQ(s.replace(L"at", L"ow"), 2);
  EXPECT_EQ(StringBlock<wchar_t>::cachedLength(s), -1);
  EXPECT_EQ(s.getBuffer(), block);
  String copy = s;
  EXPECT_EQ(s.replace(L'c', L'b'), 1);
  EXPECT_EQ(s, L"bow how");
  EXPECT_EQ(copy, L"cow how");
  String t(L"xyxy");
  EXPECT_EQ(t.replace(t.getBuffer() + 2, L"zz"), 2);  // The search text is "xy".
  EXPECT_EQ(t, L"zzzz");
}

TEST(StringEdit, RemoveEraseAndInsertCountCodeUnits) {
  String s(L"a-b-c-");
  EXPECT_EQ(s.remove(L'-'), 3);
  EXPECT_EQ(s.remove(String(L"bc")), 1);
  EXPECT_EQ(s.remove(L"zz"), 0);
  EXPECT_EQ(s, L"a");
  EXPECT_EQ(s.insert(1, L"bc"), 3);
  EXPECT_EQ(s.insert(3, L'd'), 4);
  EXPECT_EQ(s.insert(0, String(L">")), 5);
  EXPECT_EQ(s.insert(0, s), 10);
  EXPECT_EQ(s, L">abcd>abcd");
  const wchar_t* block = s.getBuffer();
  EXPECT_EQ(s.erase(1, 0), 0);
  EXPECT_EQ(s.getBuffer(), block);
  EXPECT_EQ(s.erase(1, 2), 2);
  EXPECT_EQ(s, L">cd>abcd");
  StringUtf8 u(u8("x\xC3\xA9y"));
  EXPECT_EQ(u.erase(1, 2), 2);
  EXPECT_EQ(u.insert(1, 0x20AC), 5);
  EXPECT_EQ(bytesOf(u), "x\xE2\x82\xAC" "y");
  String all(L"all");
  all.erase(0, 3);
  EXPECT_TRUE(isSharedEmpty(all));
}

TEST(StringEdit, RangesBeyondTheTextAreCutAtItsEnd) {
  String s(L"abc");
  EXPECT_EQ(s.erase(1, 10), 10);  // The count asked for, and what is there goes.
  EXPECT_EQ(s, L"a");
  EXPECT_EQ(s.insert(10, L"c"), 2);
  EXPECT_EQ(s, L"ac");
  EXPECT_EQ(s.erase(10, 5), 5);
  EXPECT_EQ(s.erase(-3, 1), 1);
  EXPECT_EQ(s, L"c");
}

// --- Threads --------------------------------------------------------------

TEST(StringThreads, CopiesMeasureTheirLengthAndLiveAndDieTogether) {
  // Fresh shared blocks measured by two threads at once: the lazy length
  // must come out right and race-free (run under ThreadSanitizer).
  std::vector<StringUtf8> left(2000, StringUtf8(u8("\xC3\xA9t\xC3\xA9 \xE2\x82\xAC")));
  for (StringUtf8& s : left) s = StringUtf8(s.getBuffer());
  std::vector<StringUtf8> right(left);
  const String shared(L"shared between threads");
  int wrong = 0, wrongHere = 0;
  std::thread other([&] {
    for (const StringUtf8& s : right) wrong += s.getLength() != 5;
    for (int i = 0; i < 5000; ++i) {
      String upper = shared;
      wrong += upper.upperCase() != L"SHARED BETWEEN THREADS";
    }
  });
  for (const StringUtf8& s : left) wrongHere += s.getLength() != 5;
  for (int i = 0; i < 5000; ++i) wrongHere += String(shared) != L"shared between threads";
  other.join();
  EXPECT_EQ(wrong + wrongHere, 0);
  EXPECT_EQ(refs(shared), 1);
}

}  // namespace
}  // namespace orvo
