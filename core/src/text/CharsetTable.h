// CharsetTable.h: the charset names that setCodePage(const char*) knows.
//
// One row per name, in lower case, with its code page and a description for
// the reader. The table ends with a row whose name is null.
#pragma once

namespace orvo {

struct CharsetName {
  const char* name;
  int codePage;
  const char* description;
};

extern const CharsetName charsetTable[];

}  // namespace orvo
