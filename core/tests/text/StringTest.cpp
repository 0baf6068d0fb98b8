// Behaviour of TString in its three forms: blocks and sharing, reading,
// comparing, building, searching, formatting and editing.
#include <orvo/core/CodePage.h>
#include <orvo/core/Log.h>
#include <orvo/core/String.h>

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "text/StringBlock.h"
#include "platform/CpuFeatures.h"
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

using test::bytesOf;
using test::u8;

// --- Blocks, sharing and the empty string ---------------------------------

TEST(StringBlocks, StringIsOnePointerWithTheHeaderInFrontOfTheText) {
  EXPECT_EQ(sizeof(String), sizeof(void*));
  EXPECT_EQ(sizeof(StringAnsi), sizeof(void*));
  EXPECT_EQ(sizeof(StringUtf8), sizeof(void*));
  String s(L"abc");
  const void* buffer = s.getBuffer();
  EXPECT_EQ(*reinterpret_cast<const wchar_t* const*>(&s), buffer);
  auto* header = reinterpret_cast<const String::StringData*>(
      static_cast<const char*>(buffer) - sizeof(String::StringData));
  EXPECT_EQ(header->size, 4 * static_cast<int>(sizeof(wchar_t)));
  EXPECT_EQ(header->refCount.get(), 1);
  EXPECT_NE(header->destroy, nullptr);
}

TEST(StringBlocks, EveryEmptyStringSharesOneBlockOfOneTerminator) {
  String byDefault, fromNull(static_cast<const wchar_t*>(nullptr)), fromEmpty(L"");
  for (const String* s : {&byDefault, &fromNull, &fromEmpty}) {
    EXPECT_TRUE(isSharedEmpty(*s));
    EXPECT_EQ(s->getLength(), 0);
    ASSERT_NE(s->getBuffer(), nullptr);
    EXPECT_EQ(s->getBuffer()[0], 0);
    EXPECT_EQ(s->getBufferLength(), static_cast<int>(sizeof(wchar_t)));
  }
  EXPECT_EQ(byDefault.getBuffer(), fromEmpty.getBuffer());
  EXPECT_EQ(StringAnsi().getBufferLength(), 1);
  EXPECT_EQ(StringUtf8().getBufferLength(), 1);
}

TEST(StringBlocks, TheEmptyStringCountsItsHolders) {
  String first;
  const int before = refs(first);
  {
    String second, third;
    EXPECT_EQ(refs(first), before + 2);
  }
  EXPECT_EQ(refs(first), before);
  EXPECT_GE(before, 2);  // Its own base reference and `first`.
}

TEST(StringBlocks, BlocksAreExactlyAsLongAsTheirText) {
  EXPECT_EQ(String(L"hello").getBufferLength(), 6 * static_cast<int>(sizeof(wchar_t)));
  EXPECT_EQ(StringAnsi("hello").getBufferLength(), 6);
  EXPECT_EQ((StringAnsi("ab") + "cde").getBufferLength(), 6);
}

TEST(StringBlocks, CopiesShareTheBlockAndReleaseIt) {
  String a(L"shared text");
  {
    String b = a;
    String c;
    c = b;
    EXPECT_EQ(b.getBuffer(), a.getBuffer());
    EXPECT_EQ(c.getBuffer(), a.getBuffer());
    EXPECT_EQ(refs(a), 3);
  }
  EXPECT_EQ(refs(a), 1);
  const String& same = a;
  a = same;  // Self-assignment keeps the block alive.
  EXPECT_EQ(refs(a), 1);
  EXPECT_EQ(a, L"shared text");
}

TEST(StringBlocks, MovingLeavesTheSourceEmpty) {
  String a(L"moved");
  const wchar_t* block = a.getBuffer();
  String b(std::move(a));
  EXPECT_EQ(b.getBuffer(), block);
  EXPECT_TRUE(isSharedEmpty(a));  // NOLINT(bugprone-use-after-move)
  String c(L"other");
  c = std::move(b);
  EXPECT_EQ(c.getBuffer(), block);
  EXPECT_EQ(refs(c), 1);
}

