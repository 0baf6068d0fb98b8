// The wide formatting helper and the message formatter on top of it: the
// library's format conventions on glibc.
#include <gtest/gtest.h>

#include <cfloat>
#include <climits>
#include <cmath>
#include <cstdint>
#include <string>

#include "diagnostics/FormattedText.h"
#include "platform/WideFormat.h"

namespace orvo::platform {
namespace {

std::wstring format(const wchar_t* text, ...) {
  va_list args;
  va_start(args, text);
  const FormattedText formatted(text, args);
  va_end(args);
  return formatted.get() ? formatted.get() : L"(none)";
}

// What formatWide answers with room for `capacity` characters, and writes.
std::wstring formatInto(std::size_t capacity, const wchar_t* text, ...) {
  wchar_t buffer[16] = L"#";
  va_list args;
  va_start(args, text);
  const int length = formatWide(buffer, capacity, text, args);
  va_end(args);
  return std::to_wstring(length) + L":" + buffer;
}

// The bound of a text before formatting it, beside its real length.
std::pair<int, int> boundAndLength(const wchar_t* text, ...) {
  va_list args, measuring;
  va_start(args, text);
  va_copy(measuring, args);
  const int bound = boundWide(TranslatedFormat(text), args);
  // A format the walk refuses is not measured: its arguments are not there.
  const std::pair<int, int> result(bound, bound >= 0 ? measureWide(text, measuring) : -1);
  va_end(measuring);
  va_end(args);
  return result;
}

TEST(WideFormat, TranslatesTheLibraryConventions) {
  const std::wstring longFormat = std::wstring(200, L'x') + L"%s";  // Beyond the stack part.
  const std::pair<const wchar_t*, std::wstring> cases[] = {
      {L"%s|%S|%c|%C", L"%ls|%s|%lc|%c"},
      {L"%hs|%ls|%ws|%hc|%lc", L"%s|%ls|%ls|%c|%lc"},
      {L"%I64d %I64u %I64X %I32d %Iu %Ix", L"%lld %llu %llX %d %zu %zx"},
      {L"%-8.3s %*d %.*s %05.1f %lu %hhd %%s", L"%-8.3ls %*d %.*ls %05.1f %lu %hhd %%s"},
      {L"%hS|%hC|%lS|%lC|%wC|%# +'d", L"%s|%c|%ls|%lc|%lc|%# +'d"},
      {L"%I64i|%I64o|%I64x|%Io|%zd|%td|%jd", L"%lli|%llo|%llx|%zo|%zd|%td|%jd"},
      {L"trailing %", L"trailing %"},
      {L"cut %-4", L"cut %-4"},
      {longFormat.c_str(), std::wstring(200, L'x') + L"%ls"},
      {nullptr, L""}};
  for (const auto& [original, translated] : cases) EXPECT_EQ(TranslatedFormat(original).get(), translated);
}

TEST(WideFormat, FormatsWideAndNarrowArgumentsAtAnyLength) {
  EXPECT_EQ(format(L"%s and %S", L"wide \u00e9\u4e2d", "narrow"), L"wide \u00e9\u4e2d and narrow");
  EXPECT_EQ(format(L"[%c%C]", L'\u00e9', 'n'), L"[\u00e9n]");
  EXPECT_EQ(format(L"%I64d/%I64X", -(1LL << 40), 0xABCDEF0123LL), L"-1099511627776/ABCDEF0123");
  EXPECT_EQ(format(L"%-4s|%4s|%.2s", L"ab", L"cd", L"efgh"), L"ab  |  cd|ef");
  const std::wstring longArgument(50000, L'q');
  EXPECT_EQ(format(L"<%s>", longArgument.c_str()), L"<" + longArgument + L">");
  EXPECT_EQ(format(L"%S", "\xFF"), L"(none)");  // No character in the C locale.
  EXPECT_EQ(formatInto(8, L"%d", 1234567), L"7:1234567");  // The terminator needs room too.
  EXPECT_EQ(formatInto(8, L"%d", 12345678), L"-1:");
  EXPECT_EQ(formatInto(0, L"%d", 1), L"-1:#");
}

TEST(WideFormat, BoundsEveryTextItFollowsAndGivesUpOnTheRest) {
  const std::wstring wide(300, L'w');
  const std::string narrow(300, 'n');
  const wchar_t* none = nullptr;
  const std::pair<int, int> followed[] = {
      boundAndLength(L"%d", INT_MIN), boundAndLength(L"%+.30u", 7u), boundAndLength(L"%#o", ~0u),
      boundAndLength(L"%#llo", ULLONG_MAX), boundAndLength(L"%qd", LLONG_MIN), boundAndLength(L"%ld", LONG_MIN),
      boundAndLength(L"%#lx|%jd|%td", ULONG_MAX, INTMAX_MIN, PTRDIFF_MIN), boundAndLength(L"%hhd|%hd", 300, -3),
      boundAndLength(L"%Iu %I32X", SIZE_MAX, -1), boundAndLength(L"%'d", INT_MAX),
      boundAndLength(L"%s", wide.c_str()), boundAndLength(L"%S", narrow.c_str()), boundAndLength(L"%.5s", L"abcdefg"),
      boundAndLength(L"%.*S", 3, narrow.c_str()), boundAndLength(L"%*s", 400, L"x"), boundAndLength(L"%-*s", -20, L"y"),
      boundAndLength(L"%ls%hs%s", L"l", "h", none), boundAndLength(L"%c%C%lc%hc%5c", L'w', 'n', L'l', 'h', L'x'),
      boundAndLength(L"%p|%20p|%%|%.0s", &wide, nullptr, L"z"), boundAndLength(L"%f", -DBL_MAX),
      boundAndLength(L"%.0f", 9.99), boundAndLength(L"%#.0f", -0.5), boundAndLength(L"%'f", -123456789.0),
      boundAndLength(L"%.*f", 40, -1e-300), boundAndLength(L"%e", 5e-324), boundAndLength(L"%.0E", 9.5),
      boundAndLength(L"%g", -1e300), boundAndLength(L"%#.17G", 1e-5), boundAndLength(L"%a", -DBL_MAX),
      boundAndLength(L"%.100000f", 1.0), boundAndLength(L"%Lf", -LDBL_MAX), boundAndLength(L"%Le", -LDBL_MIN),
      boundAndLength(L"%F", -NAN), boundAndLength(L"%+f|%lf", HUGE_VAL, 0.0), boundAndLength(L"%*.*f", -60, 3, 99.9999),
      boundAndLength(L"%Lf|%LG", 0.0L, -HUGE_VALL), boundAndLength(L"%i|%.*d", -7, -5, 42),
      boundAndLength(L"%hs|%.2hs", static_cast<const char*>(nullptr), "abc"),
      boundAndLength(L"%.d|%.f|%A", 0, 1.5, -2.0)};
  for (const auto& [bound, length] : followed) {
    EXPECT_GE(bound, length);
    EXPECT_LE(bound, 2 * length + 64);  // Room for the text, not a guess.
  }
  for (const wchar_t* refused : {L"%n", L"%1$d", L"%*1$d", L"%.*1$d", L"%Ld", L"%hf", L"%llld", L"%m", L"%lp", L"%"})
    EXPECT_EQ(boundAndLength(refused).first, -1) << refused;
  // Formats the walk gives up on still arrive whole.
  EXPECT_EQ(format(L"%Ld%s", 5LL, wide.c_str()), L"5" + wide);
}

}  // namespace
}  // namespace orvo::platform
