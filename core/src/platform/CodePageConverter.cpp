#include "platform/CodePageConverter.h"

#include <iconv.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "platform/ThreadSlot.h"

namespace orvo::platform {
namespace {

const iconv_t kClosed = reinterpret_cast<iconv_t>(-1);

// Code pages whose iconv charset is not simply "CP<number>" or "IBM<number>".
struct NamedCharset {
  int codePage;
  const char* charset;
};
constexpr NamedCharset kNamedCharsets[] = {
    {1252, "CP1252"},          {10000, "MACINTOSH"},    {20127, "ASCII"},
    {20866, "KOI8-R"},         {20932, "EUC-JP"},       {21866, "KOI8-U"},
    {28591, "ISO-8859-1"},     {28592, "ISO-8859-2"},   {28593, "ISO-8859-3"},
    {28594, "ISO-8859-4"},     {28595, "ISO-8859-5"},   {28596, "ISO-8859-6"},
    {28597, "ISO-8859-7"},     {28598, "ISO-8859-8"},   {28599, "ISO-8859-9"},
    {28603, "ISO-8859-13"},    {28605, "ISO-8859-15"},  {50220, "ISO-2022-JP"},
    {50225, "ISO-2022-KR"},    {51932, "EUC-JP"},       {51936, "EUC-CN"},
    {51949, "EUC-KR"},         {54936, "GB18030"},
};

// Opens a converter between wide text and the charset of `codePage`, in the
// direction given; kClosed if iconv knows none.
iconv_t openFor(int codePage, bool toWide) {
  auto open = [toWide](const char* charset) {
    return toWide ? iconv_open("WCHAR_T", charset) : iconv_open(charset, "WCHAR_T");
  };
  for (const NamedCharset& named : kNamedCharsets) {
    if (named.codePage == codePage) return open(named.charset);
  }
  if (codePage <= 0) return kClosed;
  char charset[24];
  std::snprintf(charset, sizeof charset, "CP%d", codePage);
  iconv_t converter = open(charset);
  if (converter != kClosed) return converter;
  std::snprintf(charset, sizeof charset, "IBM%d", codePage);
  return open(charset);
}

// Returns a converter to its initial shift state, so that one conversion's
// end cannot leak into the next.
void resetState(iconv_t converter) { iconv(converter, nullptr, nullptr, nullptr, nullptr); }

// Writes what a converter still holds: the sequence that takes a stateful
// page back to its initial shift state, or a character kept back in case a
// combining mark follows (as the Vietnamese page does).
template <class Unit>
void flushState(iconv_t converter, TextScratch<Unit>& out) {
  constexpr std::size_t kRoom = 16;
  char* target = reinterpret_cast<char*>(out.reserve(kRoom));
  std::size_t targetLeft = kRoom * sizeof(Unit);
  iconv(converter, nullptr, nullptr, &target, &targetLeft);
  out.commit(kRoom - targetLeft / sizeof(Unit));
}

}  // namespace

// The converters of one thread: a few code pages, replaced round-robin.
class ConverterCache {
 public:
  ~ConverterCache() {
    for (CodePageConverter& slot : _slots) slot.close();
  }

  CodePageConverter* find(int codePage) {
    for (std::size_t i = 0; i < _used; ++i) {
      if (_slots[i]._codePage == codePage) return slotResult(_slots[i]);
    }
    CodePageConverter& slot = _used < kSlots ? _slots[_used++] : _slots[_next++ % kSlots];
    slot.close();
    slot.open(codePage);
    return slotResult(slot);
  }

 private:
  static CodePageConverter* slotResult(CodePageConverter& slot) {
    return slot.isOpen() ? &slot : nullptr;
  }