TEST(StringBlocks, AssigningTextReusesAnUnsharedBlockOfTheSameSize) {
  String s(L"abc");
  const wchar_t* block = s.getBuffer();
  EXPECT_EQ(s.getLength(), 3);
  s = L"xyz";
  EXPECT_EQ(StringBlock<wchar_t>::cachedLength(s), -1);  // Reset by the write.
  EXPECT_EQ(s.getBuffer(), block);
  EXPECT_EQ(s, L"xyz");
  s = L"longer";
  EXPECT_NE(s.getBuffer(), block);
}

TEST(StringBlocks, AssigningTextNeverWritesASharedBlock) {
  String s(L"abc");
  String copy = s;
  s = L"xyz";
  EXPECT_EQ(copy, L"abc");
  EXPECT_EQ(s, L"xyz");
  EXPECT_NE(s.getBuffer(), copy.getBuffer());
}

TEST(StringBlocks, AssigningEmptyTextMakesABlockOfItsOwnButNullSharesTheEmptyOne) {
  String s(L"abc");
  s = L"";
  EXPECT_FALSE(isSharedEmpty(s));
  EXPECT_EQ(s.getLength(), 0);
  EXPECT_EQ(s, String());  // Equal although the blocks differ.
  s = static_cast<const wchar_t*>(nullptr);
  EXPECT_TRUE(isSharedEmpty(s));
  String empty;
  empty = L"";  // The shared empty block is shared: never written.
  EXPECT_FALSE(isSharedEmpty(empty));
  EXPECT_EQ(String().getBuffer()[0], 0);
}

TEST(StringBlocks, AssigningATextFromInsideTheStringItself) {
  String s(L"prefix-rest");
  s = s.getBuffer() + 7;
  EXPECT_EQ(s, L"rest");
  String same(L"same");
  same = same.getBuffer();
  EXPECT_EQ(same, L"same");
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
  {
    StringBlock<wchar_t> block(600000000);  // Beyond the 32-bit size of a block.
    EXPECT_FALSE(block);
  }
  Log::removeListener(&collector);
  ASSERT_EQ(collector.errors.size(), 1u);
  EXPECT_EQ(collector.errors[0], L"Allocate memory(2400000036) error!");
}

// --- Construction ---------------------------------------------------------

TEST(StringConstruction, FromTextAndACharacterCount) {
  EXPECT_EQ(String(L"abcdef", 3), L"abc");
  EXPECT_TRUE(isSharedEmpty(String(L"abc", 0)));
  EXPECT_TRUE(isSharedEmpty(String(L"abc", -2)));
  // Trailing zero units of the range are dropped.
  const wchar_t padded[6] = {L'a', L'b', 0, 0, 0, 0};
  EXPECT_EQ(String(padded, 6).getBufferLength(), 3 * static_cast<int>(sizeof(wchar_t)));
  const wchar_t zeros[3] = {0, 0, 0};
  EXPECT_TRUE(isSharedEmpty(String(zeros, 3)));
}

TEST(StringConstruction, TheCountIsInCharactersForUtf8) {
  // "é" is two bytes, "€" three.
  StringUtf8 s(u8("\xC3\xA9\xE2\x82\xAC" "x"), 2);
  EXPECT_EQ(bytesOf(s), "\xC3\xA9\xE2\x82\xAC");
  EXPECT_EQ(s.getLength(), 2);
}

TEST(StringConstruction, TheCountIsInCharactersForCodePageText) {
  // A byte with the high bit set opens a two-byte character.
  StringAnsi s("\xD6\xD0" "ab", 2);
  EXPECT_STREQ(s.getBuffer(), "\xD6\xD0" "a");
}

