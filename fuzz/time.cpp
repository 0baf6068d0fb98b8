// Drives the calendar with arbitrary input: the text reader and the zone
// functions on the bytes as wide text; the zone name, gmtime and mktime on
// numbers taken from the same bytes. A rejected text leaves the Time as it was; an
// accepted one has fields in range and, when it is set and its local year is
// not negative, writes a text that reads back to the same value.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <string>

#include <orvo/core/Time.h>

namespace {

bool sameFields(const std::tm& a, const std::tm& b) {
  return a.tm_sec == b.tm_sec && a.tm_min == b.tm_min && a.tm_hour == b.tm_hour && a.tm_mday == b.tm_mday && a.tm_mon == b.tm_mon &&
         a.tm_year == b.tm_year && a.tm_wday == b.tm_wday && a.tm_yday == b.tm_yday && a.tm_isdst == b.tm_isdst;
}

bool inRange(const std::tm& f) {
  return f.tm_sec >= 0 && f.tm_sec < 60 && f.tm_min >= 0 && f.tm_min < 60 && f.tm_hour >= 0 && f.tm_hour < 24 && f.tm_mday >= 1 &&
         f.tm_mday <= 31 && f.tm_mon >= 1 && f.tm_mon <= 12 && f.tm_wday >= 0 && f.tm_wday < 7 && f.tm_yday >= 0 && f.tm_yday <= 365;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace orvo;
  std::wstring text;
  for (std::size_t i = 0; i < size; ++i) text += static_cast<wchar_t>(data[i] < 0x80 ? data[i] : 0x80 + data[i] * 131);
  int bias = 0;
  long long value = 0;
  std::memcpy(&bias, data, std::min(size, sizeof bias));
  std::memcpy(&value, data, std::min(size, sizeof value));

  if (getZoneBias(getZoneName(bias).getBuffer()) != bias / 3600 * 3600) __builtin_trap();
  getZoneBias(text.c_str());
  // Within about 2^31 years of year 0 the year fits tm_year.
  const std::tm fields = gmtime(value);
  if (!inRange(fields) || (value > -(1LL << 55) && value < (1LL << 55) && mktime(fields) != value)) __builtin_trap();

  // Any fields: out-of-range ones carry, and the value they give is one
  // whose fields give it back.
  std::tm anyFields{};
  int* const slots[] = {&anyFields.tm_sec, &anyFields.tm_min, &anyFields.tm_hour, &anyFields.tm_mday, &anyFields.tm_mon, &anyFields.tm_year};
  for (std::size_t i = 0; i < std::size(slots) && (i + 1) * sizeof(int) <= size; ++i) std::memcpy(slots[i], data + i * sizeof(int), sizeof(int));
  const long long fromFields = mktime(anyFields);
  if (fromFields > -(1LL << 55) && fromFields < (1LL << 55) && mktime(gmtime(fromFields)) != fromFields) __builtin_trap();

  Time time(value);
  const std::tm before = time.getLocalTime();
  if (!time.convertFromString(text.c_str())) {
    if (time.getValue() != value || !sameFields(time.getLocalTime(), before)) __builtin_trap();
    return 0;
  }
  if (!inRange(gmtime(time.getValue())) || !inRange(time.getLocalTime())) __builtin_trap();
  if (time.isValid() && time.getYear() >= 0) {
    Time again(value);
    if (!again.convertFromString(time.convertToString()) || !(again == time)) __builtin_trap();
  }
  return 0;
}
