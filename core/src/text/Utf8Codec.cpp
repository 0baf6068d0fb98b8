#include "text/Utf8Codec.h"

#include <climits>
#include <cstdint>
#include <cstring>

#include "platform/Utf8Vector.h"

// SSE2 belongs to every x86-64 processor: the portable loops take ASCII
// sixteen at a time with it. Longer vectors are the platform layer's choice.
#if defined(__x86_64__)
#include <immintrin.h>
#define ORVO_X86_SIMD 1
#endif

namespace orvo::utf8 {
namespace {

constexpr wchar_t kReplacement = 0xFFFD;

bool isContinuation(unsigned char byte) { return (byte & 0xC0) == 0x80; }

bool isAsciiUnit(wchar_t unit) { return static_cast<std::uint32_t>(unit) < 0x80; }

// --- Decoding any bytes ---------------------------------------------------

// Widens `count` ASCII bytes to wide characters.
void widenAscii(const unsigned char* text, std::size_t count, wchar_t* target) {
  std::size_t i = 0;
#if defined(ORVO_X86_SIMD)
  const __m128i zero = _mm_setzero_si128();
  for (; i + 16 <= count; i += 16) {
    const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(text + i));
    const __m128i low = _mm_unpacklo_epi8(bytes, zero);
    const __m128i high = _mm_unpackhi_epi8(bytes, zero);
    auto* out = reinterpret_cast<__m128i*>(target + i);
    _mm_storeu_si128(out + 0, _mm_unpacklo_epi16(low, zero));
    _mm_storeu_si128(out + 1, _mm_unpackhi_epi16(low, zero));
    _mm_storeu_si128(out + 2, _mm_unpacklo_epi16(high, zero));
    _mm_storeu_si128(out + 3, _mm_unpackhi_epi16(high, zero));
  }
#endif
  for (; i < count; ++i) target[i] = static_cast<wchar_t>(text[i]);
}

// Where the careful decoder puts its result: counted only, or written.
struct CountingSink {
  std::size_t count = 0;
  bool broken = false;
  void ascii(const unsigned char*, std::size_t length) { count += length; }
  void put(wchar_t) { ++count; }
  void replace() {
    ++count;
    broken = true;
  }
};

struct WritingSink {
  wchar_t* target;
  void ascii(const unsigned char* text, std::size_t length) {
    widenAscii(text, length, target);
    target += length;
  }
  void put(wchar_t character) { *target++ = character; }
  void replace() { *target++ = kReplacement; }
};

// Decodes the non-ASCII sequence at `text` and returns the position behind
// it. A broken sequence yields one replacement for the bytes that were good
// so far.
template <class Sink>
const unsigned char* decodeSequence(const unsigned char* text, const unsigned char* end, Sink& sink) {
  const unsigned lead = text[0];
  const std::size_t left = static_cast<std::size_t>(end - text);
  // The second byte's range depends on the lead: it rules out overlong
  // forms, surrogates and values beyond U+10FFFF.
  unsigned char low = 0x80, high = 0xBF;
  std::size_t length;
  if (lead >= 0xC2 && lead <= 0xDF) {
    length = 2;
  } else if (lead >= 0xE0 && lead <= 0xEF) {
    length = 3;
    if (lead == 0xE0) low = 0xA0;
    if (lead == 0xED) high = 0x9F;
  } else if (lead >= 0xF0 && lead <= 0xF4) {
    length = 4;
    if (lead == 0xF0) low = 0x90;
    if (lead == 0xF4) high = 0x8F;
  } else {
    sink.replace();
    return text + 1;
  }
  if (left < 2 || text[1] < low || text[1] > high) {
    sink.replace();
    return text + 1;
  }
  std::uint32_t code = lead & (0x7F >> length);
  code = (code << 6) | (text[1] & 0x3F);
  for (std::size_t i = 2; i < length; ++i) {
    if (i >= left || !isContinuation(text[i])) {
      sink.replace();
      return text + i;
    }
    code = (code << 6) | (text[i] & 0x3F);
  }
  sink.put(static_cast<wchar_t>(code));
  return text + length;
}

template <class Sink>
void decodeCarefully(const unsigned char* text, std::size_t length, Sink& sink) {
  const unsigned char* p = text;
  const unsigned char* const end = text + length;
  while (p < end) {
    if (*p >= 0x80) {
      p = decodeSequence(p, end, sink);
      continue;
    }
    const unsigned char* run = p;
    while (p < end && *p < 0x80) ++p;
    sink.ascii(run, static_cast<std::size_t>(p - run));
  }
}

// --- Decoding well-formed bytes -------------------------------------------

void decodeWellFormed(const unsigned char* text, std::size_t length, wchar_t* target,
                      std::size_t units) {
  const unsigned char* p = text;
  const unsigned char* const end = text + length;
  wchar_t* out = target;
  wchar_t* const outEnd = target + units;
  while (p < end) {
#if defined(ORVO_X86_SIMD)
    if (*p < 0x80 && end - p >= 16 && outEnd - out >= 16) {
      // Sixteen at a time while there is room; the units behind the first
      // non-ASCII byte are overwritten by what follows.
      const int nonAscii = _mm_movemask_epi8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p)));
      widenAscii(p, 16, out);
      const int taken = nonAscii == 0 ? 16 : __builtin_ctz(static_cast<unsigned>(nonAscii));
      p += taken;
      out += taken;
      continue;
    }
