// CodePage.h: the process-wide code page of StringAnsi text.
//
// Every StringAnsi and every `char` primitive reads its bytes in the active
// code page. It starts at 0, the system's own page, which is Windows-1252
// (Western) here; 65001 means UTF-8. It is meant to be set once at start-up,
// by number or by one of the charset names that mail and web headers use:
//
//   setCodePage("GB2312");     // true, getCodePage() == 936
//   setCodePage(1251);         // Cyrillic (Windows)
//
// Any number is accepted; a number no converter knows makes every conversion
// of StringAnsi text give the empty string.
//
// Threads: the code page is one plain int shared by all threads, read at
// every conversion. Set it before other threads convert text; a thread that
// converts while another sets it sees the old page or the new one.
//
// Unlike Windows, where byte 0x81 of Windows-1252 (1252, also the default)
// decodes to U+0081, the platform's converter here has no character for it
// (nor for 0x8D, 0x8F, 0x90, 0x9D): such a byte becomes U+FFFD.
#pragma once

#include <orvo/core/Export.h>

namespace orvo {

// Stores the number and returns true, whatever the number is.
ORVO_API bool setCodePage(int codePage);
// Selects the code page of a charset name, in any case. False, with the code
// page unchanged, for null, an empty name or a name not in the table.
ORVO_API bool setCodePage(const char* name);
ORVO_API int getCodePage();

}  // namespace orvo
