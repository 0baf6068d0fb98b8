#include <orvo/core/StringConvert.h>
#include <orvo/core/StringHelper.h>

namespace orvo {

StringConvert::operator StringUtf8() const {
  if (ansi) return StringHelper::ansiToUtf8(ansi);
  if (wide) return StringHelper::wideToUtf8(wide);
  return StringUtf8(utf8);
}

StringConvert::operator StringAnsi() const {
  if (utf8) return StringHelper::utf8ToAnsi(utf8);
  if (wide) return StringHelper::wideToAnsi(wide);
  return StringAnsi(ansi);
}

StringConvert::operator String() const {
  if (ansi) return StringHelper::ansiToWide(ansi);
  if (utf8) return StringHelper::utf8ToWide(utf8);
  return String(wide);
}

}  // namespace orvo
