#include <orvo/core/PropertyText.h>

#include <cwchar>
#include <limits>
#include <vector>

#include "property/PropertyTextReader.h"
#include "text/StringBlock.h"

namespace orvo {

namespace {

using property::PropertyTextReader;

std::wstring_view viewOf(const String& text) {
  return std::wstring_view(text.getBuffer(), static_cast<std::size_t>(text.getLength()));
}

String stringOf(std::wstring_view part) {
  return part.empty() ? String() : String(part.data(), static_cast<int>(part.size()));
}

// Cuts what the reader consumed off the front of `text`, in one copy. Views
// into the old text must have been copied out before.
void cutFront(String& text, const PropertyTextReader& reader) {
  const int consumed = reader.position();
  if (consumed > 0) text = text.getSubString(consumed, text.getLength() - consumed);
}

// A text is structured when its first item reads, and plain otherwise. The
// probe reads no further than that item's type; the value's end comes from
// the reader's brace table.
bool isStructured(PropertyTextReader probe) {
  PropertyTextReader::Item item;
  return probe.tryReadItem(item);
}

bool isStructuredValue(PropertyTextReader probe, std::wstring_view value) {
  probe.enter(value);
  return isStructured(probe);
}

// The pretty-printer's output: counted in a first pass, with no place to
// write to, then written into a block of exactly that size.
class PrintedText {
 public:
  explicit PrintedText(wchar_t* out = nullptr) : _out(out) {}
  std::size_t size() const { return _size; }

  void put(std::wstring_view part) {
    if (_out && !part.empty()) std::wmemcpy(_out + _size, part.data(), part.size());
    _size += part.size();
  }
  void putIndent(const String& indent, std::size_t depth) {
    put(viewOf(indent));
    if (_out) std::wmemset(_out + _size, L'\t', depth);
    _size += depth;
  }

 private:
  wchar_t* _out;
  std::size_t _size = 0;
};

// Each item is written where it is read; a structured value is entered in
// place rather than printed by a call of its own, so that deep nesting costs
// neither stack nor copies of the value. The stack of entered values stands
// for the indent: one tab per level below `indent`.
void printItems(PropertyTextReader reader, const String& indent, PrintedText& out) {
  std::vector<PropertyTextReader::Region> entered;
  bool first = true;
  reader.trimEnd();
  for (;;) {
    reader.skipWhiteSpace();
    if (reader.atEnd()) {
      if (entered.empty()) return;
      reader.leave(entered.back());
      entered.pop_back();
      out.put(L"\r\n");
      out.putIndent(indent, entered.size());
      out.put(L"}");
      continue;
    }
    const PropertyTextReader::Item item = reader.readItem();
    if (!first) out.put(L"\r\n");
    first = false;
    out.putIndent(indent, entered.size());
    out.put(item.name);
    if (!item.type.empty()) {
      out.put(L":");
      out.put(item.type);
    }
    out.put(L"{");
    if (isStructuredValue(reader, item.value)) {
      out.put(L"\r\n");
      entered.push_back(reader.enter(item.value));
      reader.trimEnd();
      first = true;
    } else {
      out.put(item.value);
      out.put(L"}");
    }
  }
}

}  // namespace

void skipPropertyComments(String& text) {
  PropertyTextReader reader(viewOf(text));
  reader.skip();
  cutFront(text, reader);
}

String readPropertyName(String& text) {
  PropertyTextReader reader(viewOf(text));
  String name = stringOf(reader.readName());
  cutFront(text, reader);
  return name;
}

String readPropertyType(String& text) {
  PropertyTextReader reader(viewOf(text));
  String type = stringOf(reader.readType());
  cutFront(text, reader);
  return type;
}

String readPropertyValue(String& text) {
  PropertyTextReader reader(viewOf(text));
  std::wstring_view part;
  const property::ValueFault fault = reader.findValue(part);
  String value = stringOf(part);
  cutFront(text, reader);
  if (fault != property::ValueFault::none) property::raiseValueFault(fault);
  return value;
}

String propertyStringNormalize(const String& text, const String& indent) {
  const std::wstring_view whole = viewOf(text);
  const property::BraceMatches braces(whole);
  const PropertyTextReader reader(whole, &braces);
  if (!isStructured(reader)) return text;

  PrintedText counted;
  printItems(reader, indent, counted);  // Raises here, before anything is allocated.
  if (counted.size() > static_cast<std::size_t>(std::numeric_limits<int>::max())) return String();
  const int length = static_cast<int>(counted.size());
  StringBlock<wchar_t> block(length);
  if (!block) return String();
  PrintedText out(block.text());
  printItems(reader, indent, out);
  return block.finish(length);
}

}  // namespace orvo
