#include <orvo/core/PropertyText.h>

#include <string>
#include <vector>

#include "property/PropertyTextReader.h"

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

void appendIndent(std::wstring& out, const String& indent, std::size_t depth) {
  out.append(indent.getBuffer(), static_cast<std::size_t>(indent.getLength()));
  out.append(depth, L'\t');
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

// Each item is written where it is read; a structured value is entered in
// place rather than printed by a call of its own, so that deep nesting costs
// neither stack nor copies of the value. The stack of entered values stands
// for the indent: one tab per level below `indent`.
String propertyStringNormalize(const String& text, const String& indent) {
  const std::wstring_view whole = viewOf(text);
  const property::BraceMatches braces(whole);
  PropertyTextReader reader(whole, &braces);
  if (!isStructured(reader)) return text;

  std::wstring out;
  out.reserve(whole.size() + whole.size() / 4);
  std::vector<PropertyTextReader::Region> entered;
  bool first = true;
  reader.trimEnd();
  for (;;) {
    reader.skipWhiteSpace();
    if (reader.atEnd()) {
      if (entered.empty()) break;
      reader.leave(entered.back());
      entered.pop_back();
      out.append(L"\r\n");
      appendIndent(out, indent, entered.size());
      out.push_back(L'}');
      continue;
    }
    const PropertyTextReader::Item item = reader.readItem();
    if (!first) out.append(L"\r\n");
    first = false;
    appendIndent(out, indent, entered.size());
    out.append(item.name);
    if (!item.type.empty()) out.append(L":").append(item.type);
    out.push_back(L'{');
    if (isStructuredValue(reader, item.value)) {
      out.append(L"\r\n");
      entered.push_back(reader.enter(item.value));
      reader.trimEnd();
      first = true;
    } else {
      out.append(item.value).push_back(L'}');
    }
  }
  return stringOf(out);
}

}  // namespace orvo
