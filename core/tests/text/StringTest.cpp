// Behaviour of TString in its three forms: blocks and sharing, reading,
// comparing, building, searching, formatting and editing.
#include <orvo/core/String.h>
#include <orvo/core/StringHelper.h>

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include "diagnostics/LogCollector.h"
#include "platform/CpuFeatures.h"
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
  EXPECT_EQ((StringAnsi("ab") + "cde").getBufferLength(), 6);
}

// Whatever offset the heap gives, texts of 256 bytes and more start on a
// 32-byte boundary. glibc's heap gives both offsets here, so blocks that had
// to be moved up are among them, and freeing one from anywhere but where it
// was allocated would abort.
TEST(StringBlocks, LongTextsStartOnA32ByteBoundary) {
  std::vector<String> texts;
  for (std::size_t i = 0; i < 40; ++i) {
    texts.emplace_back(std::wstring(63 + i * 7, L'w').c_str());
    ASSERT_EQ(reinterpret_cast<std::uintptr_t>(texts.back().getBuffer()) % 32, 0u) << i;
  }
}

TEST(StringBlocks, EveryEmptyStringSharesOneCountedBlock) {
  String byDefault, fromNull(static_cast<const wchar_t*>(nullptr)), fromEmpty(L"");
  const int before = refs(byDefault);
  for (const String* s : {&byDefault, &fromNull, &fromEmpty}) {
    EXPECT_EACH({{isSharedEmpty(*s), true}, {s->getLength(), 0}, {s->getBuffer()[0], 0}, {s->getBufferLength(), kW}});
  }
  const int during = String().getBufferLength() + refs(byDefault);  // The temporary holds one more.
  EXPECT_EACH({{during, kW + before + 1}, {refs(byDefault), before}, {StringAnsi().getBufferLength(), 1}});
}

TEST(StringBlocks, CopiesAndMovesShareTheBlock) {
  String a(L"shared text");
  {
    String b = a, c;
    c = b;
    EXPECT_EQ(c.getBuffer(), a.getBuffer());
    EXPECT_EQ(refs(a), 3);
  }
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
  const int length = s.getLength();
  s = L"xyz";
  EXPECT_EACH({{length, 3}, {StringBlock<wchar_t>::cachedLength(s), -1}, {s.getBuffer() == block, true}});
  String copy = s;
  s = L"uvw";
  EXPECT_EQ(copy, L"xyz");
  s = s.getBuffer() + 1;  // A text from inside the string itself.
  EXPECT_EQ(s, L"vw");
  s = L"";  // Unlike the constructor: a block of its own.
  EXPECT_TRUE(!isSharedEmpty(s) && s == String());
  s = static_cast<const wchar_t*>(nullptr);
  EXPECT_TRUE(isSharedEmpty(s));
}

TEST(StringBlocks, AFailedAllocationIsLoggedAndGivesNoBlock) {
  LogCollector log;
  EXPECT_FALSE(StringBlock<wchar_t>(600000000));  // Beyond the 32-bit size of a block.
  EXPECT_EQ(log.errors, std::vector<std::wstring>{L"Allocate memory(2400000036) error!"});
}

// --- Construction and reading ---------------------------------------------

TEST(StringReading, CountsAreInCharactersAndStopAtTheEnd) {
  EXPECT_EQ(String(L"abcdef", 3), L"abc");
  const wchar_t padded[6] = {L'a', L'b', 0, 0, 0, 0};
  EXPECT_EACH({{isSharedEmpty(String(L"abc", -2)), true}, {isSharedEmpty(StringAnsi(0)), true},
               {String(padded, 6).getBufferLength(), 3 * kW},
               {String(L"ab", 1000).getBufferLength(), 3 * kW},  // Nothing beyond is read.
               {String(0x1F600).getBuffer()[0], 0x1F600}});
  EXPECT_EQ(bytesOf(StringUtf8(u8("\xC3\xA9\xE2\x82\xAC" "x"), 2)), "\xC3\xA9\xE2\x82\xAC");
  EXPECT_EQ(bytesOf(StringUtf8(u8("\xC3\xA9"), 9)), "\xC3\xA9");
  EXPECT_STREQ(StringAnsi("\xD6\xD0" "ab", 2).getBuffer(), "\xD6\xD0" "a");
  EXPECT_STREQ(StringAnsi("a\xD6", 5).getBuffer(), "a\xD6");
  EXPECT_STREQ(StringAnsi(65).getBuffer(), "A");
}

