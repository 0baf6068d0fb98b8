#include "text/CodePageCodec.h"

#include <orvo/core/CodePage.h>

#include "text/Utf8Codec.h"
#include "platform/CodePageConverter.h"

namespace orvo::codepage {

int activePage() {
  const int page = getCodePage();
  return page == 0 ? kSystemDefault : page;
}

bool toWide(int codePage, const char* text, std::size_t length, TextScratch<wchar_t>& out) {
  if (codePage == kUtf8) {
    const auto* bytes = reinterpret_cast<const unsigned char*>(text);
    const utf8::Measure measure = utf8::measureDecoded(bytes, length);
    utf8::decode(bytes, length, out.reserve(measure.units), measure);
    out.commit(measure.units);
    return true;
  }
  platform::CodePageConverter* converter = platform::CodePageConverter::forCodePage(codePage);
  if (!converter) return false;
  converter->toWide(text, length, out);
  return true;
}

bool fromWide(int codePage, const wchar_t* text, std::size_t length, TextScratch<char>& out) {
  if (codePage == kUtf8) {
    const std::size_t bytes = utf8::encodedLength(text, length);
    utf8::encode(text, length, reinterpret_cast<unsigned char*>(out.reserve(bytes)), bytes);
    out.commit(bytes);
    return true;
  }
  platform::CodePageConverter* converter = platform::CodePageConverter::forCodePage(codePage);
  if (!converter) return false;
  converter->fromWide(text, length, out);
  return true;
}

bool isAsciiCompatible(int codePage) {
  if (codePage == kUtf8) return true;
  platform::CodePageConverter* converter = platform::CodePageConverter::forCodePage(codePage);
  return converter && converter->isAsciiCompatible();
}

}  // namespace orvo::codepage