TEST(StringConstruction, FromOneCharacter) {
  EXPECT_EQ(String(L'x'), L"x");
  EXPECT_EQ(String(0x1F600).getBuffer()[0], static_cast<wchar_t>(0x1F600));
  EXPECT_TRUE(isSharedEmpty(String(0)));
  EXPECT_TRUE(isSharedEmpty(StringAnsi(0)));
  EXPECT_STREQ(StringAnsi(65).getBuffer(), "A");
  EXPECT_EQ(bytesOf(StringUtf8(0x20AC)), "\xE2\x82\xAC");
}

// --- Reading --------------------------------------------------------------

TEST(StringReading, LengthCountsCharactersInEachForm) {
  EXPECT_EQ(String(L"h\u00e9llo").getLength(), 5);
  EXPECT_EQ(StringUtf8(u8("h\xC3\xA9llo")).getLength(), 5);
  EXPECT_EQ(StringAnsi("h\xE9llo").getLength(), 4);  // é takes the l with it.
}

TEST(StringReading, LengthIsCachedInTheBlock) {
  StringUtf8 s(u8("\xC3\xA9\xC3\xA9"));
  EXPECT_EQ(StringBlock<unsigned char>::cachedLength(s), -1);
  EXPECT_EQ(s.getLength(), 2);
  EXPECT_EQ(StringBlock<unsigned char>::cachedLength(s), 2);
}

TEST(StringReading, IndexCountsCharacters) {
  StringUtf8 s(u8("\xD0\xB0x"));  // Cyrillic a, then x.
  EXPECT_EQ(s.getLength(), 2);
  EXPECT_EQ(s[0], 0x430);
  EXPECT_EQ(s[1], 'x');
  EXPECT_EQ(String(L"abc")[2], L'c');
}

TEST(StringReading, SubStringCountsCharacters) {
  String s(L"hello world");
  EXPECT_EQ(s.getSubString(6, 5), L"world");
  EXPECT_EQ(s.getSubString(0, s.getLength()).getBuffer(), s.getBuffer());  // Shares.
  EXPECT_TRUE(isSharedEmpty(s.getSubString(3, 0)));
  StringUtf8 u(u8("\xC3\xA9t\xC3\xA9"));
  EXPECT_EQ(bytesOf(u.getSubString(1, 2)), "t\xC3\xA9");
}

// --- Comparison -----------------------------------------------------------

TEST(StringComparison, CompareAnswersTheSignOfTheFirstDifference) {
  String s(L"abc");
  EXPECT_EQ(s.compare(L"abc"), 0);
  EXPECT_EQ(s.compare(L"abd"), -1);
  EXPECT_EQ(s.compare(L"abb"), 1);
  EXPECT_EQ(s.compare(L"ab"), 1);
  EXPECT_EQ(s.compare(L"abcd"), -1);
  EXPECT_EQ(s.compare(nullptr), 1);
  EXPECT_EQ(String().compare(nullptr), 0);
  EXPECT_EQ(s.compare(s.getBuffer()), 0);
}

TEST(StringComparison, WideUnitsCompareAsUnsignedValues) {
  const wchar_t high[] = {static_cast<wchar_t>(0x80000000u), 0};
  EXPECT_EQ(String(high).compare(L"a"), 1);
  EXPECT_EQ(String(L"a").compare(String(high)), -1);
  EXPECT_EQ(String(L"\U0001F600").compare(L"\uFFFF"), 1);
}

TEST(StringComparison, LongTextsDifferingAnywhere) {
  // Crosses the vector width of the scanning loop at every position.
  for (platform::Simd level : {platform::Simd::Avx2, platform::Simd::Portable}) {
    platform::limitSimd(level);
    std::wstring base(67, L'q');
    for (std::size_t i = 0; i < base.size(); ++i) {
      std::wstring other = base;
      other[i] = L'r';
      EXPECT_EQ(String(base.c_str()).compare(String(other.c_str())), -1) << i;
      EXPECT_EQ(String(other.c_str()).compare(base.c_str()), 1) << i;
      EXPECT_EQ(String(base.c_str()).compare(std::wstring(base, 0, i).c_str()), 1) << i;
      EXPECT_EQ(String(std::wstring(base, 0, i).c_str()).compare(String(base.c_str())), -1) << i;
    }
  }
  platform::limitSimd(platform::Simd::Avx2);
}

