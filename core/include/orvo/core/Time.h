// Time.h: the library's calendar. A Time is an instant, a TimeSpan a plain
// signed count, and the free functions convert between values and fields.
//
// The calendar differs from the C library's in three ways callers rely on:
//   - a value counts seconds since 0000-01-01 00:00:00 UTC, not since 1970;
//     1970-01-01 is 62167132800. Years follow the Gregorian leap rule at all
//     times, except that year 0 is not a leap year;
//   - tm_year holds the full year, not the year minus 1900;
//   - tm_mon runs from 1 to 12, not from 0 to 11.
// The local time zone is a fixed bias (getTimeBias), with no daylight saving.
//
//   Time when;
//   if (when.convertFromString(L"2012-05-06 10:20:30 Etc/GMT-8")) {
//     String local = when.convertToString();   // the same instant, local time
//     int year = when.getYear();
//   }
//   std::tm now = orvo::gmtime(orvo::time(nullptr));   // full year, month 1-12
//
// Names shared with the C library: orvo::time, gmtime, localtime and mktime
// take a `long long` or a `std::tm const &` where the C library takes
// pointers, so with `using namespace orvo;` the argument picks the function:
// gmtime(&t) with a time_t is still the C library's, gmtime(value) with a
// long long is this one. Only time(nullptr) (or time(0)) fits both and does
// not compile; write orvo::time or ::time. Inside namespace orvo these names
// hide the C library's, so library code calls ::time, ::gmtime and the like.
//
// Threads: the free functions keep no state apart from the process's time
// zone, which is read when the library loads; any thread may call them. A Time
// has no lock and fills its cache of local fields on a const read, so one
// object must not be read from two threads at once until its fields have been
// read once. A Time that has read its local fields keeps them even if the
// process's time zone changes later.
#pragma once

#include <ctime>

#include <orvo/core/Export.h>
#include <orvo/core/String.h>

namespace orvo {

// A signed 64-bit count with no fixed unit: the library stores it, reads it
// and writes it as text, and does no arithmetic with it.
class ORVO_API TimeSpan {
 public:
  TimeSpan(long long value = 0) : _span(value) {}

  long long getSpan() const { return _span; }
  bool operator==(const TimeSpan& other) const { return _span == other._span; }

 private:
  long long _span;
};

class ORVO_API Time {
 public:
  // The mark for a time that is not set: the value minus getTimeBias(),
  // taken from the zone at construction. (Local midnight at the start of
  // year 0 is plus the bias, a different value unless the bias is 0.)
  Time();
  Time(long long value) : _value(value) {}
  // Copies take the value only; the copy reads its local fields anew.
  Time(const Time& other) : _value(other._value) {}
  Time& operator=(const Time& other);

  bool operator==(const Time& other) const { return _value == other._value; }
  long long getValue() const { return _value; }
  // False for exactly the value of a default Time under the current zone.
  bool isValid() const;

  // localtime(getValue()), computed on the first call and kept.
  const std::tm& getLocalTime() const;
  int getYear() const { return getLocalTime().tm_year; }
  int getMonth() const { return getLocalTime().tm_mon; }
  int getDay() const { return getLocalTime().tm_mday; }
  int getHour() const { return getLocalTime().tm_hour; }
  int getMinute() const { return getLocalTime().tm_min; }
  int getSecond() const { return getLocalTime().tm_sec; }

  // Reads a prefix of "year-month-day hour:minute:second zone", from the
  // left: the text may stop after any field ("", "2012", "2012-05" ...), and
  // fields that are left out are January, the first, midnight. Each field is
  // ASCII digits after its separator: "-" or "/" before month and day, one
  // blank before the hour, ":" before minute and second. Digits are summed
  // modulo 2^32 and read as a 32-bit int, then checked: year not negative,
  // month 1-12, day 1 to the length of the month, hour 0-23, minute and
  // second 0-59. After the seconds, a blank and a zone name getZoneBias
  // understands give the zone; anything else there is ignored and the local
  // zone applies. On false (a bad separator, a missing digit, a field out of
  // range, or a null text) the object is left as it was.
  bool convertFromString(const wchar_t* text);
  // "year-mm-dd hh:mm:ss" in local time, the year without leading zeros;
  // empty if the time is not set.
  String convertToString() const;

 private:
  long long _value;
  mutable bool _localValid = false;
  mutable std::tm _local{};
};

// Seconds since 0000-01-01 00:00:00 UTC now, also stored through `result`
// unless it is null.
ORVO_API long long time(long long* result);

// UTC fields of a value: the exact inverse of mktime for every day from year
// 0 on, with tm_wday (Sunday 0), tm_yday (0-365) and tm_isdst 0. Before year
// 0 the fields stay within their ranges and continue the day count
// backwards; a year beyond the range of int wraps.
ORVO_API std::tm gmtime(const long long& value);
// gmtime of the value minus getTimeBias(); no daylight saving. A value within
// a bias of the ends of the 64-bit range wraps around.
ORVO_API std::tm localtime(const long long& value);
// The value of fields taken as UTC. A month outside 1-12 carries into the
// year; day, hour, minute and second outside their ranges simply add. Only
// the six date and time fields are read.
ORVO_API long long mktime(const std::tm& fields);

// True for years that divide by 4 and not by 100, or by 400, except year 0.
ORVO_API bool isLeapYear(int year);

// Seconds to add to local time to get UTC: negative east of Greenwich.
ORVO_API int getTimeBias();
// "Etc/GMT+h" or "Etc/GMT-h" with the sign of the bias and its whole hours:
// getZoneName(-28800) is "Etc/GMT-8"; a half hour is dropped.
ORVO_API String getZoneName(int bias);
// The bias of a name "Etc/GMT+h" or "Etc/GMT-h": h times 3600, negated for
// "-". The hours are read as the C library's wcstol reads a prefix (text
// that is no number gives 0) and clamped to the range of int; the product is
// clamped to the range of int too, so "Etc/GMT+99999999999" gives INT_MAX.
// A name of another form, or a null one, gives getTimeBias().
ORVO_API int getZoneBias(const wchar_t* zoneName);

}  // namespace orvo
