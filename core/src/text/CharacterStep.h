// CharacterStep.h: steps over one character without passing a terminator.
//
// stringCharLength answers how long a character is by its lead byte alone;
// these steps also refuse to take the terminator into a character, so that a
// walk over broken text always ends on the terminator. At the terminator they
// stay where they are.
#pragma once

#include <orvo/core/Character.h>

namespace orvo {

inline const char* nextCharacter(const char* text) {
  if (*text == 0) return text;
  return (*text & 0x80) != 0 && text[1] != 0 ? text + 2 : text + 1;
}

inline const unsigned char* nextCharacter(const unsigned char* text) {
  // A UTF-8 character never takes a terminator into it.
  return *text == 0 ? text : text + stringCharLength(text);
}

inline const wchar_t* nextCharacter(const wchar_t* text) { return *text == 0 ? text : text + 1; }

}  // namespace orvo
