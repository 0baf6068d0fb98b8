// The text forms of the property value types and their containers: tables of
// texts read and of values written, every failure message, and the container
// forms over the item walk.
#include <gtest/gtest.h>

#include <climits>
#include <string>

#include <orvo/core/Exception.h>
#include <orvo/core/PropertyConvert.h>

namespace orvo {
namespace {

template <class T>
std::wstring written(const T& value) {
  String text(L"old");
  convertPropertyToString(value, text);
  return text.getBuffer();
}

template <class T>
T read(const std::wstring& text) {
  T value = propertyDefaultValue<T>();
  convertPropertyToClass(text.c_str(), value);
  return value;
}

// "code message" of what reading `text` into a T raised, or "" if nothing.
template <class T>
std::wstring raisedBy(const wchar_t* text, T value = propertyDefaultValue<T>()) {
  try {
    convertPropertyToClass(text, value);
  } catch (const Exception& e) {
    return std::to_wstring(e.code) + L" " + e.message;
  }
  return L"";
}

// Each row: a text, then what int, uint32_t, int16_t, uint16_t, int8_t,
// uint8_t, Varint and TimeSpan read from it. Narrow types keep the low bits of
// a saturated int, the others of a saturated 64-bit number.
TEST(PropertyConvertTest, ReadsIntegersAsTheRuntimeDoes) {
  const struct {
    const wchar_t* text;
    long long expected[8];
  } cases[] = {
      {L" \t+7 apples", {7, 7, 7, 7, 7, 7, 7, 7}},
      {L"-1", {-1, 4294967295, -1, 65535, -1, 255, -1, -1}},
      {L"70000", {70000, 70000, 4464, 4464, 112, 112, 70000, 70000}},
      {L"4294967295", {INT_MAX, 4294967295, -1, 65535, -1, 255, -1, 4294967295}},
      {L"-2147483649", {INT_MIN, 2147483647, 0, 0, 0, 0, INT_MAX, -2147483649}},
      {L"-99999999999999999999", {INT_MIN, 0, 0, 0, 0, 0, 0, LLONG_MIN}},
  };
  for (const auto& c : cases) {
    const long long got[8] = {read<int>(c.text),           read<std::uint32_t>(c.text),     read<std::int16_t>(c.text),
                              read<std::uint16_t>(c.text), read<std::int8_t>(c.text),       read<std::uint8_t>(c.text),
                              read<Varint>(c.text).value,  read<TimeSpan>(c.text).getSpan()};
    for (int i = 0; i < 8; ++i) EXPECT_EQ(got[i], c.expected[i]) << c.text << " column " << i;
  }
}

// Each row a value written, most of them read first from a text.
TEST(PropertyConvertTest, ReadsAndWritesEachType) {
  const String tricky(L"\\{\\\\}\n{{}\r\n\\");
  const wchar_t* id = L"00112233-4455-6677-8899-aabbccddeeff";
  const std::pair<std::wstring, std::wstring> cases[] = {
      {written(INT_MIN), L"-2147483648"},
      {written(std::uint32_t{4294967295u}), L"4294967295"},
      {written(std::int16_t{-32768}) + written(std::uint16_t{65535}), L"-3276865535"},
      {written(std::int8_t{-1}) + written(std::uint8_t{255}), L"-1255"},
      {written(Varint(INT_MIN)), L"-2147483648"},
      {written(TimeSpan(LLONG_MIN)), L"-9223372036854775808"},
      {written(0.1234567f) + written(read<float>(L"1e39")), L"0.123457inf"},
      {written(read<double>(L" -2.25e1x")) + written(read<double>(L"no")), L"-22.5000000.000000"},
      {std::to_wstring(written(1e300).size()), L"308"},
      {written(read<bool>(L"true")) + written(read<bool>(L"True")) + written(read<bool>(L"1")), L"truefalsefalse"},
      {written(read<bool>(L" true")) + written(read<bool>(L"")), L"falsefalse"},
      {read<String>(L"\\\\{ \\} \\n").getBuffer(), L"{ } \\n"},  // "\\{" gives "\{", then "{"
      {read<String>(written(tricky)).getBuffer(), tricky.getBuffer()},
      {written(String(L"a\\b{c}\r\n\"")), L"a\\\\b\\{c\\}\r\n\""},
      {written(read<Point>(L"1, 2")) + L";" + written(read<Point>(L" -3,\t4,5 tail")), L"1,2;-3,4"},
      {written(read<Pointf>(L"1.5,-2e1")), L"1.500000,-20.000000"},
      {written(read<Rect>(L"1,2,3,4")), L"1,2,3,4"},
      {written(read<Rectf>(L"0.5, 1,2,3e0")), L"0.500000,1.000000,2.000000,3.000000"},
      {written(read<Vector2>(L"1,2")), L"1.000000,2.000000"},
      {written(read<Vector3>(L"1,2,3")), L"1.000000,2.000000,3.000000"},
      {written(read<Vector4>(L"1,2,3,4")), L"1.000000,2.000000,3.000000,4.000000"},
      {written(read<Quaternion>(L"4,3,2,1")), L"4.000000,3.000000,2.000000,1.000000"},
      {written(propertyDefaultValue<Quaternion>()), L"0.000000,0.000000,0.000000,1.000000"},
      {written(read<Buffer>(L"01AB")), L"01ab"},
      {written(read<Time>(L"2012-05-06 10:20:30")), L"2012-05-06 10:20:30"},
      {written(read<Uuid>(id)), id},
      {written(read<uuid_node_t>(L"A0B1C2D3E4F5")), L"a0b1c2d3e4f5"},
  };
  for (const auto& [got, expected] : cases) EXPECT_EQ(got, expected);
}

// Each value that cannot be read raises its own message, code -1.
TEST(PropertyConvertTest, RaisesOnTextThatDoesNotRead) {
  const std::pair<std::wstring, const wchar_t*> cases[] = {
      {raisedBy<Buffer>(L"abc"), L"Buffer"},         {raisedBy<Point>(L"1 ,2"), L"Point"},
      {raisedBy<Pointf>(L"1"), L"Pointf"},           {raisedBy<Rect>(L"1,2,3"), L"Rect"},
      {raisedBy<Rectf>(L"1,2 ,3,4"), L"Rectf"},      {raisedBy<Vector2>(L"x,1"), L"Vector2"},
      {raisedBy<Vector3>(L"1,2"), L"Vector3"},       {raisedBy<Vector4>(L""), L"Vector4"},
      {raisedBy<Quaternion>(L"1;2;3;4"), L"Quaternion"}, {raisedBy<Time>(L"2012-13"), L"Time"},
      {raisedBy<Uuid>(L"00112233-4455-6677-8899-aabbccddeefg"), L"Uuid"},
      {raisedBy<uuid_node_t>(L"a0b1c2d3e4f"), L"uuid_node_t"}};
  for (const auto& [got, type] : cases) {
    EXPECT_EQ(got, std::wstring(L"-1 void convertPropertyToClass(String const &,") + type + L" &)");
  }
}

// ---- containers ---------------------------------------------------------------------

TEST(PropertyConvertTest, ContainersReadItemsAndWriteFrames) {
  EXPECT_EQ(read<std::vector<int>>(L" # only a note"), std::vector<int>());
  EXPECT_EQ(read<std::vector<int>>(L"a{1}b:float{2}"), (std::vector<int>{1, 2}));
  EXPECT_EQ(read<std::list<int>>(L"# first\n {3} # second\n\t{x}{ 4 }# end"), (std::list<int>{3, 0, 4}));
  const auto map = read<std::map<String, int>>(L"b{2} a:int{1} b{3}");
  EXPECT_EQ(map, (std::map<String, int>{{L"a", 1}, {L"b", 3}}));
  std::vector<std::list<String>> nested{{L"a{b}", L""}, {}, {L"back\\slash\n"}};
  EXPECT_EQ(read<decltype(nested)>(written(nested)), nested);
  EXPECT_EQ(written(std::vector<int>()) + written(std::list<Point>()) + written(std::map<String, int>()), L"");
  EXPECT_EQ(written(std::list<Point>{Point(1, 2), Point(3, 4)}), L"{1,2}{3,4}");
  EXPECT_EQ(written(std::map<String, String>{{L"b", L"}"}, {L"a", L"b"}}), L"a:{b}b:{\\}}");
}

TEST(PropertyConvertTest, ContainersPassOnFailures) {
  EXPECT_EQ(raisedBy<std::vector<Point>>(L"{1,2}{3}"), L"-1 void convertPropertyToClass(String const &,Point &)");
  for (const wchar_t* text : {L"{1}{2", L"{1} 2", L"{1}a b{2}", L"{1}\\{2}"}) {
    EXPECT_EQ((raisedBy<std::map<String, int>>(text)), L"-1 String readPropertyValue(String &)") << text;
  }
  Point point(7, 8);  // a value that does not read stays as it was
  EXPECT_NE(raisedBy<Point&>(L"1,", point), L"");
  Buffer bytes = read<Buffer>(L"01");
  EXPECT_NE(raisedBy<Buffer&>(L"abzz", bytes), L"");
  EXPECT_EQ(point, Point(7, 8));
  EXPECT_EQ(written(bytes), L"01");
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
