// The calendar: values and fields on every day of ten thousand years, the text
// form and its rejections, the zone names, and the local zone, checked under
// whatever zone the machine has and under fixed zones in child processes.
#include <gtest/gtest.h>

#include <spawn.h>
#include <sys/wait.h>
#include <time.h>

#include <climits>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include <orvo/core/Time.h>

extern char** environ;

// With `using namespace orvo;` the argument chooses between the C library's
// functions and the library's; time(nullptr) fits both and is refused.
namespace user_code {
using namespace orvo;
template <class P>
concept CallsTime = requires(P p) { time(p); };
static_assert(std::is_same_v<decltype(gmtime(std::declval<const time_t*>())), ::tm*>);
static_assert(std::is_same_v<decltype(gmtime(std::declval<long long>())), ::tm>);
static_assert(std::is_same_v<decltype(mktime(std::declval<::tm*>())), time_t>);
static_assert(std::is_same_v<decltype(mktime(std::declval<const ::tm&>())), long long>);
static_assert(CallsTime<time_t*> && CallsTime<long long*> && !CallsTime<std::nullptr_t>);
}  // namespace user_code

namespace orvo {
namespace {

constexpr long long kDay = 86400;

std::tm fieldsOf(int year, int month, int day, int hour = 0, int minute = 0, int second = 0) {
  std::tm fields{};
  fields.tm_year = year, fields.tm_mon = month, fields.tm_mday = day;
  fields.tm_hour = hour, fields.tm_min = minute, fields.tm_sec = second;
  return fields;
}

std::wstring text(const String& string) { return string.getBuffer(); }

// Every day from 0000-01-01 to 9999-12-31 follows the one before by a day;
// gmtime gives its date back, and from year 1 on glibc's timegm (whose
// calendar has a leap year 0) agrees on the weekday and, after the offset,
// on the value of each first of a month.
TEST(CalendarTest, EveryDayFromYear0To9999) {
  long long value = 0;
  int weekday = 0, dayOfYear = 0;
  for (int year = 0; year <= 9999; ++year) {
    const bool leap = year != 0 && ((year % 4 == 0 && year % 100 != 0) || year % 400 == 0);
    ASSERT_EQ(isLeapYear(year), leap) << year;
    dayOfYear = 0;
    for (int month = 1; month <= 12; ++month) {
      const int days = month == 2 ? 28 + leap : month == 4 || month == 6 || month == 9 || month == 11 ? 30 : 31;
      if (year > 0 && month == 1) {
        std::tm glibc{0, 0, 0, 1, 0, year - 1900, 0, 0, 0, 0, nullptr};
        ASSERT_EQ(value - 62167132800, timegm(&glibc)) << year;
        ASSERT_EQ(weekday, glibc.tm_wday) << year;
      }
      for (int day = 1; day <= days; ++day, value += kDay, weekday = (weekday + 1) % 7, ++dayOfYear) {
        ASSERT_EQ(mktime(fieldsOf(year, month, day)), value) << year << "-" << month << "-" << day;
        const std::tm back = gmtime(value + kDay - 1);
        ASSERT_TRUE(back.tm_year == year && back.tm_mon == month && back.tm_mday == day && back.tm_hour == 23 &&
                    back.tm_min == 59 && back.tm_sec == 59 && back.tm_wday == weekday && back.tm_yday == dayOfYear &&
                    back.tm_isdst == 0)
            << year << "-" << month << "-" << day;
      }
    }
  }
  EXPECT_EQ(value, mktime(fieldsOf(10000, 1, 1)));
}

// Out-of-range fields: a month carries into the year, the rest simply add;
// fields other than the six are not read.
TEST(CalendarTest, FieldsOutsideTheirRangesCarry) {
  std::tm ignored = fieldsOf(2012, 3, 1);
  ignored.tm_wday = 5, ignored.tm_yday = 200, ignored.tm_isdst = 1;
  const std::pair<std::tm, std::tm> same[] = {
      {fieldsOf(2012, 13, 1), fieldsOf(2013, 1, 1)},    {fieldsOf(2012, 25, 1), fieldsOf(2014, 1, 1)},
      {fieldsOf(2012, 0, 1), fieldsOf(2011, 12, 1)},    {fieldsOf(2012, -11, 1), fieldsOf(2011, 1, 1)},
      {fieldsOf(2012, -12, 1), fieldsOf(2010, 12, 1)},  {fieldsOf(2012, 3, 0), fieldsOf(2012, 2, 29)},
      {fieldsOf(2012, 1, 0), fieldsOf(2011, 12, 31)},   {fieldsOf(2012, 1, 1, 48), fieldsOf(2012, 1, 3)},
      {fieldsOf(2012, 1, 1, 0, 0, -1), fieldsOf(2011, 12, 31, 23, 59, 59)}, {ignored, fieldsOf(2012, 3, 1)},
      {fieldsOf(2000, 2, 30), fieldsOf(2000, 3, 1)},    {fieldsOf(1900, 2, 29), fieldsOf(1900, 3, 1)},
  };
  for (const auto& [fields, expected] : same) EXPECT_EQ(mktime(fields), mktime(expected)) << fields.tm_mon << " " << fields.tm_mday;
  EXPECT_EQ(mktime(fieldsOf(1970, 1, 1)), 62167132800);
  EXPECT_EQ(mktime(fieldsOf(0, 3, 1)), 59 * kDay);
}

// Before year 0 gmtime still inverts mktime, and the extremes of the value
// range give fields within their ranges.
TEST(CalendarTest, ValuesBeforeYear0AndAtTheEndsOfTheRange) {
  for (long long value : {-1LL, -kDay, -366 * kDay - 5, -1461 * kDay + 7, -400 * 146097 * kDay - 1, LLONG_MIN, LLONG_MAX}) {
    const std::tm fields = gmtime(value);
    EXPECT_TRUE(fields.tm_sec >= 0 && fields.tm_sec < 60 && fields.tm_min >= 0 && fields.tm_min < 60 && fields.tm_hour >= 0 &&
                fields.tm_hour < 24 && fields.tm_mon >= 1 && fields.tm_mon <= 12 && fields.tm_mday >= 1 && fields.tm_wday >= 0 &&
                fields.tm_wday < 7 && fields.tm_yday >= 0 && fields.tm_yday <= 365)
        << value;
    if (value != LLONG_MIN && value != LLONG_MAX) {
      EXPECT_EQ(mktime(fields), value);
    }
  }
  EXPECT_EQ(gmtime(-1).tm_year, -1);
}

// One table for the text form: accepted texts with their fields and zone,
// rejected ones. A rejected text leaves the object as it was.
TEST(TimeTest, ConvertFromString) {
  constexpr int kLocal = 1;  // no zone bias is odd: 1 stands for the local one
  struct Case {
    const wchar_t* text;
    bool accepted;
    std::tm fields;
    int bias;
  };
  const std::tm none{};
  const Case cases[] = {
      {L"", true, fieldsOf(0, 1, 1), kLocal},
      {L"2012", true, fieldsOf(2012, 1, 1), kLocal},
      {L"2012/5-6", true, fieldsOf(2012, 5, 6), kLocal},
      {L"2012-05-06 7", true, fieldsOf(2012, 5, 6, 7), kLocal},
      {L"2012-05-06 10:20:30 Etc/GMT-8", true, fieldsOf(2012, 5, 6, 10, 20, 30), -28800},
      {L"2012-05-06 10:20:30 Etc/GMT+5", true, fieldsOf(2012, 5, 6, 10, 20, 30), 18000},
      {L"2012-05-06 10:20:30 nonsense", true, fieldsOf(2012, 5, 6, 10, 20, 30), kLocal},
      {L"2012-05-06 10:20:30ZEtc/GMT+7", true, fieldsOf(2012, 5, 6, 10, 20, 30), kLocal},
      {L"2012-05-06 10:20:30 Etc/GMT+99999999999", true, fieldsOf(2012, 5, 6, 10, 20, 30), INT_MAX},
      {L"2000-02-29 23:59:59", true, fieldsOf(2000, 2, 29, 23, 59, 59), kLocal},
      {L"2147483647-12-31", true, fieldsOf(INT_MAX, 12, 31), kLocal},
      {L"2012-4294967297", true, fieldsOf(2012, 1, 1), kLocal},  // digits wrap at 2^32
      {L"0000-02-29", false, none, 0}, {L"1900-02-29", false, none, 0}, {L"2001-02-29", false, none, 0},
      {L"2012-04-31", false, none, 0}, {L"2012-11-31", false, none, 0}, {L"2012-13", false, none, 0},    {L"2012-00", false, none, 0},
      {L"2012-05-00", false, none, 0}, {L"2012-05-32", false, none, 0}, {L"2012-05-06 24", false, none, 0},
      {L"2012-05-06 1:60", false, none, 0}, {L"2012-05-06 1:2:60", false, none, 0}, {L"2147483648", false, none, 0},
      {L"x", false, none, 0},           {L"-5", false, none, 0},          {L" 2012", false, none, 0},
      {L"2012-", false, none, 0},       {L"2012.05", false, none, 0},     {L"2012-05-06 ", false, none, 0},
      {L"2012-05-06 Etc/GMT+8", false, none, 0}, {L"2012-05-06T10", false, none, 0}, {L"2012-05-06\t10", false, none, 0},
      {L"2012-05-06 10-20", false, none, 0}, {L"\xff12\xff10", false, none, 0},
  };
  for (const Case& c : cases) {
    Time time(123456789);
    const int hour = time.getHour();
    EXPECT_EQ(time.convertFromString(c.text), c.accepted) << c.text;
    const long long expected = c.accepted ? mktime(c.fields) + (c.bias == kLocal ? getTimeBias() : c.bias) : 123456789;
    EXPECT_EQ(time.getValue(), expected) << c.text;
    EXPECT_EQ(time.getHour(), c.accepted ? localtime(expected).tm_hour : hour) << c.text;
  }
  Time time(5);
  EXPECT_FALSE(time.convertFromString(nullptr));
  EXPECT_EQ(time.getValue(), 5);
}

// Written in local time, the year without padding; a default Time writes
// nothing, and so does local midnight of year 0 when the bias is 0.
TEST(TimeTest, ConvertToStringReadsBack) {
  for (const wchar_t* written : {L"5-01-01 00:00:00", L"2012-05-06 10:20:30", L"9999-12-31 23:59:59", L"0-01-01 00:00:00"}) {
    Time time;
    ASSERT_TRUE(time.convertFromString(written));
    EXPECT_EQ(text(time.convertToString()), getTimeBias() == 0 && written[0] == L'0' ? L"" : written);
  }
  Time unset;
  EXPECT_FALSE(unset.isValid());
  EXPECT_EQ(unset, Time(-static_cast<long long>(getTimeBias())));
  EXPECT_EQ(text(unset.convertToString()), L"");
  long long stored = 0;
  const long long before = ::time(nullptr) + 62167132800, now = orvo::time(&stored);
  EXPECT_EQ(stored, now);
  EXPECT_TRUE(now >= before && now <= ::time(nullptr) + 62167132800);
}

TEST(TimeZoneTest, NamesAndBiases) {
  const std::pair<int, const wchar_t*> names[] = {{-28800, L"Etc/GMT-8"}, {0, L"Etc/GMT+0"},         {18000, L"Etc/GMT+5"},
                                                  {-19800, L"Etc/GMT-5"}, {-1800, L"Etc/GMT-0"},        {3599, L"Etc/GMT+0"},
                                                  {INT_MIN, L"Etc/GMT-596523"}, {INT_MAX, L"Etc/GMT+596523"}};
  for (const auto& [bias, name] : names) {
    EXPECT_EQ(text(getZoneName(bias)), name) << bias;
    EXPECT_EQ(getZoneBias(name), bias / 3600 * 3600) << bias;
  }
  const int local = getTimeBias();
  const std::pair<const wchar_t*, int> biases[] = {
      {L"Etc/GMT+ 3", 10800},  {L"Etc/GMT+3x", 10800}, {L"Etc/GMT+x", 0},       {L"Etc/GMT+-2", -7200},
      {L"Etc/GMT-99999999999", INT_MIN}, {L"Etc/GMT+999999999999999999999", INT_MAX}, {L"Etc/GMT+596524", INT_MAX},
      {L"Etc/GMT8", local},    {L"Etc/GMT", local},    {L"etc/GMT+1", local}, {L"Etc/GMX+1", local},   {L"", local}, {nullptr, local}, {L"UTC", local}};
  for (const auto& [name, bias] : biases) EXPECT_EQ(getZoneBias(name), bias) << (name ? name : L"null");
}

// Each row runs in a child process started with TZ set: the bias, the text
// written for a fixed instant, the zone's name, and a Time that keeps its
// local fields when the zone changes while its copy takes the new zone.
struct FixedZone {
  const char* tz;
  int bias;
  const wchar_t* written;
  const wchar_t* name;
};
const FixedZone kZones[] = {{"Asia/Shanghai", -28800, L"2012-05-06 10:20:30", L"Etc/GMT-8"},
                            {"America/New_York", 18000, L"2012-05-05 21:20:30", L"Etc/GMT+5"},
                            {"UTC", 0, L"2012-05-06 02:20:30", L"Etc/GMT+0"},
                            {"Asia/Kolkata", -19800, L"2012-05-06 07:50:30", L"Etc/GMT-5"}};

void checkFixedZone(const FixedZone& zone) {
  EXPECT_EQ(getTimeBias(), zone.bias);
  EXPECT_EQ(text(getZoneName(getTimeBias())), zone.name);
  Time time;
  EXPECT_EQ(time.isValid(), false);
  EXPECT_EQ(Time(0).isValid(), zone.bias != 0);
  ASSERT_TRUE(time.convertFromString(L"2012-05-06 10:20:30 Etc/GMT-8"));
  EXPECT_EQ(text(time.convertToString()), zone.written);
  setenv("TZ", "Etc/GMT+3", 1);
  tzset();
  const Time copy = time;
  Time assigned(1);
  assigned.getHour();
  assigned = time;
  EXPECT_EQ(text(time.convertToString()), zone.written);
  EXPECT_EQ(text(copy.convertToString()), L"2012-05-05 23:20:30");
  EXPECT_EQ(text(assigned.convertToString()), L"2012-05-05 23:20:30");
}

TEST(TimeZoneTest, FixedZonesInChildProcesses) {
  if (const char* row = std::getenv("ORVO_TIME_ZONE_ROW")) return checkFixedZone(kZones[std::atoi(row)]);
  for (std::size_t row = 0; row < std::size(kZones); ++row) {
    std::vector<std::string> settings = {"ORVO_TIME_ZONE_ROW=" + std::to_string(row), std::string("TZ=") + kZones[row].tz};
    std::vector<char*> environment;
    for (std::string& setting : settings) environment.push_back(setting.data());
    for (char** variable = environ; *variable; ++variable) {
      if (std::strncmp(*variable, "TZ=", 3) != 0) environment.push_back(*variable);
    }
    environment.push_back(nullptr);
    char program[] = "/proc/self/exe", filter[] = "--gtest_filter=TimeZoneTest.FixedZonesInChildProcesses";
    char brief[] = "--gtest_brief=1";
    char* arguments[] = {program, filter, brief, nullptr};
    pid_t child = 0;
    ASSERT_EQ(posix_spawn(&child, program, nullptr, nullptr, arguments, environment.data()), 0);
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << kZones[row].tz;
  }
}

}  // namespace
}  // namespace orvo
