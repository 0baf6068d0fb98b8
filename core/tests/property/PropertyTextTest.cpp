// The property text: its grammar through the public read functions, the
// pretty-printer's exact output, and the cursor reader with and without its
// brace table.
#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include <orvo/core/Exception.h>
#include <orvo/core/PropertyText.h>

#include "property/PropertyTextReader.h"

namespace orvo {
namespace {

std::wstring str(const String& s) { return s.getBuffer(); }

// The value read, or the code, file and message of what the read raised.
std::wstring valueOrRaised(String& rest) {
  try {
    return str(readPropertyValue(rest));
  } catch (const Exception& e) {
    return L"raised " + std::to_wstring(e.code) + L" " + e.file + L" " + e.message;
  }
}

struct ItemCase {
  const wchar_t* text;
  const wchar_t* name;
  const wchar_t* type;
  const wchar_t* value;  // null: readPropertyValue raises
  const wchar_t* rest;   // what the string holds afterwards
};

// One item read by the three functions in turn.
TEST(PropertyTextTest, ReadsOneItem) {
  const ItemCase cases[] = {
      {L"a{}", L"a", L"", L"", L""},
      {L"{}", L"", L"", L"", L""},
      {L" size:Point{640,480} tail", L"size", L"Point", L"640,480", L" tail"},
      {L"a : b {1}", L"a", L"b", L"1", L""},
      {L"a # note\n{1}", L"a", L"", L"1", L""},
      {L"# a\r b{1}\nc:#x\r\n\tT{2}", L"c", L"T", L"2", L""},
      {L"a{b\\\\}}", L"a", L"", L"b\\\\", L"}"},
      {L"a{b{c\\}d}}", L"a", L"", L"b{c\\}d}", L""},
      {L"t{a \\{b\\} c # x\n}", L"t", L"", L"a \\{b\\} c # x\n", L""},
      {L"\x4e2d\xff_9\x10000:T\x3b1{v}", L"\x4e2d\xff_9\x10000", L"T\x3b1", L"v", L""},
      {L"\xe9{1}", L"", L"", nullptr, L"\xe9{1}"},
      {L"a{b\\}", L"a", L"", nullptr, L"{b\\}"},
      {L"a{{}", L"a", L"", nullptr, L"{{}"},
      {L"a b{1}", L"a", L"", nullptr, L"b{1}"},
      {L"a {", L"a", L"", nullptr, L"{"},
      {L"a:\x0b", L"a", L"", nullptr, L""},
  };
  for (const ItemCase& c : cases) {
    SCOPED_TRACE(c.text);
    String rest(c.text);
    EXPECT_EQ(str(readPropertyName(rest)), c.name);
    EXPECT_EQ(str(readPropertyType(rest)), c.type);
    EXPECT_EQ(valueOrRaised(rest), c.value ? c.value : L"raised -1 src/property/Property "
                                                         L"String readPropertyValue(String &)");
    EXPECT_EQ(str(rest), c.rest);
  }
}

TEST(PropertyTextTest, SkipsWhiteSpaceAndComments) {
  String text(L" \t# one\r# still one\n\n#two");
  skipPropertyComments(text);
  EXPECT_EQ(str(text), L"");
  text = L"\xa0# not white space";
  skipPropertyComments(text);
  EXPECT_EQ(str(text), L"\xa0# not white space");
}

TEST(PropertyTextTest, NormalizesIntoIndentedLines) {
  EXPECT_EQ(str(propertyStringNormalize(L"size{640,480}child:Derived{list{{1}{2}}}", L"")),
            L"size{640,480}\r\nchild:Derived{\r\n\tlist{\r\n\t\t{1}\r\n\t\t{2}\r\n\t}\r\n}");
  EXPECT_EQ(str(propertyStringNormalize(L"# c\n a{ 1, 2 } # d\n b{x{\\{}} \r\n", L"> ")),
            L"> a{ 1, 2 }\r\n> b{\r\n> \tx{\\{}\r\n> }");
  // The plain value's braces lie between the frames the printer looks up.
  EXPECT_EQ(str(propertyStringNormalize(L"a{1,{}{}{}{}{}{}{}}b{{1}}", L"")), L"a{1,{}{}{}{}{}{}{}}\r\nb{\r\n\t{1}\r\n}");
  for (const wchar_t* plain : {L"", L"abc", L"1,2,3", L"a{", L"\xe9{1}"}) {
    EXPECT_EQ(str(propertyStringNormalize(plain, L"  ")), plain);
  }
  EXPECT_EQ(str(propertyStringNormalize(L"{abc}", L"  ")), L"  {abc}");
}

TEST(PropertyTextTest, NormalizeRaisesOnABadLaterItem) {
  for (const wchar_t* text : {L"a{1} # end", L"a{1}b", L"a{x{1}y}", L"a{{1}{2}\x01}"}) {
    SCOPED_TRACE(text);
    EXPECT_THROW(propertyStringNormalize(text, L""), Exception);
  }
}

// The reader with a brace table finds the frames a scan finds, in every
// region it is confined to, and for lookups that jump ahead by any stride.
TEST(PropertyTextTest, BraceTableAgreesWithTheScan) {
  using property::PropertyTextReader;
  const std::wstring many = L"{}{{}{}}{}{}{\\}{}{}{{{}}{}}{}{}{}{}{{}}{}{}{}{}{}{}{}{{}{}{}{}}{}{}{}{}";
  for (const std::wstring_view text : {L"a{b{c}d}e{\\}}", L"{{\\\\}{}}x{{}", L"#{\n{a\\{}}{", many.c_str()}) {
    const property::BraceMatches braces(text);
    for (std::size_t stride : {1, 5, 11}) {
      for (std::size_t from = 0; from < text.size(); from += stride) {
        if (from > 0 && text[from - 1] == L'\\') continue;  // Frames never start there.
        for (std::size_t to = from; to <= text.size(); ++to) {
          PropertyTextReader scan(text.substr(0, to)), table(text.substr(0, to), &braces);
          scan.enter(text.substr(from, to - from));
          table.enter(text.substr(from, to - from));
          std::wstring_view scanned, tabled;
          EXPECT_EQ(scan.findValue(scanned), table.findValue(tabled)) << text.data() << " " << from << " " << to;
          EXPECT_EQ(scanned, tabled);
        }
      }
    }
  }
}

}  // namespace
}  // namespace orvo
