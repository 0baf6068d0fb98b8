// The calendar: values and fields on every day of ten thousand years, the text
// form and its rejections, the zone names, and the local zone, checked under
// whatever zone the machine has and under fixed zones in child processes.
#include <gtest/gtest.h>

#include <sys/wait.h>
#include <time.h>

#include <climits>
#include <cstdlib>
#include <filesystem>
#include <string>

#include <orvo/core/Time.h>

// With `using namespace orvo;` the argument chooses between the C library's
// functions and the library's; time(nullptr) fits both and is refused.
namespace user_code {
using namespace orvo;
template <class P>
concept CallsTime = requires(P p) { time(p); };
static_assert(std::is_same_v<decltype(gmtime(std::declval<const time_t*>())), ::tm*> &&
              std::is_same_v<decltype(gmtime(std::declval<long long>())), ::tm> &&
              std::is_same_v<decltype(mktime(std::declval<::tm*>())), time_t> &&
              std::is_same_v<decltype(mktime(std::declval<const ::tm&>())), long long>);
static_assert(CallsTime<time_t*> && CallsTime<long long*> && !CallsTime<std::nullptr_t>);
}  // namespace user_code

namespace orvo {
namespace {

constexpr long long kDay = 86400;

std::tm fieldsOf(int year, int month, int day, int hour = 0, int minute = 0, int second = 0) {
  return {second, minute, hour, day, month, year, 0, 0, 0, 0, nullptr};
}
std::wstring text(const String& string) { return string.getBuffer(); }

// Every day from 0000-01-01 to 9999-12-31 follows the one before by a day, and
// gmtime of its last second gives it back. From year 1 on glibc's timegm (whose
// calendar has a leap year 0) agrees on each new year's weekday and value.
TEST(CalendarTest, EveryDayFromYear0To9999) {
  long long value = 0;
  int weekday = 0;
  for (int year = 0; year <= 9999; ++year) {
    const bool leap = year != 0 && ((year % 4 == 0 && year % 100 != 0) || year % 400 == 0);
    std::tm glibc = fieldsOf(year - 1900, 0, 1);
    ASSERT_TRUE(isLeapYear(year) == leap && (year == 0 || (value - 62167132800 == timegm(&glibc) && weekday == glibc.tm_wday))) << year;
    for (int month = 1, dayOfYear = 0; month <= 12; ++month) {
      const int days = month == 2 ? 28 + leap : month == 4 || month == 6 || month == 9 || month == 11 ? 30 : 31;
      for (int day = 1; day <= days; ++day, value += kDay, weekday = (weekday + 1) % 7, ++dayOfYear) {
        const std::tm back = gmtime(value + kDay - 1);
        ASSERT_TRUE(mktime(fieldsOf(year, month, day)) == value && back.tm_year == year && back.tm_mon == month &&
                    back.tm_mday == day && back.tm_hour == 23 && back.tm_min == 59 && back.tm_sec == 59 &&
                    back.tm_wday == weekday && back.tm_yday == dayOfYear && back.tm_isdst == 0)
            << year << "-" << month << "-" << day;
      }
    }
  }
  EXPECT_EQ(value, mktime(fieldsOf(10000, 1, 1)));
}

// A month out of range carries into the year, other fields simply add, and
// fields beyond the six are not read. Before year 0 gmtime still inverts
// mktime; at the ends of the value range its fields stay in range.
TEST(CalendarTest, FieldsOutOfRangeAndValuesBeforeYear0) {
  std::tm ignored = fieldsOf(2012, 3, 1);
  ignored.tm_wday = 5, ignored.tm_yday = 200, ignored.tm_isdst = 1;
  const std::pair<std::tm, std::tm> same[] = {
      {fieldsOf(2012, 13, 1), fieldsOf(2013, 1, 1)}, {fieldsOf(2012, 25, 1), fieldsOf(2014, 1, 1)},
      {fieldsOf(2012, 0, 1), fieldsOf(2011, 12, 1)}, {fieldsOf(2012, -11, 1), fieldsOf(2011, 1, 1)},
      {fieldsOf(2012, -12, 1), fieldsOf(2010, 12, 1)}, {fieldsOf(2012, 3, 0), fieldsOf(2012, 2, 29)},
      {fieldsOf(2012, 1, 0), fieldsOf(2011, 12, 31)}, {fieldsOf(2012, 1, 1, 48), fieldsOf(2012, 1, 3)}, {ignored, fieldsOf(2012, 3, 1)},
      {fieldsOf(2012, 1, 1, 0, 0, -1), fieldsOf(2011, 12, 31, 23, 59, 59)}, {fieldsOf(1900, 2, 29), fieldsOf(1900, 3, 1)}};
  for (const auto& [fields, expected] : same) EXPECT_EQ(mktime(fields), mktime(expected)) << fields.tm_mon << " " << fields.tm_mday;
  for (long long value : {-1LL, -kDay, -366 * kDay - 5, -1461 * kDay + 7, -400 * 146097 * kDay - 1, LLONG_MIN, LLONG_MAX}) {
    const std::tm f = gmtime(value);
    EXPECT_TRUE(f.tm_sec >= 0 && f.tm_sec < 60 && f.tm_min >= 0 && f.tm_min < 60 && f.tm_hour >= 0 && f.tm_hour < 24 && f.tm_mon >= 1 &&
                f.tm_mon <= 12 && f.tm_mday >= 1 && f.tm_wday >= 0 && f.tm_wday < 7 && f.tm_yday >= 0 && f.tm_yday <= 365 &&
                (value == LLONG_MIN || value == LLONG_MAX || mktime(f) == value))
        << value;
  }
}

// Accepted texts with their fields and zone (kLocal for the local bias), then
// rejected ones, which leave the object as it was.
TEST(TimeTest, ConvertFromString) {
  constexpr int kLocal = 1;
  const std::tuple<const wchar_t*, std::tm, int> accepted[] = {
      {L"", fieldsOf(0, 1, 1), kLocal}, {L"2012", fieldsOf(2012, 1, 1), kLocal}, {L"2012/5-6", fieldsOf(2012, 5, 6), kLocal},
      {L"2012-05-06 7", fieldsOf(2012, 5, 6, 7), kLocal}, {L"2000-02-29 23:59:59", fieldsOf(2000, 2, 29, 23, 59, 59), kLocal},
      {L"2012-05-06 10:20:30 Etc/GMT-8", fieldsOf(2012, 5, 6, 10, 20, 30), -28800},
      {L"2012-05-06 10:20:30 Etc/GMT+5", fieldsOf(2012, 5, 6, 10, 20, 30), 18000},
      {L"2012-05-06 10:20:30 nonsense", fieldsOf(2012, 5, 6, 10, 20, 30), kLocal},
      {L"2012-05-06 10:20:30ZEtc/GMT+7", fieldsOf(2012, 5, 6, 10, 20, 30), kLocal},
      {L"2012-05-06 10:20:30 Etc/GMT+99999999999", fieldsOf(2012, 5, 6, 10, 20, 30), INT_MAX},
      {L"2147483647-12-31", fieldsOf(INT_MAX, 12, 31), kLocal}, {L"2012-4294967297", fieldsOf(2012, 1, 1), kLocal}};  // digits wrap at 2^32
  for (const auto& [text, fields, bias] : accepted) {
    Time time(123456789);
    time.getHour();
    const long long expected = mktime(fields) + (bias == kLocal ? getTimeBias() : bias);
    EXPECT_TRUE(time.convertFromString(text) && time.getValue() == expected && time.getHour() == localtime(expected).tm_hour) << text;
  }
  for (const wchar_t* text : std::initializer_list<const wchar_t*>
       {L"0000-02-29", L"1900-02-29", L"2001-02-29", L"2012-04-31", L"2012-06-31", L"2012-09-31", L"2012-11-31", L"2012-13",
        L"2012-00", L"2012-05-00", L"2012-05-32", L"2012-05-06 24", L"2012-05-06 1:60", L"2012-05-06 1:2:60", L"2147483648", L"x",
        L"-5", L" 2012", L"2012-", L"2012.05", L"2012-05-06 ", L"2012-05-06 Etc/GMT+8", L"2012-05-06T10", L"2012-05-06\t10",
        L"2012-05-06 10-20", L"\xff12\xff10", nullptr}) {
    Time time(123456789);
    EXPECT_TRUE(!time.convertFromString(text) && time.getValue() == 123456789) << (text ? text : L"null");
  }
}

// Local fields; a TimeSpan keeps its count. Written in local time, the year
// without padding; a default Time writes nothing, and so does local midnight
// of year 0 when the bias is 0.
TEST(TimeTest, LocalFieldsTextAndNow) {
  Time local;
  EXPECT_TRUE(local.convertFromString(L"2012-05-06 10:20:30") && local.getYear() == 2012 && local.getMonth() == 5 && local.getDay() == 6 &&
              local.getHour() == 10 && local.getMinute() == 20 && local.getSecond() == 30);
  EXPECT_TRUE(TimeSpan(-5).getSpan() == -5 && TimeSpan(-5) == TimeSpan(-5) && !(TimeSpan() == TimeSpan(-5)) && TimeSpan().getSpan() == 0);
  for (const wchar_t* written : {L"5-01-01 00:00:00", L"2012-05-06 10:20:30", L"9999-12-31 23:59:59", L"0-01-01 00:00:00"}) {
    Time time;
    EXPECT_TRUE(time.convertFromString(written));
    EXPECT_EQ(text(time.convertToString()), getTimeBias() == 0 && written[0] == L'0' ? L"" : written);
  }
  EXPECT_TRUE(!Time().isValid() && Time() == Time(-static_cast<long long>(getTimeBias())) && text(Time().convertToString()).empty());
  long long stored = 0;
  const long long before = ::time(nullptr) + 62167132800, now = orvo::time(&stored);
  EXPECT_TRUE(stored == now && now >= before && now <= orvo::time(nullptr) && now <= ::time(nullptr) + 62167132800);
}

TEST(TimeZoneTest, NamesAndBiases) {
  const std::pair<int, const wchar_t*> names[] = {{-28800, L"Etc/GMT-8"}, {0, L"Etc/GMT+0"}, {18000, L"Etc/GMT+5"}, {-19800, L"Etc/GMT-5"},
                                                  {-1800, L"Etc/GMT-0"}, {3599, L"Etc/GMT+0"}, {INT_MIN, L"Etc/GMT-596523"},
                                                  {INT_MAX, L"Etc/GMT+596523"}};
  for (const auto& [bias, name] : names) EXPECT_TRUE(text(getZoneName(bias)) == name && getZoneBias(name) == bias / 3600 * 3600) << bias;
  const int local = getTimeBias();
  const std::pair<const wchar_t*, int> biases[] = {
      {L"Etc/GMT+ 3", 10800}, {L"Etc/GMT+3x", 10800}, {L"Etc/GMT+x", 0}, {L"Etc/GMT+-2", -7200}, {L"Etc/GMT-99999999999", INT_MIN},
      {L"Etc/GMT+999999999999999999999", INT_MAX}, {L"Etc/GMT+596524", INT_MAX}, {L"Etc/GMT8", local}, {L"Etc/GMT", local},
      {L"etc/GMT+1", local}, {L"Etc/GMX+1", local}, {L"", local}, {nullptr, local}, {L"UTC", local}};
  for (const auto& [name, bias] : biases) EXPECT_EQ(getZoneBias(name), bias) << (name ? name : L"null");
}

// Each row runs in a child process started with TZ set: the bias, the text
// written for a fixed instant, the zone's name; then a Time keeps its local
// fields when the zone changes, while a copy and an assignment take the new one.
// Zones are POSIX rules, which need no time zone database on the machine.
const std::tuple<const char*, int, const wchar_t*, const wchar_t*> kZones[] = {
    {"CST-8", -28800, L"2012-05-06 10:20:30", L"Etc/GMT-8"}, {"EST5EDT", 18000, L"2012-05-05 21:20:30", L"Etc/GMT+5"},
    {"UTC0", 0, L"2012-05-06 02:20:30", L"Etc/GMT+0"}, {"IST-5:30", -19800, L"2012-05-06 07:50:30", L"Etc/GMT-5"}};

void checkFixedZone(int bias, const wchar_t* written, const wchar_t* name) {
  Time time, assigned(1);
  EXPECT_TRUE(getTimeBias() == bias && text(getZoneName(bias)) == name && !time.isValid() && Time(0).isValid() == (bias != 0));
  EXPECT_TRUE(time.convertFromString(L"2012-05-06 10:20:30 Etc/GMT-8") && text(time.convertToString()) == written);
  assigned.getHour();
  setenv("TZ", "<-03>3", 1);
  tzset();
  const Time copy = time;
  assigned = time;
  EXPECT_TRUE(text(time.convertToString()) == written && text(copy.convertToString()) == L"2012-05-05 23:20:30" &&
              text(assigned.convertToString()) == L"2012-05-05 23:20:30");
}

TEST(TimeZoneTest, FixedZonesInChildProcesses) {
  if (const char* row = std::getenv("ORVO_TIME_ZONE_ROW")) {  // the child: 42 says that its checks ran and passed
    std::apply([](auto, auto... rest) { checkFixedZone(rest...); }, kZones[std::atoi(row)]);
    std::exit(HasFailure() ? 1 : 42);
  }
  const std::string self = std::filesystem::read_symlink("/proc/self/exe");
  for (std::size_t row = 0; row < std::size(kZones); ++row) {
    const std::string command = "env -u GTEST_OUTPUT -u GTEST_TOTAL_SHARDS -u GTEST_SHARD_INDEX TZ=" +
                                std::string(std::get<0>(kZones[row])) + " ORVO_TIME_ZONE_ROW=" + std::to_string(row) + " '" + self +
                                "' --gtest_brief=1 --gtest_filter=TimeZoneTest.FixedZonesInChildProcesses";
    const int status = std::system(command.c_str());
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 42) << command;
  }
}

}  // namespace
}  // namespace orvo