TEST(StringReading, LengthIndexAndSubStringCountCharactersInsideTheText) {
  StringUtf8 u(u8("\xD0\xB0x\xC3\xA9"));
  const int uncached = StringBlock<unsigned char>::cachedLength(u);
  const String s(L"hello world");
  EXPECT_EACH({{uncached, -1}, {u.getLength(), 3}, {StringBlock<unsigned char>::cachedLength(u), 3},
                    {String(L"h\u00e9llo").getLength(), 5}, {StringAnsi("h\xE9llo").getLength(), 4},
                    {u[0], 0x430}, {u[1], 'x'}, {u[50], 0}, {s[4], L'o'}, {s[11], 0}, {s[100], 0}, {s[-1], 0}});
  EXPECT_EQ(bytesOf(u.getSubString(1, 2)), "x\xC3\xA9");
  EXPECT_EQ(bytesOf(u.getSubString(2, 100)), "\xC3\xA9");
  EXPECT_TRUE(isSharedEmpty(u.getSubString(7, 1)));
  EXPECT_EQ(s.getSubString(0, 11).getBuffer(), s.getBuffer());
  for (const auto& [start, count, part] : {std::tuple{6, 5, L"world"}, {0, 10, L"hello worl"}, {3, 0, L""},
                                           {9, 100, L"ld"}, {100, 2, L""}, {-5, 2, L"he"}}) {
    EXPECT_EQ(s.getSubString(start, count), part) << start;
    EXPECT_EQ(isSharedEmpty(s.getSubString(start, count)), *part == 0) << start;
  }
}

// --- Comparison -----------------------------------------------------------

std::wstring widen(const char* text) { return text ? std::wstring(text, text + std::strlen(text)) : L""; }

TEST(StringComparison, SignOfTheFirstDifferingCharacterInEachForm) {
  const std::tuple<const char*, const char*, int> cases[] = {
      {"abc", "abc", 0}, {"abc", "abd", -1}, {"abc", "abb", 1}, {"abc", "ab", 1},
      {"abc", "abcd", -1}, {"abc", nullptr, 1}, {"", nullptr, 0}};
  for (const auto& [leftText, rightText, expected] : cases) {
    const std::wstring left = widen(leftText), right = widen(rightText);
    const wchar_t* wideRight = rightText ? right.c_str() : nullptr;
    EXPECT_EQ(String(left.c_str()).compare(wideRight), expected) << leftText;
    EXPECT_EQ(String(left.c_str()).compare(String(wideRight)), expected) << leftText;
    EXPECT_EQ(String(wideRight).compare(String(left.c_str())), -expected) << leftText;
    EXPECT_EQ(StringAnsi(leftText).compare(rightText), expected) << leftText;
    EXPECT_EQ(StringUtf8(u8(leftText)).compare(rightText ? u8(rightText) : nullptr), expected) << leftText;
  }
  EXPECT_EQ(StringUtf8(u8("\xC3\xA9")).compare(u8("z")), 1);  // Code 0xE9 against 'z'.
  EXPECT_EQ(String(L"\u00e9").compare(L"z"), 1);
  // One code point per wchar_t: above U+FFFF the order is by code point.
  EXPECT_EQ(String(L"\U0001F600").compare(L"\uFFFF"), 1);
}

TEST(StringComparison, NoCaseFoldsAsciiLettersOnlyAndOperatorsFollowCompare) {
  EXPECT_EACH({{String(L"Hello").compareNoCase(L"hELLO"), 0}, {String(L"\u00C9").compareNoCase(L"\u00E9"), -1},
                    {String(L"A").compareNoCase(L"_"), 1}, {StringUtf8(u8("ABC")).compareNoCase(u8("abd")), -1},
                    {StringAnsi("Zebra").compareNoCase("zEBRA"), 0}, {StringAnsi("[").compareNoCase("a"), -1}});
  String b(L"b");
  EXPECT_TRUE(b == L"b" && b != L"a" && b > L"a" && b < L"c" && b >= L"b" && b <= L"b");
  EXPECT_FALSE(b > L"b" || b < L"b" || b >= L"c" || b <= L"a");
  EXPECT_TRUE(b != String(L"bb") && String() == String(L""));
}