#endif
    p = decodeWellFormedCharacter(p, out);
  }
}

// --- Encoding -------------------------------------------------------------

std::size_t encodedLengthScalar(const wchar_t* text, std::size_t length) {
  // Every value that is not a scalar value counts as U+FFFD, three bytes.
  std::size_t bytes = 0;
  for (std::size_t i = 0; i < length; ++i) {
    const auto code = static_cast<std::uint32_t>(text[i]);
    bytes += 1u + (code > 0x7F) + (code > 0x7FF) + (code > 0xFFFF) - (code > 0x10FFFF);
  }
  return bytes;
}

#if defined(ORVO_X86_SIMD)
// Narrows 16 wide characters to bytes and answers how many of them, from
// the first, are ASCII.
std::size_t narrowAscii16(const wchar_t* text, unsigned char* target) {
  const auto* source = reinterpret_cast<const __m128i*>(text);
  const __m128i a = _mm_loadu_si128(source), b = _mm_loadu_si128(source + 1);
  const __m128i c = _mm_loadu_si128(source + 2), d = _mm_loadu_si128(source + 3);
  const __m128i high = _mm_set1_epi32(~0x7F), zero = _mm_setzero_si128();
  auto asciiLanes = [&](__m128i units) {
    return static_cast<unsigned>(_mm_movemask_ps(_mm_castsi128_ps(_mm_cmpeq_epi32(_mm_and_si128(units, high), zero))));
  };
  const unsigned ascii = asciiLanes(a) | asciiLanes(b) << 4 | asciiLanes(c) << 8 | asciiLanes(d) << 12;
  _mm_storeu_si128(reinterpret_cast<__m128i*>(target),
                   _mm_packus_epi16(_mm_packs_epi32(a, b), _mm_packs_epi32(c, d)));
  return ascii == 0xFFFF ? 16 : static_cast<std::size_t>(__builtin_ctz(~ascii));
}
#endif

// Encodes without AVX2; also the tail of encodeAvx2.
void encodePortable(const wchar_t* text, std::size_t length, unsigned char* target,
                    std::size_t targetLength) {
  unsigned char* out = target;
  unsigned char* const outEnd = target + targetLength;
  std::size_t i = 0;
  while (i < length) {
#if defined(ORVO_X86_SIMD)
    // Sixteen at a time while there is room; the bytes behind the first
    // non-ASCII character are overwritten by what follows.
    if (isAsciiUnit(text[i]) && length - i >= 16 && outEnd - out >= 16) {
      const std::size_t taken = narrowAscii16(text + i, out);
      i += taken;
      out += taken;
      continue;
    }
#endif
    out = encodeCodePoint(static_cast<std::uint32_t>(text[i++]), out);
  }
}

// Decodes the character at `text` for a one-character sink.
struct CharacterSink {
  std::uint32_t code = 0;
  void put(wchar_t character) { code = static_cast<std::uint32_t>(character); }
  void replace() { code = kReplacement; }
};

}  // namespace

std::size_t decodeCharacter(const unsigned char* text, std::uint32_t& code) {
  if (text[0] < 0x80) {
    code = text[0];
    return text[0] == 0 ? 0 : 1;
  }
  // A terminated text needs no end: the terminator is no continuation byte,
  // so the decoder stops on it.
  CharacterSink sink;
  const unsigned char* next = decodeSequence(text, text + 4, sink);
  code = sink.code;
  return static_cast<std::size_t>(next - text);
}

Measure measureDecoded(const unsigned char* text, std::size_t length) {
  if (const platform::Utf8VectorLoops* vector = platform::utf8VectorLoops()) {
    std::size_t continuations = 0;
    if (vector->validate(text, length, continuations)) return {length - continuations, true};
  }
  CountingSink counter;
  decodeCarefully(text, length, counter);
  return {counter.count, !counter.broken};
}

void decode(const unsigned char* text, std::size_t length, wchar_t* target, const Measure& measure) {
  if (!measure.wellFormed) {
    WritingSink writer{target};
    decodeCarefully(text, length, writer);
    return;
  }
  std::size_t done = 0, written = 0;
  if (const platform::Utf8VectorLoops* vector = platform::utf8VectorLoops()) {
    done = vector->decodePrefix(text, length, target, measure.units, written);
  }
  decodeWellFormed(text + done, length - done, target + written, measure.units - written);
}

std::size_t encodedLength(const wchar_t* text, std::size_t length) {
  std::size_t done = 0, extra = 0;
  if (const platform::Utf8VectorLoops* vector = platform::utf8VectorLoops()) {
    extra = vector->extraBytes(text, length, done);
  }
  return done + extra + encodedLengthScalar(text + done, length - done);
}

void encode(const wchar_t* text, std::size_t length, unsigned char* target, std::size_t targetLength) {
  std::size_t done = 0, written = 0;
  if (const platform::Utf8VectorLoops* vector = platform::utf8VectorLoops()) {
    done = vector->encodePrefix(text, length, target, targetLength, written);
  }
  encodePortable(text + done, length - done, target + written, targetLength - written);
}

}  // namespace orvo::utf8
