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
// This is the loop of an object's setProperty and of the container parsers;
// the public functions of PropertyText.h are the same operations on a String
// whose front they cut once per call. A reader may also be confined to a
// value it has returned (enter, leave), which is how the pretty-printer walks
// nested values without copying them; with a BraceMatches table it then finds
// each closing brace in constant time, so that nesting costs nothing extra.
//
// Threads: a reader is a small value used by one thread; any number of
// readers may read one text at once.
#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

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

// The closing brace of every opening brace of one text, found in one pass.
// Where a scan of a frame may start (after a character that is not a
// backslash) its result is the same as the table's, because a backslash run
// cannot reach back past the opening brace. The table holds the braces only,
// not the text, and answers lookups in rising order in amortised constant
// time, searching on from where the last one ended; it is therefore used by
// one thread at a time.
class BraceMatches {
 public:
  explicit BraceMatches(std::wstring_view text);
  // The position of the brace that closes the one at `open`, or -1.
  int closing(int open) const noexcept;

 private:
  struct Frame {
    int open;
    int closing;
  };
  std::vector<Frame> _frames;  // by opening position
  mutable std::size_t _next = 0;
};

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