TEST(StringComparison, EmbeddedTerminatorsEndTheComparison) {
  const wchar_t a[] = {L'a', 0, L'b'};
  const wchar_t b[] = {L'a', 0, L'c'};
  EXPECT_EQ(String(a, 3).compare(String(b, 3)), 0);
  EXPECT_EQ(String(a, 3).compare(L"a"), 0);
}

TEST(StringComparison, EmbeddedTerminatorsInLongTexts) {
  // The stopping scan, across its vector blocks, with and without them.
  for (platform::Simd level : {platform::Simd::Avx2, platform::Simd::Portable}) {
    platform::limitSimd(level);
    for (std::size_t at = 0; at < 70; ++at) {
      std::wstring a(80, L'k'), b(80, L'k');
      a[at] = 0;
      b[at] = 0;
      b[at + 1] = L'z';
      EXPECT_EQ(String(a.c_str(), 80).compare(String(b.c_str(), 80)), 0) << at;
      b[at] = L'a';
      EXPECT_EQ(String(a.c_str(), 80).compare(String(b.c_str(), 80)), -1) << at;
      EXPECT_EQ(String(b.c_str(), 80).compare(String(a.c_str(), 80)), 1) << at;
    }
  }
  platform::limitSimd(platform::Simd::Avx2);
}

TEST(StringComparison, EightBitFormsCompareCharacterCodes) {
  EXPECT_EQ(StringUtf8(u8("\xC3\xA9")).compare(u8("z")), 1);  // 0xE9 > 'z'
  EXPECT_EQ(StringUtf8(u8("abc")).compare(u8("abd")), -1);
  EXPECT_EQ(StringUtf8(u8("ab")).compare(u8("abc")), -1);
  EXPECT_EQ(StringAnsi("abc").compare("abc"), 0);
  EXPECT_EQ(StringAnsi("abc").compare(nullptr), 1);
}

TEST(StringComparison, CompareNoCaseFoldsAsciiLettersOnly) {
  EXPECT_EQ(String(L"Hello").compareNoCase(L"hELLO"), 0);
  EXPECT_EQ(String(L"\u00C9").compareNoCase(L"\u00E9"), -1);  // No folding beyond ASCII.
  EXPECT_EQ(String(L"A").compareNoCase(L"_"), 1);  // Folded to 'a', above '_'.
  EXPECT_EQ(StringUtf8(u8("ABC")).compareNoCase(u8("abd")), -1);
  EXPECT_EQ(StringAnsi("Zebra").compareNoCase("zEBRA"), 0);
  EXPECT_EQ(StringAnsi("[").compareNoCase("a"), -1);
}

TEST(StringComparison, Operators) {
  String b(L"b");
  EXPECT_TRUE(b == L"b");
  EXPECT_TRUE(b != L"a");
  EXPECT_TRUE(b > L"a");
  EXPECT_TRUE(b < L"c");
  EXPECT_TRUE(b >= L"b");
  EXPECT_TRUE(b <= L"b");
  EXPECT_TRUE(b == String(L"b"));
  EXPECT_TRUE(b != String(L"bb"));
  EXPECT_TRUE(String() == String(L""));
  EXPECT_TRUE(String(L"a") < String(L"b"));
}

// --- Building -------------------------------------------------------------

TEST(StringBuilding, ConcatenationSharesWhenOneSideIsEmpty) {
  String left(L"left");
  EXPECT_EQ((left + String()).getBuffer(), left.getBuffer());
  EXPECT_EQ((left + static_cast<const wchar_t*>(nullptr)).getBuffer(), left.getBuffer());
  EXPECT_EQ((String() + left).getBuffer(), left.getBuffer());
  EXPECT_EQ(left + L"-right", L"left-right");
  EXPECT_EQ(left + String(L"!"), L"left!");
}

