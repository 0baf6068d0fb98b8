// The wide formatting helper and the message formatter on top of it: the
// library's format conventions on glibc.
#include <gtest/gtest.h>

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

TEST(WideFormat, TranslatesTheLibraryConventions) {
  const std::wstring longFormat = std::wstring(200, L'x') + L"%s";  // Beyond the stack part.
  const std::pair<const wchar_t*, std::wstring> cases[] = {
      {L"%s|%S|%c|%C", L"%ls|%s|%lc|%c"},
      {L"%hs|%ls|%ws|%hc|%lc", L"%s|%ls|%ls|%c|%lc"},
      {L"%I64d %I64u %I64X %I32d %Iu %Ix", L"%lld %llu %llX %d %zu %zx"},
      {L"%-8.3s %*d %.*s %05.1f %lu %hhd %%s", L"%-8.3ls %*d %.*ls %05.1f %lu %hhd %%s"},
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

}  // namespace
}  // namespace orvo::platform
