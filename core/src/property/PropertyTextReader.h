// PropertyTextReader.h: a cursor over a property text (see PropertyText.h for
// the grammar), the one reader of the library's property texts.
//
// The reader keeps a view of the text and a position in it; each operation
// moves the position and returns views into the text, so reading copies
// nothing and reading a whole text costs time in proportion to its length.
// The views stay valid as long as the text they point into.
//
//   PropertyTextReader reader(text);
//   for (reader.skip(); !reader.atEnd(); reader.skip()) {
//     PropertyTextReader::Item item = reader.readItem();   // raises on a bad frame
//     ... item.name, item.type, item.value ...
//   }
//
// This is the loop for an object's setProperty and for the parsers of
// arrays, lists and maps (a map takes item.name as its key); "skip, trim,
// stop if empty" is skip() and atEnd(), since skip() passes trailing white
// space too. Values come back as views: make a String of one only where it
// is handed on. The public functions of PropertyText.h are the same
// operations on a String whose front they cut once per call.
//
// A reader may also be confined to a value it has returned (enter, leave),
// which is how the pretty-printer walks nested values without copying them;
// with a BraceMatches table it then finds each closing brace in amortised
// constant time, so that nesting costs nothing extra.
//
// Threads: a reader is a small value used by one thread; any number of
// readers may read one text at once, as long as they share no BraceMatches.
#pragma once

#include <string_view>

#include "property/BraceMatches.h"

namespace orvo::property {

// Why a value could not be read.
enum class ValueFault {
  none,
  noFrame,     // fewer than 2 characters left, or no "{" in front
  unbalanced,  // no "}" closes the frame
};

// Raises the reader's one failure, Exception "String readPropertyValue(String &)",
// from one of its two places by `fault` (not none).
[[noreturn]] void raiseValueFault(ValueFault fault);

class PropertyTextReader {
 public:
  struct Item {
    std::wstring_view name;
    std::wstring_view type;
    std::wstring_view value;
  };
  // What leave() needs to resume the enclosing region.
  struct Region {
    int end;
    int resume;
  };

  // `text` must hold no 0 character (a String never does). With `braces`,
  // built from this same text, frames are closed by table instead of by scan.
  explicit PropertyTextReader(std::wstring_view text, const BraceMatches* braces = nullptr) noexcept
      : _text(text.data()), _end(static_cast<int>(text.size())), _braces(braces) {}

  int position() const noexcept { return _position; }
  // Whether the region is read to its end; skip() first to ignore comments.
  bool atEnd() const noexcept { return _position >= _end; }

  // White space and comments.
  void skip() noexcept;
  // White space only.
  void skipWhiteSpace() noexcept;
  // Moves the region's end back over trailing white space.
  void trimEnd() noexcept;

  std::wstring_view readName() noexcept;
  std::wstring_view readType() noexcept;
  // Raises through raiseValueFault, with the position after the skip.
  std::wstring_view readValue();
  // readName, readType, readValue in turn.
  Item readItem();
  // readItem without raising: false where it would raise, and the position
  // is then where readValue leaves it.
  bool tryReadItem(Item& item) noexcept;
  // Skips and reads a frame; on a fault the position stays after the skip.
  ValueFault findValue(std::wstring_view& value) noexcept;

  // Confines reading to `value`, a value this reader returned last; leave()
  // with the result goes on after the value's closing brace.
  Region enter(std::wstring_view value) noexcept;
  void leave(Region outer) noexcept;

 private:
  int at(int position) const noexcept { return position < _end ? static_cast<int>(_text[position]) : 0; }
  std::wstring_view view(int from, int to) const noexcept {
    return std::wstring_view(_text + from, static_cast<std::size_t>(to - from));
  }
  int offsetOf(std::wstring_view part) const noexcept { return static_cast<int>(part.data() - _text); }
  // The position of the "}" that closes the "{" at `open`, or -1.
  int closingBrace(int open) const noexcept;

  const wchar_t* _text;
  int _position = 0;
  int _end;
  const BraceMatches* _braces;
};

}  // namespace orvo::property