TEST(StringBuilding, PointerOnTheLeft) {
  String name(L"name");
  EXPECT_EQ(L"the " + name, L"the name");
  EXPECT_EQ(static_cast<const wchar_t*>(nullptr) + name, L"name");
  EXPECT_EQ((L"" + name).getBuffer(), name.getBuffer());
  EXPECT_EQ(L"only" + String(), L"only");
  EXPECT_STREQ(("x" + StringAnsi("y")).getBuffer(), "xy");
}

TEST(StringBuilding, AppendingDoesNotChangeCopies) {
  String s(L"a");
  String copy = s;
  s += L"b";
  s += String(L"c");
  s += L'd';
  s += 0;
  EXPECT_EQ(s, L"abcd");
  EXPECT_EQ(copy, L"a");
  s += s;
  EXPECT_EQ(s, L"abcdabcd");
  StringUtf8 u;
  u += 0x20AC;
  EXPECT_EQ(bytesOf(u), "\xE2\x82\xAC");
}

// --- Trim and case --------------------------------------------------------

TEST(StringTrim, RemovesTheSixAsciiSpacesAtTheEnds) {
  String s(L" \t\r\n\v\fword word\f\v\n\r\t ");
  s.trim();
  EXPECT_EQ(s, L"word word");
  String nbsp(L"\u00A0x\u00A0");
  nbsp.trim();
  EXPECT_EQ(nbsp, L"\u00A0x\u00A0");
}

TEST(StringTrim, NothingToTrimKeepsTheBlock) {
  String s(L"clean");
  const wchar_t* block = s.getBuffer();
  s.trim();
  EXPECT_EQ(s.getBuffer(), block);
}

TEST(StringTrim, OnlySpacesGiveTheSharedEmptyString) {
  String s(L"   ");
  s.trim();
  EXPECT_TRUE(isSharedEmpty(s));
  StringUtf8 u(u8(" \t "));
  u.trimRight();
  EXPECT_TRUE(isSharedEmpty(u));
}

TEST(StringTrim, EightBitFormsStepByCharacter) {
  StringUtf8 u(u8("  \xC3\xA9 \xE2\x82\xAC  "));
  u.trim();
  EXPECT_EQ(bytesOf(u), "\xC3\xA9 \xE2\x82\xAC");
  // A stray byte whose low bits are a tab is no space.
  StringUtf8 stray(u8("\x89x\x89"));
  stray.trim();
  EXPECT_EQ(bytesOf(stray), "\x89x\x89");
  StringAnsi a("  ab  ");
  a.trim();
  EXPECT_STREQ(a.getBuffer(), "ab");
}

TEST(StringCase, ChangesAsciiLettersUnitByUnit) {
  String s(L"Mixed \u00e9 Case 1");
  s.upperCase();
  EXPECT_EQ(s, L"MIXED \u00e9 CASE 1");
  s.lowerCase();
  EXPECT_EQ(s, L"mixed \u00e9 case 1");
}

TEST(StringCase, ChangesOnlyTheCopyItIsCalledOn) {
  String a(L"text");
  String b = a;
  b.upperCase();
  EXPECT_EQ(a, L"text");
  EXPECT_EQ(b, L"TEXT");
  EXPECT_NE(a.getBuffer(), b.getBuffer());
  EXPECT_EQ(refs(a), 1);
  const wchar_t* own = b.getBuffer();
  b.lowerCase();  // Unshared now: in place.
  EXPECT_EQ(b.getBuffer(), own);
}

TEST(StringCase, TheEmptyStringStaysShared) {
  String e;
  e.upperCase();
  EXPECT_TRUE(isSharedEmpty(e));
}

TEST(StringCase, TrailBytesOfCodePageTextChangeToo) {
  // Unit by unit: the trail byte 'a' of a double-byte character changes.
  StringAnsi s("\x81" "a");
  s.upperCase();
  EXPECT_STREQ(s.getBuffer(), "\x81" "A");
}

// --- Find -----------------------------------------------------------------