// --- Building, trimming, case ---------------------------------------------

TEST(StringBuilding, ConcatenationSharesAnEmptySideAndLeavesCopiesAlone) {
  String left(L"left");
  for (const String& shared : {left + String(), left + static_cast<const wchar_t*>(nullptr), String() + left,
                               L"" + left}) {
    EXPECT_EQ(shared.getBuffer(), left.getBuffer());
  }
  EXPECT_EQ(L"only" + String() + (String() + L"!"), L"only!");
  String s = left;
  s += L"b";
  s += String(L"c");
  s += L'd';
  s += 0;
  s += s;
  EXPECT_EQ(L"<" + s + L">", L"<leftbcdleftbcd>");
  EXPECT_EQ(left, L"left");
  StringUtf8 u;
  EXPECT_EQ(bytesOf(u += 0x20AC), "\xE2\x82\xAC");
}

TEST(StringTrim, RemovesTheSixAsciiSpacesByCharacter) {
  String s(L" \t\r\n\v\fword word\f\v\n\r\t ");
  EXPECT_EQ(s.trim(), L"word word");
  String nbsp(L"\u00A0x\u00A0");
  const wchar_t* block = nbsp.getBuffer();
  EXPECT_EQ(nbsp.trim().getBuffer(), block);
  EXPECT_TRUE(isSharedEmpty(String(L"   ").trim()));
  EXPECT_EQ(bytesOf(StringUtf8(u8("  \xC3\xA9 \xE2\x82\xAC  ")).trim()), "\xC3\xA9 \xE2\x82\xAC");
  // Stray bytes decode to U+FFFD, no space.
  EXPECT_EQ(bytesOf(StringUtf8(u8("\x89x\x89")).trim()), "\x89x\x89");
  StringAnsi a("  ab  ");
  EXPECT_STREQ(a.trimLeft().getBuffer(), "ab  ");
  EXPECT_STREQ(a.trimRight().getBuffer(), "ab");
}

TEST(StringCase, ChangesAsciiUnitsOfTheOneCopyOnly) {
  String a(L"Mixed \u00e9 Case z");
  String b = a;
  EXPECT_EQ(b.upperCase(), L"MIXED \u00e9 CASE Z");
  EXPECT_EQ(a, L"Mixed \u00e9 Case z");
  EXPECT_EQ(refs(a), 1);
  const wchar_t* own = b.getBuffer();
  EXPECT_EQ(b.lowerCase(), L"mixed \u00e9 case z");
  EXPECT_EQ(b.getBuffer(), own);
  EXPECT_TRUE(isSharedEmpty(String().upperCase()));
  // Unit by unit: a trail byte changes too.
  EXPECT_STREQ(StringAnsi("\x81" "a").upperCase().getBuffer(), "\x81" "A");
}

// --- Find -----------------------------------------------------------------

