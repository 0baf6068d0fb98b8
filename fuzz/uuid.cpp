// Drives the three identifier parsers with arbitrary wide text: each parses
// or fails by its rules, and a parsed identifier prints back to the text it
// came from, up to case.
#include <cstddef>
#include <cstdint>
#include <cwchar>
#include <cwctype>
#include <string>

#include <orvo/core/Uuid.h>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace orvo;
  std::wstring text;
  for (std::size_t i = 0; i < size; ++i) text += static_cast<wchar_t>(data[i] < 0x80 ? data[i] : 0x80 + data[i] * 131);

  Uuid uuid;
  if (uuid_convertFromString(uuid, text.c_str())) {
    const String back = uuid_convertToString(uuid);
    for (int i = 0; i < 36; ++i) {
      if (static_cast<wchar_t>(std::towlower(static_cast<wint_t>(text[static_cast<std::size_t>(i)]))) != back[i]) __builtin_trap();
    }
  }
  // A String ends at the first zero character.
  const std::size_t length = std::wcslen(text.c_str());
  const Uuid fromString = uuid_convertFromString(String(text.c_str()));
  if (length != 36 && !(fromString == Uuid())) __builtin_trap();

  uuid_node_t node;
  if (node.convertFromString(String(text.c_str())) && length != 12) __builtin_trap();
  return 0;
}
