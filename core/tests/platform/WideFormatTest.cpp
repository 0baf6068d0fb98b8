// The wide formatting helper and the message formatter on top of it: the
// library's format conventions on glibc.
#include <gtest/gtest.h>

#include <cstdarg>
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
  return formatted.get() ? std::wstring(formatted.get()) : std::wstring();
}

int measure(const wchar_t* text, ...) {
  va_list args;
  va_start(args, text);
  const int length = measureWide(text, args);
  va_end(args);
  return length;
}

int formatInto(wchar_t* buffer, std::size_t capacity, const wchar_t* text, ...) {
  va_list args;
  va_start(args, text);
  const int length = formatWide(buffer, capacity, text, args);
  va_end(args);
  return length;
}

TEST(WideFormatTest, TranslatesTheLibraryConventions) {
  EXPECT_STREQ(TranslatedFormat(L"%s|%S|%c|%C").get(), L"%ls|%s|%lc|%c");
  EXPECT_STREQ(TranslatedFormat(L"%hs|%ls|%ws|%hc|%lc").get(), L"%s|%ls|%ls|%c|%lc");
  EXPECT_STREQ(TranslatedFormat(L"%I64d %I64u %I64X %I32d %Iu").get(), L"%lld %llu %llX %d %zu");
  EXPECT_STREQ(TranslatedFormat(L"%-8.3s %*d %05.1f %lu %%s").get(), L"%-8.3ls %*d %05.1f %lu %%s");
  EXPECT_STREQ(TranslatedFormat(L"trailing %").get(), L"trailing %");
  EXPECT_STREQ(TranslatedFormat(nullptr).get(), L"");
}

TEST(WideFormatTest, FormatsWideAndNarrowArguments) {
  EXPECT_EQ(format(L"%s and %S", L"wide \u00e9\u4e2d", "narrow"), L"wide \u00e9\u4e2d and narrow");
  EXPECT_EQ(format(L"[%c%C]", L'\u00e9', 'n'), L"[\u00e9n]");
  EXPECT_EQ(format(L"%I64d/%I64X", -(1LL << 40), 0xABCDEF0123LL), L"-1099511627776/ABCDEF0123");
  EXPECT_EQ(format(L"%-4s|%4s|%.2s", L"ab", L"cd", L"efgh"), L"ab  |  cd|ef");
}

TEST(WideFormatTest, LongFormatsAndLongResults) {
  std::wstring longFormat(1000, L'x');
  longFormat += L"%s";
  EXPECT_EQ(format(longFormat.c_str(), L"!"), std::wstring(1000, L'x') + L"!");

  std::wstring longArgument(50000, L'q');
  EXPECT_EQ(measure(L"<%s>", longArgument.c_str()), 50002);
  EXPECT_EQ(format(L"<%s>", longArgument.c_str()).size(), 50002u);
}

TEST(WideFormatTest, TooSmallBufferReportsFailureWithAnEmptyText) {
  wchar_t buffer[8];
  EXPECT_EQ(formatInto(buffer, 8, L"%d", 1234567), 7);
  EXPECT_STREQ(buffer, L"1234567");
  EXPECT_EQ(formatInto(buffer, 8, L"%d", 12345678), -1);
  EXPECT_STREQ(buffer, L"");
}

}  // namespace
}  // namespace orvo::platform
