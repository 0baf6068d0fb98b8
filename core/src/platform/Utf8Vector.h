// Utf8Vector.h: the UTF-8 codec's loops for processors with AVX2, with a
// validator of its own where AVX-512 is there too.
//
// The codec (text/Utf8Codec.cpp) asks for them on each conversion. Where
// the processor lacks AVX2, or limitSimd (CpuFeatures.h) rules it out, there
// are none and the codec's portable loops do the whole text. Each loop does
// the bulk of a text and answers how far it got; the codec finishes the
// rest. They beat glibc's iconv threefold and more (bench/strings.cpp), which
// is why they are kept.
//
//   if (const platform::Utf8VectorLoops* vector = platform::utf8VectorLoops()) {
//     done = vector->encodePrefix(text, length, target, targetLength, written);
//   }
#pragma once

#include <cstddef>

namespace orvo::platform {

struct Utf8VectorLoops {
  // True if the bytes are well-formed UTF-8; `continuations` gets the number
  // of continuation bytes.
  bool (*validate)(const unsigned char* text, std::size_t length, std::size_t& continuations);
  // Decodes well-formed text of `units` characters up to a character
  // boundary; answers the bytes taken, `written` gets the characters.
  std::size_t (*decodePrefix)(const unsigned char* text, std::size_t length, wchar_t* target,
                              std::size_t units, std::size_t& written);
  // The bytes beyond one per character that UTF-8 needs for the first
  // `done` characters; the rest is the caller's.
  std::size_t (*extraBytes)(const wchar_t* text, std::size_t length, std::size_t& done);
  // Encodes the first characters into the `targetLength` bytes measured
  // for the whole text; answers the characters taken, `written` gets bytes.
  std::size_t (*encodePrefix)(const wchar_t* text, std::size_t length, unsigned char* target,
                              std::size_t targetLength, std::size_t& written);
};

// The loops this processor may run now, or null.
const Utf8VectorLoops* utf8VectorLoops();

}  // namespace orvo::platform