TEST(StringFind, CharactersAndTextsInWideText) {
  String s(L"one two one");
  EXPECT_EQ(s.find(L'o'), 0);
  EXPECT_EQ(s.find(L'o', 1), 6);
  EXPECT_EQ(s.find(L'z'), -1);
  EXPECT_EQ(s.find(0), 11);  // The terminator.
  EXPECT_EQ(s.find(L"one"), 0);
  EXPECT_EQ(s.find(L"one", 1), 8);
  EXPECT_EQ(s.find(L"onex"), -1);
  EXPECT_EQ(s.find(L"", 3), 3);
}

TEST(StringFind, Utf8TextMatchesWholeCharactersOnly) {
  // A needle that ends in a cut-off sequence (a stray lead byte, or a lead
  // and one continuation byte) is a character of its own, not the first
  // bytes of a longer one.
  const StringUtf8 accented(u8("\xC3\xA9"));
  EXPECT_EQ(accented.find(u8("\xC3")), -1);
  const StringUtf8 han(u8("x\xE4\xB8\xAD"));
  EXPECT_EQ(han.find(u8("x\xE4\xB8")), -1);
  EXPECT_EQ(han.find(u8("\xE4\xB8")), -1);
  EXPECT_EQ(han.find(u8("\xE4\xB8\xAD")), 1);
  // The stray byte is found where it stands alone.
  EXPECT_EQ(StringUtf8(u8("a\xC3" "b\xC3\xA9")).find(u8("\xC3")), 1);
  EXPECT_EQ(StringUtf8(u8("\xC3\xA9\xC3" "b")).find(u8("\xC3" "b")), 2);
}

TEST(StringFind, CodePageTextMatchesWholeCharactersOnly) {
  // A byte with the high bit set opens a two-byte character: D6 D0 is one,
  // and the D0 inside it is no place for a match.
  const StringAnsi text("\xD6\xD0\xCE\xC4");
  EXPECT_EQ(text.find("\xD0\xCE"), -1);
  EXPECT_EQ(text.find("\xCE\xC4"), 2);
}

TEST(StringFind, NothingIsFoundInAnEmptyString) {
  EXPECT_EQ(String().find(L""), -1);
  EXPECT_EQ(String().find(0), -1);
  EXPECT_EQ(StringUtf8().find(u8("")), -1);
}

TEST(StringFind, EightBitFormsAnswerByteOffsets) {
  StringUtf8 s(u8("\xC3\xA9x\xC3\xA9y"));
  EXPECT_EQ(s.find('x'), 2);
  EXPECT_EQ(s.find('y', 2), 5);     // start counts characters
  EXPECT_EQ(s.find(0xE9, 1), 3);
  EXPECT_EQ(s.find(u8("\xC3\xA9y")), 3);
  EXPECT_EQ(s.find(u8(""), 3), 5);  // the offset of character 3
  EXPECT_EQ(s.find(0), 6);
  EXPECT_EQ(s.find(u8("yy")), -1);
  EXPECT_EQ(StringAnsi("abcabc").find("ca"), 2);
}

TEST(StringFind, GivesUpWhenTooFewCharactersAreLeft) {
  // The text has fewer bytes left than the needle although more characters:
  // nothing may be read past the terminator.
  StringUtf8 s(u8("abcd"));
  EXPECT_EQ(s.find(u8("d\xE2\x82\xAC")), -1);
}

// --- Format ---------------------------------------------------------------

TEST(StringFormat, WideFormatsTakeWideStringsForPercentS) {
  String s;
  const int written = s.format(L"%s=%d (%S)", L"answer", 42, "narrow");
  EXPECT_EQ(s, L"answer=42 (narrow)");
  EXPECT_EQ(written, 18);
  EXPECT_EQ(s.getBufferLength(), 19 * static_cast<int>(sizeof(wchar_t)));
}

TEST(StringFormat, AnArgumentMayBeTheStringItself) {
  String s(L"base");
  s.format(L"%s+%s", s.getBuffer(), s.getBuffer());
  EXPECT_EQ(s, L"base+base");
}

