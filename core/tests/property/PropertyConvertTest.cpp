// The text forms of the property value types and their containers: each
// family as a table of texts read and values written, the failures with
// their messages, and the container forms over the item walk.
#include <gtest/gtest.h>
#include <orvo/core/Exception.h>
#include <orvo/core/PropertyConvert.h>

#include <climits>
#include <cmath>
#include <cstring>
#include <functional>
#include <string>

namespace orvo {
namespace {

std::wstring str(const String& s) { return s.getBuffer(); }

template <class T>
std::wstring written(const T& value) {
  String text(L"old");
  convertPropertyToString(value, text);
  return str(text);
}

template <class T>
T read(const wchar_t* text) {
  T value = propertyDefaultValue<T>();
  convertPropertyToClass(text, value);
  return value;
}

// The message of what `action` raised (with the code), or "" if it raised nothing.
std::wstring raised(const std::function<void()>& action) {
  try {
    action();
  } catch (const Exception& e) {
    return std::to_wstring(e.code) + L" " + e.message;
  }
  return L"";
}

struct IntegerCase {
  const wchar_t* text;
  int asInt;
  std::uint32_t asUint32;
  std::int16_t asInt16;
  std::uint16_t asUint16;
  std::int8_t asInt8;
  std::uint8_t asUint8;
  std::int32_t asVarint;
  long long asTimeSpan;
};

// Every integer type reads the same prefix; the narrow ones keep low bits of
// a saturated int, the others of a saturated 64-bit number.
TEST(PropertyConvertTest, ReadsIntegersAsTheRuntimeDoes) {
  const IntegerCase cases[] = {
      {L"42", 42, 42, 42, 42, 42, 42, 42, 42},
      {L" \t+7 apples", 7, 7, 7, 7, 7, 7, 7, 7},
      {L"-1", -1, 4294967295u, -1, 65535, -1, 255, -1, -1},
      {L"", 0, 0, 0, 0, 0, 0, 0, 0},
      {L"abc", 0, 0, 0, 0, 0, 0, 0, 0},
      {L"- 7", 0, 0, 0, 0, 0, 0, 0, 0},
      {L"0x1F", 0, 0, 0, 0, 0, 0, 0, 0},
      {L"70000", 70000, 70000, 4464, 4464, 112, 112, 70000, 70000},
      {L"4294967295", INT_MAX, 4294967295u, -1, 65535, -1, 255, -1, 4294967295LL},
      {L"-2147483649", INT_MIN, 2147483647u, 0, 0, 0, 0, INT_MAX, -2147483649LL},
      {L"99999999999999999999", INT_MAX, 4294967295u, -1, 65535, -1, 255, -1, LLONG_MAX},
      {L"-99999999999999999999", INT_MIN, 0, 0, 0, 0, 0, 0, LLONG_MIN},
  };
  for (const IntegerCase& c : cases) {
    SCOPED_TRACE(c.text);
    EXPECT_EQ(read<int>(c.text), c.asInt);
    EXPECT_EQ(read<std::uint32_t>(c.text), c.asUint32);
    EXPECT_EQ(read<std::int16_t>(c.text), c.asInt16);
    EXPECT_EQ(read<std::uint16_t>(c.text), c.asUint16);
    EXPECT_EQ(read<std::int8_t>(c.text), c.asInt8);
    EXPECT_EQ(read<std::uint8_t>(c.text), c.asUint8);
    EXPECT_EQ(read<Varint>(c.text).value, c.asVarint);
    EXPECT_EQ(read<TimeSpan>(c.text).getSpan(), c.asTimeSpan);
  }
}

TEST(PropertyConvertTest, WritesIntegersAsNumbers) {
  EXPECT_EQ(written(-5), L"-5");
  EXPECT_EQ(written(INT_MIN), L"-2147483648");
  EXPECT_EQ(written(std::uint32_t{4294967295u}), L"4294967295");
  EXPECT_EQ(written(std::int16_t{-32768}), L"-32768");
  EXPECT_EQ(written(std::uint16_t{65535}), L"65535");
  EXPECT_EQ(written(std::int8_t{-1}), L"-1");
  EXPECT_EQ(written(std::uint8_t{255}), L"255");
  EXPECT_EQ(written(Varint(INT_MIN)), L"-2147483648");
  EXPECT_EQ(written(TimeSpan(LLONG_MIN)), L"-9223372036854775808");
}

TEST(PropertyConvertTest, ReadsAndWritesFloatingPoint) {
  EXPECT_EQ(read<double>(L" -2.25e1x"), -22.5);
  EXPECT_EQ(read<double>(L"no"), 0.0);
  EXPECT_EQ(read<float>(L"0.1"), 0.1f);
  EXPECT_TRUE(std::isinf(read<float>(L"1e39")));
  EXPECT_EQ(read<double>(L"1e39"), 1e39);

  EXPECT_EQ(written(1.5), L"1.500000");
  EXPECT_EQ(written(0.1234567f), L"0.123457");
  EXPECT_EQ(written(-0.0000004), L"-0.000000");
  const std::wstring huge = written(1e300);
  EXPECT_EQ(huge.size(), 301u + 7u);
  EXPECT_EQ(read<double>(huge.c_str()), 1e300);
  EXPECT_EQ(written(-3.4e38f).size(), 40u + 7u);
}

TEST(PropertyConvertTest, BoolIsTrueOnlyForTheExactWord) {
  EXPECT_TRUE(read<bool>(L"true"));
  for (const wchar_t* text : {L"True", L"1", L" true", L"true ", L""}) {
    EXPECT_FALSE(read<bool>(text)) << text;
  }
  EXPECT_EQ(written(true), L"true");
  EXPECT_EQ(written(false), L"false");
}

TEST(PropertyConvertTest, EscapesBackslashesAndBracesOnly) {
  EXPECT_EQ(written(String(L"a\\b{c}\r\n\"")), L"a\\\\b\\{c\\}\r\n\"");
  // The replacements run in turn: "\\{" becomes "\{", then "{".
  EXPECT_EQ(str(read<String>(L"\\\\{ \\} \\n")), L"{ } \\n");
  const String tricky(L"\\{\\\\}\n{{}\r\n\\");
  EXPECT_EQ(read<String>(written(tricky).c_str()), tricky);
}

// The comma-separated values: a table of texts that read, then one that is
// short of a field, for each type in turn.
TEST(PropertyConvertTest, ScansCommaSeparatedFields) {
  EXPECT_EQ(read<Point>(L"1, 2"), Point(1, 2));
  EXPECT_EQ(read<Point>(L" -3,\t4,5 tail"), Point(-3, 4));
  EXPECT_EQ(read<Pointf>(L"1.5,-2e1"), Pointf(1.5f, -20.0f));
  EXPECT_EQ(read<Rect>(L"1,2,3,4"), Rect(1, 2, 3, 4));
  EXPECT_EQ(read<Rectf>(L"0.5, 1,2,3e0"), Rectf(0.5f, 1.0f, 2.0f, 3.0f));
  EXPECT_EQ(read<Vector2>(L"1,2"), Vector2(1, 2));
  EXPECT_EQ(read<Vector3>(L"1,2,3"), Vector3(1, 2, 3));
  EXPECT_EQ(read<Vector4>(L"1,2,3,4"), Vector4(1, 2, 3, 4));
  EXPECT_EQ(read<Quaternion>(L"1,2,3,4"), Quaternion(1, 2, 3, 4));
  EXPECT_EQ(propertyDefaultValue<Quaternion>(), Quaternion(0, 0, 0, 1));
}

TEST(PropertyConvertTest, WritesFieldsInOrder) {
  EXPECT_EQ(written(Point(1, -2)), L"1,-2");
  EXPECT_EQ(written(Pointf(1.5f, -2)), L"1.500000,-2.000000");
  EXPECT_EQ(written(Rect(1, 2, 3, 4)), L"1,2,3,4");
  EXPECT_EQ(written(Rectf(1, 2, 3, 4)), L"1.000000,2.000000,3.000000,4.000000");
  EXPECT_EQ(written(Vector2(1, 2)), L"1.000000,2.000000");
  EXPECT_EQ(written(Vector3(1, 2, 3)), L"1.000000,2.000000,3.000000");
  EXPECT_EQ(written(Vector4(1, 2, 3, 4)), L"1.000000,2.000000,3.000000,4.000000");
  EXPECT_EQ(written(Quaternion(4, 3, 2, 1)), L"4.000000,3.000000,2.000000,1.000000");
}

TEST(PropertyConvertTest, ReadsAndWritesLibraryValues) {
  Buffer bytes(3);
  std::memcpy(bytes.getBuffer(), "\x01\xab\xff", 3);
  EXPECT_EQ(written(bytes), L"01abff");
  EXPECT_EQ(read<Buffer>(L"01ABff"), bytes);

  const Time when = read<Time>(L"2012-05-06 10:20:30");
  EXPECT_EQ(when.getYear(), 2012);
  EXPECT_EQ(written(when), L"2012-05-06 10:20:30");

  const wchar_t* id = L"00112233-4455-6677-8899-aabbccddeeff";
  EXPECT_EQ(written(read<Uuid>(id)), id);
  EXPECT_EQ(written(read<uuid_node_t>(L"A0B1C2D3E4F5")), L"a0b1c2d3e4f5");
}

// Each value that cannot be read raises its own message, code -1.
TEST(PropertyConvertTest, RaisesOnTextThatDoesNotRead) {
  auto failing = [](auto value, const wchar_t* text) {
    return [value, text]() mutable { convertPropertyToClass(text, value); };
  };
  const struct {
    const wchar_t* type;
    std::function<void()> action;
  } cases[] = {
      {L"Buffer", failing(Buffer(), L"abc")},
      {L"Point", failing(Point(), L"1 ,2")},
      {L"Pointf", failing(Pointf(), L"1")},
      {L"Rect", failing(Rect(), L"1,2,3")},
      {L"Rectf", failing(Rectf(), L"1,2 ,3,4")},
      {L"Vector2", failing(Vector2(), L"x,1")},
      {L"Vector3", failing(Vector3(), L"1,2")},
      {L"Vector4", failing(Vector4(), L"1,2,3,")},
      {L"Vector4", failing(Vector4(), L"")},
      {L"Quaternion", failing(propertyDefaultValue<Quaternion>(), L"1;2;3;4")},
      {L"Time", failing(Time(), L"2012-13")},
      {L"Uuid", failing(Uuid(), L"00112233-4455-6677-8899-aabbccddeefg")},
      {L"uuid_node_t", failing(uuid_node_t(), L"a0b1c2d3e4f")},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(raised(c.action), std::wstring(L"-1 void convertPropertyToClass(String const &,") + c.type + L" &)");
  }
}

TEST(PropertyConvertTest, ReadingFailureKeepsAScannedValue) {
  Point point(7, 8);
  EXPECT_NE(raised([&] { convertPropertyToClass(L"1", point); }), L"");
  EXPECT_EQ(point, Point(7, 8));
}

// ---- containers ---------------------------------------------------------------------

TEST(PropertyConvertTest, EmptyContainersAndEmptyTextsMeet) {
  std::vector<int> array{9};
  std::list<String> list{L"x"};
  std::map<String, Point> map{{L"k", Point(1, 1)}};
  convertPropertyToClass(L" # only a note", array);
  convertPropertyToClass(L"", list);
  convertPropertyToClass(L"\r\n", map);
  EXPECT_TRUE(array.empty() && list.empty() && map.empty());
  EXPECT_EQ(written(array), L"");
  EXPECT_EQ(written(list), L"");
  EXPECT_EQ(written(map), L"");
}

TEST(PropertyConvertTest, SequencesIgnoreItemNamesAndComments) {
  EXPECT_EQ(read<std::vector<int>>(L"a{1}b:float{2}"), (std::vector<int>{1, 2}));
  EXPECT_EQ(read<std::list<int>>(L"# first\n {3} # second\n\t{x}{ 4 }# end"), (std::list<int>{3, 0, 4}));
  const std::vector<String> texts{L"a{b}", L"", L"back\\slash\n"};
  EXPECT_EQ(written(texts), L"{a\\{b\\}}{}{back\\\\slash\n}");
  EXPECT_EQ(read<std::vector<String>>(written(texts).c_str()), texts);
  EXPECT_EQ(written(std::list<Point>{Point(1, 2), Point(3, 4)}), L"{1,2}{3,4}");
}

TEST(PropertyConvertTest, MapsKeyByNameAndLaterKeysReplace) {
  const auto map = read<std::map<String, int>>(L"b{2} a:int{1} b{3}");
  EXPECT_EQ(map, (std::map<String, int>{{L"a", 1}, {L"b", 3}}));
  EXPECT_EQ(written(map), L"a:{1}b:{3}");
  EXPECT_EQ(written(std::map<String, String>{{L"a", L"b"}}), L"a:{b}");
  const auto rotations = read<std::map<String, Quaternion>>(L"q{1,2,3,4}");
  EXPECT_EQ(rotations.at(L"q"), Quaternion(1, 2, 3, 4));
}

TEST(PropertyConvertTest, ContainersOfContainersNest) {
  const std::vector<std::list<int>> nested{{1, 2}, {}, {3}};
  EXPECT_EQ(written(nested), L"{{1}{2}}{}{{3}}");
  EXPECT_EQ(read<std::vector<std::list<int>>>(L"{{1}{2}}{}{{3}}"), nested);
}

TEST(PropertyConvertTest, ContainersPassOnFailures) {
  std::vector<Point> points;
  EXPECT_EQ(raised([&] { convertPropertyToClass(L"{1,2}{3}", points); }),
            L"-1 void convertPropertyToClass(String const &,Point &)");
  EXPECT_EQ(points.size(), 1u);
  for (const wchar_t* text : {L"{1}{2", L"{1} 2", L"{1}a b{2}", L"{1}\\{2}"}) {
    std::map<String, int> map;
    EXPECT_EQ(raised([&] { convertPropertyToClass(text, map); }), L"-1 String readPropertyValue(String &)") << text;
  }
}

TEST(PropertyConvertTest, ItemWalkGivesNameTypeAndValue) {
  std::wstring seen;
  forEachPropertyItem(L"a:T{1} {} # c\n:U{{x}}", [&seen](const PropertyItem& item) {
    seen.append(item.name).append(L"|").append(item.type).append(L"|").append(item.value).append(L";");
  });
  EXPECT_EQ(seen, L"a|T|1;||;|U|{x};");
}

}  // namespace
}  // namespace orvo
