// Reads arbitrary text as the value of each kind of property: containers of
// numbers, texts and comma-separated fields, nested containers, and the
// values whose readers can refuse a text. A container that reads must write
// a text that reads again to the same text; a refusal must carry a message.
#include <cstddef>
#include <cstdint>
#include <list>
#include <map>
#include <string>
#include <vector>

#include <orvo/core/Exception.h>
#include <orvo/core/PropertyConvert.h>

#include "support/PropertyFuzzText.h"

namespace {

using namespace orvo;

void require(bool condition) {
  if (!condition) __builtin_trap();
}

template <class T>
bool tryRead(const String& text, T& value) {
  try {
    convertPropertyToClass(text, value);
    return true;
  } catch (const Exception& e) {
    require(e.code == -1 && !e.message.empty());
    return false;
  }
}

// What reads once writes a text that is a fixed point of reading and writing.
template <class Container>
void roundTrip(const String& text) {
  Container first;
  if (!tryRead(text, first)) return;
  String written;
  convertPropertyToString(first, written);
  Container second;
  require(tryRead(written, second));
  String rewritten;
  convertPropertyToString(second, rewritten);
  require(rewritten == written);
}

template <class T>
void readValue(const String& text) {
  T value = propertyDefaultValue<T>();
  tryRead(text, value);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const String text = propertyFuzzText(data, size);
  roundTrip<std::vector<int>>(text);
  roundTrip<std::list<String>>(text);
  roundTrip<std::map<String, Pointf>>(text);
  roundTrip<std::vector<std::map<String, std::vector<double>>>>(text);
  readValue<Buffer>(text);
  readValue<Time>(text);
  readValue<Uuid>(text);
  readValue<uuid_node_t>(text);
  readValue<Quaternion>(text);
  readValue<TimeSpan>(text);
  return 0;
}
