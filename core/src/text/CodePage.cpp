#include <orvo/core/CodePage.h>
#include <orvo/core/String.h>

#include <atomic>
#include <cstring>

#include "text/CharsetTable.h"

namespace orvo {
namespace {

// Set once at start-up as a rule; atomic so that a late change is seen whole.
std::atomic<int> activeCodePage{0};

}  // namespace

const CharsetName charsetTable[] = {
    {"ibm852", 852, "Central European (DOS)"},
    {"ibm866", 866, "Cyrillic (DOS)"},
    {"windows-874", 874, "Thai"},
    {"csshiftjis", 932, "Shift-JIS"},
    {"ms_kanji", 932, "Shift-JIS"},
    {"shift-jis", 932, "Shift-JIS"},
    {"shift_jis", 932, "Shift-JIS"},
    {"japanese", 932, "Shift-JIS"},
    {"x-sjis", 932, "Shift-JIS"},
    {"chinese", 936, "Chinese Simplified"},
    {"csgb2312", 936, "Chinese Simplified (GB2312)"},
    {"csiso58gb231280", 936, "Chinese Simplified (GB2312)"},
    {"gb2312", 936, "Chinese Simplified (GB2312)"},
    {"gb_2312-80", 936, "Chinese Simplified (GB2312)"},
    {"iso-ir-58", 936, "Chinese Simplified (GB2312)"},
    {"hz-gb-2312", 936, "Chinese Simplified (HZ)"},
    {"cseuckr", 949, "Korean"},
    {"csksc56011987", 949, "Korean"},
    {"euc-kr", 949, "Korean"},
    {"iso-ir-149", 949, "Korean"},
    {"korean", 949, "Korean"},
    {"ks-c-5601", 949, "Korean"},
    {"ks-c-5601-1987", 949, "Korean"},
    {"ks_c_5601", 949, "Korean"},
    {"ks_c_5601-1987", 949, "Korean"},
    {"ks_c_5601-1989", 949, "Korean"},
    {"ksc-5601", 949, "Korean"},
    {"ksc5601", 949, "Korean"},
    {"ksc_5601", 949, "Korean"},
    {"big5", 950, "Traditional Chinese (BIG5)"},
    {"csbig5", 950, "Traditional Chinese (BIG5)"},
    {"x-x-big5", 950, "Traditional Chinese (BIG5)"},
    {"windows-1250", 1250, "Central European (Windows)"},
    {"x-cp1250", 1250, "Central European (Windows)"},
    {"windows-1251", 1251, "Cyrillic (Windows)"},
    {"x-cp1251", 1251, "Cyrillic (Windows)"},
    {"ansi_x3.4-1968", 1252, "Western"},
    {"ansi_x3.4-1986", 1252, "Western"},
    {"ascii", 1252, "Western"},
    {"english", 1252, "Western"},
    {"cp367", 1252, "Western"},
    {"cp819", 1252, "Western"},
    {"csascii", 1252, "Western"},
    {"ibm367", 1252, "Western"},
    {"ibm819", 1252, "Western"},
    {"iso-8859-1", 1252, "Western"},
    {"iso-ir-100", 1252, "Western"},
    {"iso-ir-6", 1252, "Western"},
    {"iso646-us", 1252, "Western"},
    {"iso8859-1", 1252, "Western"},
    {"iso_646.irv:1991", 1252, "Western"},
    {"iso_8859-1", 1252, "Western"},
    {"iso_8859-1:1987", 1252, "Western"},
    {"latin1", 1252, "Western"},
    {"us", 1252, "Western"},
    {"us-ascii", 1252, "Western"},
    {"windows-1252", 1252, "Western"},
    {"windows-1253", 1253, "Greek (Windows)"},
    {"windows-1254", 1254, "Turkish (Windows)"},
    {"windows-1255", 1255, "Hebrew"},
    {"hebrew", 1255, "Hebrew "},
    {"csisolatinhebrew", 1255, "Hebrew (ISO-Visual)"},
    {"iso-8859-8", 1255, "Hebrew (ISO-Visual)"},
    {"iso-ir-138", 1255, "Hebrew (ISO-Visual)"},
    {"iso_8859-8", 1255, "Hebrew (ISO-Visual)"},
    {"iso_8859-8:1988", 1255, "Hebrew (ISO-Visual)"},
    {"windows-1256", 1256, "Arabic"},
    {"windows-1257", 1257, "Baltic (Windows)"},
    {"windows-1258", 1258, "Vietnamese"},
    {"cskoi8r", 20866, "Cyrillic (KOI8-R)"},
    {"koi8-r", 20866, "Cyrillic (KOI8-R)"},
    {"csisolatin2", 28592, "Central European (ISO)"},
    {"iso-8859-2", 28592, "Central European (ISO)"},
    {"iso-ir-101", 28592, "Central European (ISO)"},
    {"iso8859-2", 28592, "Central European (ISO)"},
    {"iso_8859-2", 28592, "Central European (ISO)"},
    {"iso_8859-2:1987", 28592, "Central European (ISO)"},
    {"l2", 28592, "Central European (ISO)"},
    {"latin2", 28592, "Central European (ISO)"},
    {"csiso2022kr", 50225, "Korean (ISO)"},
    {"iso-2022-kr", 50225, "Korean (ISO)"},
    {nullptr, -1, nullptr},
};

bool setCodePage(int codePage) {
  activeCodePage.store(codePage, std::memory_order_relaxed);
  return true;
}

bool setCodePage(const char* name) {
  if (!name || !*name) return false;
  StringAnsi lowered(name);
  lowered.lowerCase();
  for (const CharsetName* row = charsetTable; row->name; ++row) {
    if (std::strcmp(lowered.getBuffer(), row->name) == 0) return setCodePage(row->codePage);
  }
  return false;
}

int getCodePage() { return activeCodePage.load(std::memory_order_relaxed); }

}  // namespace orvo
