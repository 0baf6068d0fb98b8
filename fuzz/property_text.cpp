// Reads arbitrary text as a property text, item by item, through the public
// read functions and through the library's own cursor, which must agree; then
// pretty-prints it. Every read either consumes or raises, so the walk ends; a
// pretty-printed text must print to itself again.
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include <orvo/core/Exception.h>
#include <orvo/core/PropertyText.h>

#include "support/PropertyFuzzText.h"

#include "property/PropertyTextReader.h"

namespace {

using namespace orvo;

void require(bool condition) {
  if (!condition) __builtin_trap();
}

bool same(const String& string, std::wstring_view view) {
  return std::wstring_view(string.getBuffer(), static_cast<std::size_t>(string.getLength())) == view;
}

// The loop of an object's setProperty, once with the public functions and
// once with the cursor, step by step side by side.
void readItems(const String& text) {
  String rest = text;
  property::PropertyTextReader reader(std::wstring_view(text.getBuffer(), static_cast<std::size_t>(text.getLength())));
  skipPropertyComments(rest);
  reader.skip();
  while (rest.getLength() != 0) {
    const int before = rest.getLength();
    require(same(readPropertyName(rest), reader.readName()));
    require(same(readPropertyType(rest), reader.readType()));
    std::wstring_view expected;
    const property::ValueFault fault = reader.findValue(expected);
    try {
      require(same(readPropertyValue(rest), expected) && fault == property::ValueFault::none);
    } catch (const Exception& e) {
      require(fault != property::ValueFault::none && e.message == L"String readPropertyValue(String &)");
      require(rest.getLength() == text.getLength() - reader.position());
      return;
    }
    require(rest.getLength() <= before - 2);
    skipPropertyComments(rest);
    reader.skip();
    require(rest.getLength() == text.getLength() - reader.position());
  }
  require(reader.atEnd());
}

void normalize(const String& text) {
  String printed;
  try {
    printed = propertyStringNormalize(text, L" ");
  } catch (const Exception&) {
    return;
  }
  require(propertyStringNormalize(printed, L" ") == printed);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const String text = propertyFuzzText(data, size);
  readItems(text);
  normalize(text);
  return 0;
}