TEST(StringFind, PositionsOfCharactersAndTexts) {
  const String s(L"one two one");
  const StringUtf8 u(u8("\xC3\xA9x\xC3\xA9y"));
  const StringAnsi ansi("\xD6\xD0\xCE\xC4");
  EXPECT_EACH({{s.find(L'o'), 0}, {s.find(L'o', 1), 6}, {s.find(L'z'), -1}, {s.find(L"one", 1), 8},
                    {s.find(L"onex"), -1}, {s.find(L"", 3), 3}, {s.find(L'o', 12), -1}, {String().find(L""), -1},
                    {String().find(0), -1}, {StringUtf8().find(u8("")), -1},
                    // The 8-bit forms answer byte offsets; `start` counts characters.
                    {u.find('x'), 2}, {u.find('y', 2), 5}, {u.find(0xE9, 1), 3}, {u.find(u8("\xC3\xA9y")), 3},
                    {u.find(u8(""), 3), 5}, {u.find(u8("yy")), -1},
                    // Whole characters only: a cut-off sequence never matches the first
                    // bytes of a longer one, and nothing is read past the terminator.
                    {StringUtf8(u8("\xC3\xA9")).find(u8("\xC3")), -1},
                    {StringUtf8(u8("x\xE4\xB8\xAD")).find(u8("x\xE4\xB8")), -1},
                    {StringUtf8(u8("a\xC3" "b\xC3\xA9")).find(u8("\xC3")), 1},
                    {StringUtf8(u8("abcd")).find(u8("d\xE2\x82\xAC")), -1}, {ansi.find("\xD0\xCE"), -1},
                    {ansi.find("\xCE\xC4"), 2},
                    // The character 0 finds the terminator from any start up to the length.
                    {s.find(0, 11), 11}, {u.find(0, 1), 6}, {u.find(0, 4), 6}, {ansi.find(0, 2), 4},
                    {u.find('x', 4), -1}, {u.find(0, 5), -1}});
}

// Wide needles at every position of texts around the vector search's
// blocks of eight and sixteen, among false starts that match one unit or two,
// on the vector path and without it; std::wstring answers the same.
TEST(StringFind, WideNeedlesAtEveryPositionOnEachPath) {
  for (const platform::Simd path : {platform::Simd::Portable, platform::Simd::Avx2}) {
    platform::limitSimd(path);
    for (const std::wstring needle : {L"ab", L"abc", L"abcdefghij"}) {
      for (std::size_t length = needle.size(); length <= 40; ++length) {
        for (std::size_t at = 0; at + needle.size() <= length; ++at) {
          std::wstring text(length, L'a');
          for (std::size_t i = 1; i < length; i += 3) text[i] = L'b';  // False starts of one and two units.
          text.replace(at, needle.size(), needle);
          for (const std::size_t from : {std::size_t{0}, at + 1}) {
            ASSERT_EQ(String(text.c_str()).find(needle.c_str(), static_cast<int>(from)),
                      static_cast<int>(text.find(needle, from))) << text << " " << needle << " " << from;
          }
        }
      }
    }
  }
  platform::limitSimd(platform::Simd::Avx512);
}

// --- Format ---------------------------------------------------------------

TEST(StringFormat, WritesExactBlocksInEachFormOrTheEmptyStringOnFailure) {
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
  // Arguments the C library cannot convert between narrow and wide text.
  const wchar_t bad[] = {static_cast<wchar_t>(0x7FFFFFFF), 0};
  EXPECT_EQ(s.format(L"%S", "\xFF\xFE") + a.format("%ls", bad), -2);
  EXPECT_TRUE(isSharedEmpty(s) && isSharedEmpty(a));
}

// --- Replace, remove, erase, insert ---------------------------------------

TEST(StringEdit, EachEditAnswersAndLeavesTheDesignedText) {
  using Edit = std::function<int(String&)>;
  const std::tuple<const wchar_t*, Edit, int, const wchar_t*> cases[] = {
      {L"aaa", [](String& s) { return s.replace(L"aa", L"b"); }, 1, L"ba"},
      {L"a.b.c", [](String& s) { return s.replace(L'.', L'/'); }, 2, L"a/b/c"},
      {L"a/b/c", [](String& s) { return s.replace(String(L"/"), String(L"--")); }, 2, L"a--b--c"},
      {L"a--b--c", [](String& s) { return s.replace(L"--", String()); }, 2, L"abc"},
      {L"abc", [](String& s) { return s.replace(String(L"abc"), L"x"); }, 1, L"x"},
      {L"abc", [](String& s) { return s.replace(L"", L"x") + s.replace(0, L'x'); }, 0, L"abc"},
      {L"abc", [](String& s) { return s.remove(L"") + s.remove(0) + s.remove(L"zz"); }, 0, L"abc"},
      {L"abab", [](String& s) { return s.replace(s.getSubString(0, 2), s); }, 2, L"abababab"},
      {L"xyxy", [](String& s) { return s.replace(s.getBuffer() + 2, L"zz"); }, 2, L"zzzz"},
      {L"a-b-c-", [](String& s) { return s.remove(L'-'); }, 3, L"abc"},
      {L"abc", [](String& s) { return s.remove(String(L"bc")); }, 1, L"a"},
      {L"ad", [](String& s) { return s.insert(1, L"bc"); }, 4, L"abcd"},
      {L"ab", [](String& s) { return s.insert(2, L'c'); }, 3, L"abc"},
      {L"ab", [](String& s) { return s.insert(0, s); }, 4, L"abab"},
      {L"ab", [](String& s) { return s.insert(10, String(L"c")); }, 3, L"abc"},
      {L"abcdef", [](String& s) { return s.erase(1, 2); }, 2, L"adef"},
      {L"abc", [](String& s) { return s.erase(1, 10); }, 10, L"a"},  // Cut at the end.
      {L"abc", [](String& s) { return s.erase(10, 5); }, 5, L"abc"},
      {L"abc", [](String& s) { return s.erase(-3, 1); }, 1, L"bc"},
  };
  for (const auto& [text, edit, answer, result] : cases) {
    String s(text);
    EXPECT_EQ(edit(s), answer) << text << " -> " << result;
    EXPECT_EQ(s, result) << text;
  }
}

