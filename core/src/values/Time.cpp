#include <orvo/core/Time.h>

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cwchar>

#include "platform/SystemTime.h"

namespace orvo {
namespace {

// 1970-01-01 00:00:00 on the library's scale: 719527 days, one fewer than a
// proleptic calendar with a leap year 0 would count.
constexpr long long kUnixEpoch = 62167132800;
constexpr long long kSecondsPerDay = 86400;

// The first day of each month in the year, in a year of 365 and one of 366
// days; the last entry is the length of the year.
constexpr int kMonthStarts[2][13] = {{0, 31, 59, 90, 120, 151, 181, 212, 243, 273, 304, 334, 365},
                                     {0, 31, 60, 91, 121, 152, 182, 213, 244, 274, 305, 335, 366}};

// The day number of the first of January of `year`, where day 0 is
// 0000-01-01: mktime's count, with the leap days of the years before it
// counted by divisions that cut towards zero. That makes year 0 common.
long long firstDayOfYear(long long year) {
  const long long before = year - 1;
  return year * 365 + before / 4 - before / 100 + before / 400;
}

long long wrappingSubtract(long long value, int amount) {
  return static_cast<long long>(static_cast<unsigned long long>(value) - static_cast<unsigned long long>(static_cast<long long>(amount)));
}

int daysInMonth(int year, int month) {
  if (month == 2) return isLeapYear(year) ? 29 : 28;
  return month == 4 || month == 6 || month == 9 || month == 11 ? 30 : 31;
}

// The fields of the text form, in the order they are read: the characters
// that may stand before each one, and its range.
struct TextField {
  wchar_t separator;
  wchar_t otherSeparator;
  int low;
  int high;
};
constexpr TextField kTextFields[] = {
    {0, 0, 0, INT_MAX}, {L'-', L'/', 1, 12}, {L'-', L'/', 1, 31}, {L' ', L' ', 0, 23}, {L':', L':', 0, 59}, {L':', L':', 0, 59},
};
constexpr int kTextFieldCount = sizeof kTextFields / sizeof kTextFields[0];

bool isDigit(wchar_t c) { return c >= L'0' && c <= L'9'; }

// Reads year, month, day, hour, minute and second from the start of `text`
// into `values`, as far as the text goes. Returns where reading stopped, or
// null for a text that breaks the form. The digits wrap modulo 2^32 and are
// read as an int: an overlong field is caught by its range or not at all,
// as with the design's 32-bit sums, but never by undefined arithmetic.
const wchar_t* readTextFields(const wchar_t* text, int (&values)[kTextFieldCount]) {
  for (int index = 0; index < kTextFieldCount && *text != 0; ++index) {
    const TextField& field = kTextFields[index];
    if (index > 0) {
      if (*text != field.separator && *text != field.otherSeparator) return nullptr;
      ++text;
    }
    if (!isDigit(*text)) return nullptr;
    std::uint32_t sum = 0;
    do {
      sum = sum * 10 + static_cast<std::uint32_t>(*text++ - L'0');
    } while (isDigit(*text));
    const int value = static_cast<int>(sum);
    if (value < field.low || value > field.high) return nullptr;
    values[index] = value;
  }
  return text;
}

}  // namespace

// ---- Time ----------------------------------------------------------------------

Time::Time() : _value(-static_cast<long long>(getTimeBias())) {}

Time& Time::operator=(const Time& other) {
  _value = other._value;
  _localValid = false;
  return *this;
}

bool Time::isValid() const { return _value != -static_cast<long long>(getTimeBias()); }

const std::tm& Time::getLocalTime() const {
  if (!_localValid) {
    _local = localtime(_value);
    _localValid = true;
  }
  return _local;
}

bool Time::convertFromString(const wchar_t* text) {
  if (text == nullptr) return false;
  int values[kTextFieldCount] = {0, 1, 1, 0, 0, 0};
  const wchar_t* rest = readTextFields(text, values);
  if (rest == nullptr || values[2] > daysInMonth(values[0], values[1])) return false;
  std::tm fields{};
  fields.tm_year = values[0];
  fields.tm_mon = values[1];
  fields.tm_mday = values[2];
  fields.tm_hour = values[3];
  fields.tm_min = values[4];
  fields.tm_sec = values[5];
  fields.tm_isdst = -1;
  // Only a blank after the seconds introduces a zone.
  const int bias = *rest == L' ' ? getZoneBias(rest + 1) : getTimeBias();
  _value = mktime(fields) + bias;
  _localValid = false;
  return true;
}

String Time::convertToString() const {
  String text;
  if (!isValid()) return text;
  const std::tm& local = getLocalTime();
  text.format(L"%d-%02d-%02d %02d:%02d:%02d", local.tm_year, local.tm_mon, local.tm_mday, local.tm_hour, local.tm_min,
              local.tm_sec);
  return text;
}

// ---- free functions -------------------------------------------------------------

long long time(long long* result) {
  const long long now = platform::unixTimeSeconds() + kUnixEpoch;
  if (result != nullptr) *result = now;
  return now;
}

std::tm gmtime(const long long& value) {
  long long day = value / kSecondsPerDay;
  long long second = value % kSecondsPerDay;
  if (second < 0) {
    second += kSecondsPerDay;
    --day;
  }
  // 146097 days make 400 years: the estimate is off by a year at most, far
  // from year 0 as near it, and the two loops correct it.
  long long year = day * 400 / 146097;
  while (firstDayOfYear(year) > day) --year;
  while (firstDayOfYear(year + 1) <= day) ++year;
  const long long firstDay = firstDayOfYear(year);
  const int dayOfYear = static_cast<int>(day - firstDay);
  const int* starts = kMonthStarts[firstDayOfYear(year + 1) - firstDay == 366];
  int month = 11;
  while (starts[month] > dayOfYear) --month;

  std::tm fields{};
  fields.tm_sec = static_cast<int>(second % 60);
  fields.tm_min = static_cast<int>(second / 60 % 60);
  fields.tm_hour = static_cast<int>(second / 3600);
  fields.tm_mday = dayOfYear - starts[month] + 1;
  fields.tm_mon = month + 1;
  fields.tm_year = static_cast<int>(year);
  // Day 0 is a Sunday. From year 0 on this is the weekday formula
  // (year + (year - 1) / 4 - 1 - (year - 1) / 100 + (year - 1) / 400 + yday + 1) % 7.
  fields.tm_wday = static_cast<int>((day % 7 + 7) % 7);
  fields.tm_yday = dayOfYear;
  fields.tm_isdst = 0;
  return fields;
}

std::tm localtime(const long long& value) { return gmtime(wrappingSubtract(value, getTimeBias())); }

long long mktime(const std::tm& fields) {
  long long month = static_cast<long long>(fields.tm_mon) - 1;
  long long year = fields.tm_year + month / 12;
  month %= 12;
  if (month < 0) {
    --year;
    month += 12;
  }
  long long days = year * 365 + kMonthStarts[0][month];
  if (month < 2) --year;
  days += year / 4 - year / 100 + year / 400 + fields.tm_mday - 1;
  return ((days * 24 + fields.tm_hour) * 60 + fields.tm_min) * 60 + fields.tm_sec;
}

bool isLeapYear(int year) { return year != 0 && ((year % 4 == 0 && year % 100 != 0) || year % 400 == 0); }

int getTimeBias() { return platform::localZoneBias(); }

String getZoneName(int bias) {
  const int hours = bias / 3600;
  String name;
  name.format(L"Etc/GMT%c%d", bias < 0 ? L'-' : L'+', hours < 0 ? -hours : hours);
  return name;
}

int getZoneBias(const wchar_t* zoneName) {
  if (zoneName == nullptr || std::wcsncmp(zoneName, L"Etc/GMT", 7) != 0 || (zoneName[7] != L'+' && zoneName[7] != L'-')) {
    return getTimeBias();
  }
  const long long hours = std::clamp<long>(std::wcstol(zoneName + 8, nullptr, 10), INT_MIN, INT_MAX);
  const long long bias = hours * (zoneName[7] == L'+' ? 3600 : -3600);
  return static_cast<int>(std::clamp<long long>(bias, INT_MIN, INT_MAX));
}

}  // namespace orvo