TEST(StringFormat, LongResultsAreMeasuredFirst) {
  std::wstring longText(3000, L'w');
  String s;
  EXPECT_EQ(s.format(L"[%s]", longText.c_str()), 3002);
  EXPECT_EQ(s.getLength(), 3002);
  EXPECT_EQ(s.getBuffer()[3001], L']');
}

TEST(StringFormat, EightBitForms) {
  StringAnsi a;
  EXPECT_EQ(a.format("%s-%03d", "n", 7), 5);
  EXPECT_STREQ(a.getBuffer(), "n-007");
  StringUtf8 u;
  u.format(u8("%s!"), "\xC3\xA9");
  EXPECT_EQ(bytesOf(u), "\xC3\xA9!");
  EXPECT_EQ(u.getLength(), 2);
  StringAnsi empty("x");
  EXPECT_EQ(empty.format("%s", ""), 0);
  EXPECT_TRUE(isSharedEmpty(empty));
}

// --- Replace, remove, erase, insert ---------------------------------------

TEST(StringReplace, CountsOccurrencesWithoutOverlap) {
  String s(L"aaa");
  EXPECT_EQ(s.replace(L"aa", L"b"), 1);
  EXPECT_EQ(s, L"ba");
  String t(L"a.b.c");
  EXPECT_EQ(t.replace(L'.', L'/'), 2);
  EXPECT_EQ(t, L"a/b/c");
  EXPECT_EQ(t.replace(String(L"/"), String(L"--")), 2);
  EXPECT_EQ(t, L"a--b--c");
  EXPECT_EQ(t.replace(L"--", String()), 2);
  EXPECT_EQ(t, L"abc");
  EXPECT_EQ(t.replace(String(L"abc"), L"x"), 1);
  EXPECT_EQ(t, L"x");
}

TEST(StringReplace, EqualLengthsWorkInPlaceOnAnUnsharedBlock) {
  String s(L"cat hat");
  const wchar_t* block = s.getBuffer();
  EXPECT_EQ(s.getLength(), 7);
  EXPECT_EQ(s.replace(L"at", L"ow"), 2);
  EXPECT_EQ(StringBlock<wchar_t>::cachedLength(s), -1);
  EXPECT_EQ(s.getBuffer(), block);
  EXPECT_EQ(s, L"cow how");
  EXPECT_EQ(s.replace(L"ow", L"a"), 2);
  EXPECT_NE(s.getBuffer(), block);
}

TEST(StringReplace, ASharedBlockIsNeverWritten) {
  String s(L"cat");
  String copy = s;
  EXPECT_EQ(s.replace(L'c', L'b'), 1);
  EXPECT_EQ(s, L"bat");
  EXPECT_EQ(copy, L"cat");
}

TEST(StringReplace, NoOccurrenceKeepsTheBlock) {
  String s(L"text");
  const wchar_t* block = s.getBuffer();
  EXPECT_EQ(s.replace(L"zz", L"y"), 0);
  EXPECT_EQ(s.getBuffer(), block);
}

TEST(StringReplace, AnEmptySearchTextReplacesNothing) {
  String s(L"abc");
  EXPECT_EQ(s.replace(L"", L"x"), 0);
  EXPECT_EQ(s.replace(0, L'x'), 0);
  EXPECT_EQ(s.remove(L""), 0);
  EXPECT_EQ(s.remove(0), 0);
  EXPECT_EQ(s, L"abc");
}

TEST(StringReplace, TextsFromTheStringItself) {
  String s(L"abab");
  EXPECT_EQ(s.replace(s.getSubString(0, 2), s), 2);
  EXPECT_EQ(s, L"abababab");
  String t(L"xyxy");
  EXPECT_EQ(t.replace(t.getBuffer() + 2, L"zz"), 2);  // The search text is "xy".
  EXPECT_EQ(t, L"zzzz");
}

TEST(StringReplace, EverythingReplacedByNothingIsTheSharedEmptyString) {
  String s(L"aaaa");
  EXPECT_EQ(s.replace(L"a", L""), 4);
  EXPECT_TRUE(isSharedEmpty(s));
}

