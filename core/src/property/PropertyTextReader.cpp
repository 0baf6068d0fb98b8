#include "property/PropertyTextReader.h"

#include <cstdint>
#include <cwchar>

namespace orvo::property {

namespace {

// White space is ASCII only: a character of 128 and above never is.
bool isWhiteSpace(wchar_t c) { return c == L' ' || (c >= L'\t' && c <= L'\r'); }

// Letters and digits of ASCII, "_", and everything from 255 on, so that names
// in other scripts read unchanged while Latin-1 letters end a name. A value
// that is no code point at all counts by its unsigned size.
bool isNameCharacter(wchar_t c) {
  const auto code = static_cast<std::uint32_t>(c);
  if (code >= 255) return true;
  return (code >= '0' && code <= '9') || (code >= 'a' && code <= 'z') || (code >= 'A' && code <= 'Z') ||
         code == '_';
}

}  // namespace

void PropertyTextReader::skipWhiteSpace() noexcept {
  while (_position < _end && isWhiteSpace(_text[_position])) ++_position;
}

void PropertyTextReader::skip() noexcept {
  for (;;) {
    skipWhiteSpace();
    if (at(_position) != L'#') return;
    // A comment ends after the next line feed; a carriage return alone does
    // not end it.
    const wchar_t* lineFeed =
        std::wmemchr(_text + _position, L'\n', static_cast<std::size_t>(_end - _position));
    _position = lineFeed ? static_cast<int>(lineFeed - _text) + 1 : _end;
  }
}

void PropertyTextReader::trimEnd() noexcept {
  while (_end > _position && isWhiteSpace(_text[_end - 1])) --_end;
}

std::wstring_view PropertyTextReader::readName() noexcept {
  skip();
  const int start = _position;
  while (_position < _end && isNameCharacter(_text[_position])) ++_position;
  return view(start, _position);
}

std::wstring_view PropertyTextReader::readType() noexcept {
  skip();
  if (at(_position) != L':') return {};
  ++_position;
  return readName();
}

int PropertyTextReader::closingBrace(int open) const noexcept {
  if (_braces) {
    const int closing = _braces->closing(open);
    return closing < _end ? closing : -1;
  }
  int depth = 1;
  bool hidden = false;
  for (int i = open + 1; i < _end; ++i) {
    if (hidden) {
      hidden = false;
    } else if (_text[i] == L'\\') {
      hidden = true;
    } else if (_text[i] == L'{') {
      ++depth;
    } else if (_text[i] == L'}' && --depth == 0) {
      return i;
    }
  }
  return -1;
}

ValueFault PropertyTextReader::findValue(std::wstring_view& value) noexcept {
  skip();
  if (_end - _position < 2 || _text[_position] != L'{') return ValueFault::noFrame;
  const int closing = closingBrace(_position);
  if (closing < 0) return ValueFault::unbalanced;
  value = view(_position + 1, closing);
  _position = closing + 1;
  return ValueFault::none;
}

std::wstring_view PropertyTextReader::readValue() {
  std::wstring_view value;
  const ValueFault fault = findValue(value);
  if (fault != ValueFault::none) raiseValueFault(fault);
  return value;
}

PropertyTextReader::Item PropertyTextReader::readItem() {
  Item item;
  item.name = readName();
  item.type = readType();
  item.value = readValue();
  return item;
}

bool PropertyTextReader::tryReadItem(Item& item) noexcept {
  item.name = readName();
  item.type = readType();
  return findValue(item.value) == ValueFault::none;
}

PropertyTextReader::Region PropertyTextReader::enter(std::wstring_view value) noexcept {
  const int start = offsetOf(value);
  const int closing = start + static_cast<int>(value.size());
  const Region outer{_end, closing + 1};
  _position = start;
  _end = closing;
  return outer;
}

void PropertyTextReader::leave(Region outer) noexcept {
  _position = outer.resume;
  _end = outer.end;
}

}  // namespace orvo::property
