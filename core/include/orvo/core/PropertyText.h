// PropertyText.h: the reader and the pretty-printer of the property text.
//
// A property text is a sequence of items, each a name, an optional type after
// a colon and a value in braces, with white space and "#" comments (to the
// next line feed) between them:
//
//   size:Point{640,480}   # a comment
//   child:Derived{list{{1}{2}}}
//
// A value is the text between its braces exactly as written; inside it a
// backslash hides the next character, and other braces nest. The reader
// never looks inside a value: the value's converter reads it in its turn.
//
// The three read functions consume from the front of the string they are
// given and are called in this order, once per item:
//
//   String rest = text;
//   skipPropertyComments(rest);
//   while (rest.getLength() != 0) {
//     String name = readPropertyName(rest);
//     String type = readPropertyType(rest);
//     String value = readPropertyValue(rest);   // raises on a bad frame
//     skipPropertyComments(rest);
//   }
//
// Each call copies what is left of the string once, so a loop like this one
// costs time in proportion to the items times the text's length; the library
// reads whole texts with a cursor of its own instead, in linear time.
//
// Threads: plain functions; a string they change belongs to one thread at a
// time, as any string does.
#pragma once

#include <orvo/core/Export.h>
#include <orvo/core/String.h>

namespace orvo {

// Removes leading white space (characters below 128 for which isspace holds)
// and comments.
ORVO_API void skipPropertyComments(String& text);

// Skips, then removes and returns the longest run of name characters: ASCII
// letters and digits, "_", and every character of code 255 and above. An
// empty name is no error.
ORVO_API String readPropertyName(String& text);

// Skips; if a ":" follows, removes it, skips again and removes and returns a
// name. Without a ":" the result is empty and only the skip is removed.
ORVO_API String readPropertyType(String& text);

// Skips, then removes one braced frame and returns its content. A text that
// does not begin with a frame, or whose braces do not balance, raises
// Exception "String readPropertyValue(String &)" and keeps the string as it
// stood after the skip.
ORVO_API String readPropertyValue(String& text);

// The text with one item per line, each line starting with `indent`, and
// structured values opened into blocks one tab deeper; lines end in "\r\n",
// the last one without. A text whose first item does not read is returned
// unchanged. Comments are dropped; the result reads back like the text. A bad
// item after the first, or a comment after the last, raises as
// readPropertyValue does. Without memory for the result, the result is empty.
ORVO_API String propertyStringNormalize(const String& text, const String& indent);

}  // namespace orvo