  static constexpr std::size_t kSlots = 6;
  CodePageConverter _slots[kSlots];
  std::size_t _used = 0;
  std::size_t _next = 0;
};

namespace {

void freeCache(void* cache) { delete static_cast<ConverterCache*>(cache); }

// Each thread's cache is freed at thread exit; a conversion later in the
// thread's exit makes a new one, which the hook frees again.
constinit ThreadSlot cacheSlot(&freeCache);

}  // namespace

CodePageConverter* CodePageConverter::forCodePage(int codePage) {
  auto* cache = static_cast<ConverterCache*>(cacheSlot.get());
  // Should the process have no key left, the cache serves this call only and
  // is never freed.
  if (!cache) cacheSlot.set(cache = new ConverterCache);
  return cache->find(codePage);
}

void CodePageConverter::open(int codePage) {
  // A failed open is remembered under the number too, as a closed slot.
  _codePage = codePage;
  iconv_t toWide = openFor(codePage, true);
  iconv_t fromWide = toWide == kClosed ? kClosed : openFor(codePage, false);
  if (fromWide == kClosed) {
    if (toWide != kClosed) iconv_close(toWide);
    return;
  }
  _toWide = toWide;
  _fromWide = fromWide;
  _asciiCompatible = probeAscii();
}

void CodePageConverter::close() {
  if (_toWide) iconv_close(static_cast<iconv_t>(_toWide));
  if (_fromWide) iconv_close(static_cast<iconv_t>(_fromWide));
  _toWide = _fromWide = nullptr;
  _codePage = -1;
  _asciiCompatible = false;
}

bool CodePageConverter::probeAscii() {
  char bytes[127];
  wchar_t wide[127];
  for (int i = 0; i < 127; ++i) {
    bytes[i] = static_cast<char>(i + 1);
    wide[i] = static_cast<wchar_t>(i + 1);
  }
  TextScratch<wchar_t> decoded;
  toWide(bytes, sizeof bytes, decoded);
  TextScratch<char> encoded;
  fromWide(wide, 127, encoded);
  return decoded.size() == 127 && encoded.size() == 127 &&
         std::memcmp(decoded.data(), wide, sizeof wide) == 0 &&
         std::memcmp(encoded.data(), bytes, sizeof bytes) == 0;
}

void CodePageConverter::toWide(const char* text, std::size_t length, TextScratch<wchar_t>& out) {
  iconv_t converter = static_cast<iconv_t>(_toWide);
  resetState(converter);
  char* in = const_cast<char*>(text);
  std::size_t inLeft = length;
  while (inLeft > 0) {
    // A byte never gives more than one wide character, except that some
    // pages decode a byte pair to two; the loop grows the room on demand.
    const std::size_t room = inLeft + 8;
    char* target = reinterpret_cast<char*>(out.reserve(room));
    std::size_t targetLeft = room * sizeof(wchar_t);
    const std::size_t result = iconv(converter, &in, &inLeft, &target, &targetLeft);
    out.commit(room - targetLeft / sizeof(wchar_t));
    if (result != static_cast<std::size_t>(-1)) break;
    if (errno == E2BIG) continue;
    // A character kept back for a combining mark (the Vietnamese page) comes
    // before the replacement.
    flushState(converter, out);
    out.push(L'\uFFFD');
    // EINVAL: the text ends inside a sequence. Some converters (glibc's
    // Korean one) consume a rejected pair whole and still answer EILSEQ, with
    // nothing left to step over.
    if (errno != EILSEQ || inLeft == 0) break;
    ++in;
    --inLeft;
  }
  flushState(converter, out);
}

void CodePageConverter::fromWide(const wchar_t* text, std::size_t length, TextScratch<char>& out) {
  iconv_t converter = static_cast<iconv_t>(_fromWide);
  resetState(converter);
  char* in = reinterpret_cast<char*>(const_cast<wchar_t*>(text));
  std::size_t inLeft = length * sizeof(wchar_t);
  while (inLeft > 0) {
    // Room for a double-byte text plus shift sequences; grown on demand.
    const std::size_t room = inLeft / sizeof(wchar_t) * 2 + 16;
    char* target = out.reserve(room);
    std::size_t targetLeft = room;
    const std::size_t result = iconv(converter, &in, &inLeft, &target, &targetLeft);
    out.commit(room - targetLeft);
    if (result != static_cast<std::size_t>(-1) || errno == E2BIG) continue;
    if (errno != EILSEQ) break;
    // The page lacks this character. Leave any shifted state first, so that
    // the '?' reads as itself.
    flushState(converter, out);
    out.push('?');
    in += sizeof(wchar_t);
    inLeft -= sizeof(wchar_t);
  }
  flushState(converter, out);
}

}  // namespace orvo::platform
