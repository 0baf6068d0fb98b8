// Texts of megabytes: their blocks leave the heap for huge pages where the
// kernel offers them, keep every unit across each move, and are given back
// whole when the last String goes.
#include <gtest/gtest.h>
#include <sys/mman.h>

#include <cerrno>
#include <cstdint>
#include <string>

#include <orvo/core/PropertyText.h>
#include <orvo/core/StringHelper.h>

#include "platform/HugePages.h"
#include "property/GrowingText.h"

namespace orvo {
namespace {

// Parts whose units tell where they stand, so that a block copied or
// remapped to the wrong place shows.
std::wstring numberedPart(int index) {
  return std::to_wstring(index) + L"{" + std::wstring(50, static_cast<wchar_t>(L'a' + index % 26)) + L"}";
}

// Drops the last reference to `text`, then checks that the pages of its first
// and last unit were given back to the system.
void expectGivenBack(String& text) {
  if (!platform::hugePagesAvailable()) GTEST_SKIP() << "the kernel offers no huge pages; the text stayed on the heap";
  const wchar_t* const first = text.getBuffer();
  const wchar_t* const terminator = first + text.getLength();
  text = String();
  for (const wchar_t* unit : {first, terminator}) {
    void* const page = reinterpret_cast<void*>(reinterpret_cast<std::uintptr_t>(unit) & ~std::uintptr_t{4095});
    errno = 0;
    EXPECT_EQ(msync(page, 4096, MS_ASYNC), -1) << "a page of the text is still mapped";
    EXPECT_EQ(errno, ENOMEM);
  }
}

TEST(LargeText, GrowingTextKeepsEveryUnitAcrossItsMovesOrNone) {
  property::GrowingText text;
  std::wstring expected;
  for (int i = 0; expected.size() < 3 * platform::kHugePageBytes / sizeof(wchar_t); ++i) {
    expected += numberedPart(i);
    text.append(numberedPart(i));
  }
  text.truncate(expected.size() - 5);
  expected.resize(expected.size() - 5);
  String made = text.finish();
  ASSERT_EQ(made.getLength(), static_cast<int>(expected.size()));
  EXPECT_TRUE(std::wstring(made.getBuffer()) == expected) << "the units differ";
  EXPECT_EQ(std::wstring(text.finish().getBuffer()), L"") << "empty after finish";
  text.push(L'a');
  text.append(std::wstring_view(expected.data(), std::size_t{1} << 40));  // refused before a unit is read
  text.appendFramed(String(L"b"));
  EXPECT_EQ(std::wstring(text.finish().getBuffer()), L"") << "a text that lost a part stays lost";
  text.append(expected);  // dropped unfinished: AddressSanitizer reports a block freed the wrong way
  expectGivenBack(made);
}

// A brace table of a huge page and more: 300,000 frames of 8 bytes.
TEST(LargeText, StringsAndTheirBraceTablesOfMegabytes) {
  std::wstring items, printed;
  for (int i = 0; i < 300000; ++i) {
    const std::wstring item = L"n" + std::to_wstring(i % 1000) + L"{" + std::to_wstring(i) + L"}";
    printed += (i ? L"\r\n" : L"") + item;
    items += item;
  }
  String text(items.c_str());
  String normalized = propertyStringNormalize(text, L"");
  EXPECT_TRUE(std::wstring(normalized.getBuffer()) == printed) << "the items, one a line, differ";
  const StringUtf8 utf8 = StringHelper::wideToUtf8(text);
  EXPECT_TRUE(StringHelper::utf8ToWide(utf8) == text) << "through UTF-8 the text changed";
  EXPECT_TRUE(StringHelper::ansiToWide(StringHelper::utf8ToAnsi(utf8)) == text) << "through ANSI the text changed";
  expectGivenBack(normalized);
  expectGivenBack(text);
}

}  // namespace
}  // namespace orvo