TEST(StringEdit, BlocksAreKeptWrittenInPlaceOrSharedAsDesigned) {
  String s(L"cat hat"), all(L"aaaa"), none(L"all");
  const wchar_t* block = s.getBuffer();
  EXPECT_EACH({{s.getLength(), 7}, {s.replace(L"zz", L"y") + s.erase(1, 0), 0}, {s.getBuffer() == block, true},
                    {s.replace(L"at", L"ow"), 2},  // Equal lengths, unshared: in place.
                    {StringBlock<wchar_t>::cachedLength(s), -1}, {s.getBuffer() == block, true},
                    {all.replace(L"a", L""), 4}, {isSharedEmpty(all), true}, {none.erase(0, 3), 3}, {isSharedEmpty(none), true}});
  String copy = s;
  EXPECT_EQ(s.replace(L'c', L'b'), 1);
  EXPECT_EQ(copy, L"cow how");
  StringUtf8 u(u8("x\xC3\xA9y\xC3\xA9"));  // Positions count bytes in UTF-8.
  EXPECT_EACH({{u.replace(0xE9, 'e'), 2}, {u.erase(3, 1), 1}, {u.insert(1, 0x20AC), 6}});
  EXPECT_EQ(bytesOf(u), "x\xE2\x82\xAC" "ey");
}

// --- Threads --------------------------------------------------------------

TEST(StringThreads, CopiesMeasureTheirLengthLiveDieAndConvertTogether) {
  // Fresh shared blocks measured by two threads at once: the lazy length
  // must come out right and race-free (run under ThreadSanitizer).
  std::vector<StringUtf8> left(2000);
  for (StringUtf8& s : left) s = StringUtf8(u8("\xC3\xA9t\xC3\xA9 \xE2\x82\xAC"));
  std::vector<StringUtf8> right(left);
  const String shared(L"shared between threads");
  int wrong = 0, wrongHere = 0;
  std::thread other([&] {
    for (const StringUtf8& s : right) wrong += s.getLength() != 5;
    // Conversions on both threads at once.
    for (int i = 0; i < 300; ++i) wrong += StringHelper::ansiToWide("caf\xE9") != L"caf\u00E9";
    for (int i = 0; i < 5000; ++i) {
      String upper = shared;
      wrong += upper.upperCase() != L"SHARED BETWEEN THREADS";
    }
  });
  for (const StringUtf8& s : left) wrongHere += s.getLength() != 5;
  for (int i = 0; i < 300; ++i) wrongHere += StringHelper::wideToAnsi(L"caf\u00E9") != "caf\xE9";
  for (int i = 0; i < 5000; ++i) wrongHere += String(shared) != L"shared between threads";
  other.join();
  EXPECT_EQ(wrong + wrongHere, 0);
  EXPECT_EQ(refs(shared), 1);
}

}  // namespace
}  // namespace orvo