TEST(StringReplace, Utf8CharactersAsCodes) {
  StringUtf8 s(u8("a\xC3\xA9" "b\xC3\xA9"));
  EXPECT_EQ(s.replace(0xE9, 'e'), 2);
  EXPECT_EQ(bytesOf(s), "aebe");
}

TEST(StringRemove, RemovesEveryOccurrence) {
  String s(L"a-b-c-");
  EXPECT_EQ(s.remove(L'-'), 3);
  EXPECT_EQ(s, L"abc");
  EXPECT_EQ(s.remove(String(L"bc")), 1);
  EXPECT_EQ(s, L"a");
  EXPECT_EQ(s.remove(L"zz"), 0);
}

TEST(StringErase, CountsCodeUnits) {
  String s(L"abcdef");
  const wchar_t* block = s.getBuffer();
  EXPECT_EQ(s.erase(1, 0), 0);
  EXPECT_EQ(s.getBuffer(), block);
  EXPECT_EQ(s.erase(1, 2), 2);
  EXPECT_EQ(s, L"adef");
  // In UTF-8 a position counts bytes: erase the two bytes of é.
  StringUtf8 u(u8("x\xC3\xA9y"));
  EXPECT_EQ(u.erase(1, 2), 2);
  EXPECT_EQ(bytesOf(u), "xy");
  String all(L"all");
  all.erase(0, 3);
  EXPECT_TRUE(isSharedEmpty(all));
}

TEST(StringInsert, ReturnsTheNewLengthInCodeUnits) {
  String s(L"ad");
  EXPECT_EQ(s.insert(1, L"bc"), 4);
  EXPECT_EQ(s, L"abcd");
  EXPECT_EQ(s.insert(4, L'e'), 5);
  EXPECT_EQ(s.insert(0, String(L">")), 6);
  EXPECT_EQ(s, L">abcde");
  EXPECT_EQ(s.insert(0, s), 12);
  EXPECT_EQ(s, L">abcde>abcde");
  StringUtf8 u(u8("ab"));
  EXPECT_EQ(u.insert(1, 0x20AC), 5);  // Three bytes of the euro sign.
  EXPECT_EQ(bytesOf(u), "a\xE2\x82\xAC" "b");
}

TEST(StringInsert, PositionsBeyondTheTextStayInsideTheBlock) {
  String s(L"ab");
  EXPECT_EQ(s.insert(10, L"c"), 3);
  EXPECT_EQ(s, L"abc");
  EXPECT_EQ(s.erase(10, 5), 5);
  EXPECT_EQ(s, L"abc");
}

// --- Threads --------------------------------------------------------------

TEST(StringThreads, CopiesOfOneStringMeasureTheirLengthTogether) {
  // Many fresh shared blocks, each measured by two threads at once: the lazy
  // length must come out right and race-free (run under ThreadSanitizer).
  constexpr int kRounds = 2000;
  std::vector<StringUtf8> originals;
  for (int i = 0; i < kRounds; ++i) originals.emplace_back(u8("\xC3\xA9t\xC3\xA9 \xE2\x82\xAC"));
  std::vector<StringUtf8> left(originals), right(originals);
  int wrong = 0;
  std::thread other([&] {
    for (const StringUtf8& s : right) wrong += s.getLength() != 5;
  });
  int wrongHere = 0;
  for (const StringUtf8& s : left) wrongHere += s.getLength() != 5;
  other.join();
  EXPECT_EQ(wrong + wrongHere, 0);
}

TEST(StringThreads, CopiesLiveAndDieOnManyThreads) {
  String shared(L"shared between threads");
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([shared] {
      for (int i = 0; i < 5000; ++i) {
        String copy = shared;
        String upper = copy;
        upper.upperCase();
        ASSERT_EQ(copy, L"shared between threads");
      }
    });
  }
  for (std::thread& t : threads) t.join();
  EXPECT_EQ(refs(shared), 1);
}

}  // namespace
}  // namespace orvo
