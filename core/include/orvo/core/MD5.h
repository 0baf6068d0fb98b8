// MD5.h: the MD5 message digest of RFC 1321.
//
// Feed bytes through MD5Init, MD5Update (any number of times, any lengths)
// and MD5Final, or digest a block in one call with MD5Checksum. MD5String
// gives the 32 lower-case hexadecimal digits of a digest.
//
//   unsigned char digest[16];
//   MD5Checksum(data, size, digest);
//   String text = MD5String(data, size);   // "9e107d9d372bb6826bd81d3542a419d6"
//
// Threads: nothing is shared. A context belongs to one thread at a time; the
// one-call functions may run on any number of threads at once.
#pragma once

#include <cstdint>

#include <orvo/core/Export.h>
#include <orvo/core/String.h>

namespace orvo {

struct MD5Context {
  std::uint32_t state[4];   // The chaining values A, B, C, D.
  std::uint32_t count[2];   // The message length in bits, low word first.
  unsigned char buffer[64];  // The bytes of an unfinished block.
};

ORVO_API void MD5Init(MD5Context* context);
ORVO_API void MD5Update(MD5Context* context, const void* data, unsigned int length);
// Pads, appends the bit count and writes the 16-byte digest. The context is
// finished: a new digest needs a new MD5Init.
ORVO_API void MD5Final(unsigned char* const digest, MD5Context* context);
// One step over a 64-byte block, whose words are read little-endian.
ORVO_API void MD5Transform(unsigned int* const state, const unsigned char* const block);

ORVO_API void MD5Checksum(const void* data, int length, unsigned char* const digest);
// Writes the 32 digits and a terminator: `text` must hold 33 characters.
ORVO_API void MD5String(const void* data, int length, wchar_t* const text);
ORVO_API String MD5String(const void* data, int length);

}  // namespace orvo
