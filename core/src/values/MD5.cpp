#include <orvo/core/MD5.h>

#include <cstring>

#include "text/HexDigits.h"

namespace orvo {
namespace {

inline std::uint32_t rotateLeft(std::uint32_t x, int n) { return (x << n) | (x >> (32 - n)); }

inline std::uint32_t loadLittleEndian(const unsigned char* p) {
  return static_cast<std::uint32_t>(p[0]) | static_cast<std::uint32_t>(p[1]) << 8 |
         static_cast<std::uint32_t>(p[2]) << 16 | static_cast<std::uint32_t>(p[3]) << 24;
}

inline void storeLittleEndian(unsigned char* p, std::uint32_t x) {
  p[0] = static_cast<unsigned char>(x);
  p[1] = static_cast<unsigned char>(x >> 8);
  p[2] = static_cast<unsigned char>(x >> 16);
  p[3] = static_cast<unsigned char>(x >> 24);
}

// The four round functions, in forms that need the fewest operations; each
// gives the RFC's result bit for bit.
inline std::uint32_t F(std::uint32_t x, std::uint32_t y, std::uint32_t z) { return z ^ (x & (y ^ z)); }
// G's two halves have no bit in common, so they may be added rather than
// or-ed, which lets the processor compute them side by side.
inline std::uint32_t G(std::uint32_t x, std::uint32_t y, std::uint32_t z) { return (x & z) + (y & ~z); }
inline std::uint32_t H(std::uint32_t x, std::uint32_t y, std::uint32_t z) { return x ^ y ^ z; }
inline std::uint32_t I(std::uint32_t x, std::uint32_t y, std::uint32_t z) { return y ^ (x | ~z); }

#define ORVO_MD5_STEP(f, a, b, c, d, x, s, ac) \
  a += f(b, c, d) + (x) + (ac);                \
  a = rotateLeft(a, s) + b;

const unsigned char kPadding[64] = {0x80};

}  // namespace

void MD5Init(MD5Context* context) {
  context->count[0] = context->count[1] = 0;
  context->state[0] = 0x67452301u;
  context->state[1] = 0xefcdab89u;
  context->state[2] = 0x98badcfeu;
  context->state[3] = 0x10325476u;
}

void MD5Transform(unsigned int* const state, const unsigned char* const block) {
  std::uint32_t x[16];
  for (int i = 0; i < 16; ++i) x[i] = loadLittleEndian(block + 4 * i);
  std::uint32_t a = state[0], b = state[1], c = state[2], d = state[3];

  ORVO_MD5_STEP(F, a, b, c, d, x[0], 7, 0xd76aa478u)
  ORVO_MD5_STEP(F, d, a, b, c, x[1], 12, 0xe8c7b756u)
  ORVO_MD5_STEP(F, c, d, a, b, x[2], 17, 0x242070dbu)
  ORVO_MD5_STEP(F, b, c, d, a, x[3], 22, 0xc1bdceeeu)
  ORVO_MD5_STEP(F, a, b, c, d, x[4], 7, 0xf57c0fafu)
  ORVO_MD5_STEP(F, d, a, b, c, x[5], 12, 0x4787c62au)
  ORVO_MD5_STEP(F, c, d, a, b, x[6], 17, 0xa8304613u)
  ORVO_MD5_STEP(F, b, c, d, a, x[7], 22, 0xfd469501u)
  ORVO_MD5_STEP(F, a, b, c, d, x[8], 7, 0x698098d8u)
  ORVO_MD5_STEP(F, d, a, b, c, x[9], 12, 0x8b44f7afu)
  ORVO_MD5_STEP(F, c, d, a, b, x[10], 17, 0xffff5bb1u)
  ORVO_MD5_STEP(F, b, c, d, a, x[11], 22, 0x895cd7beu)
  ORVO_MD5_STEP(F, a, b, c, d, x[12], 7, 0x6b901122u)
  ORVO_MD5_STEP(F, d, a, b, c, x[13], 12, 0xfd987193u)
  ORVO_MD5_STEP(F, c, d, a, b, x[14], 17, 0xa679438eu)
  ORVO_MD5_STEP(F, b, c, d, a, x[15], 22, 0x49b40821u)

  ORVO_MD5_STEP(G, a, b, c, d, x[1], 5, 0xf61e2562u)
  ORVO_MD5_STEP(G, d, a, b, c, x[6], 9, 0xc040b340u)
  ORVO_MD5_STEP(G, c, d, a, b, x[11], 14, 0x265e5a51u)
  ORVO_MD5_STEP(G, b, c, d, a, x[0], 20, 0xe9b6c7aau)
  ORVO_MD5_STEP(G, a, b, c, d, x[5], 5, 0xd62f105du)
  ORVO_MD5_STEP(G, d, a, b, c, x[10], 9, 0x02441453u)
  ORVO_MD5_STEP(G, c, d, a, b, x[15], 14, 0xd8a1e681u)
  ORVO_MD5_STEP(G, b, c, d, a, x[4], 20, 0xe7d3fbc8u)
  ORVO_MD5_STEP(G, a, b, c, d, x[9], 5, 0x21e1cde6u)
  ORVO_MD5_STEP(G, d, a, b, c, x[14], 9, 0xc33707d6u)
  ORVO_MD5_STEP(G, c, d, a, b, x[3], 14, 0xf4d50d87u)
  ORVO_MD5_STEP(G, b, c, d, a, x[8], 20, 0x455a14edu)
  ORVO_MD5_STEP(G, a, b, c, d, x[13], 5, 0xa9e3e905u)
  ORVO_MD5_STEP(G, d, a, b, c, x[2], 9, 0xfcefa3f8u)
  ORVO_MD5_STEP(G, c, d, a, b, x[7], 14, 0x676f02d9u)
  ORVO_MD5_STEP(G, b, c, d, a, x[12], 20, 0x8d2a4c8au)

  ORVO_MD5_STEP(H, a, b, c, d, x[5], 4, 0xfffa3942u)
  ORVO_MD5_STEP(H, d, a, b, c, x[8], 11, 0x8771f681u)
  ORVO_MD5_STEP(H, c, d, a, b, x[11], 16, 0x6d9d6122u)
  ORVO_MD5_STEP(H, b, c, d, a, x[14], 23, 0xfde5380cu)
  ORVO_MD5_STEP(H, a, b, c, d, x[1], 4, 0xa4beea44u)
  ORVO_MD5_STEP(H, d, a, b, c, x[4], 11, 0x4bdecfa9u)
  ORVO_MD5_STEP(H, c, d, a, b, x[7], 16, 0xf6bb4b60u)
  ORVO_MD5_STEP(H, b, c, d, a, x[10], 23, 0xbebfbc70u)
  ORVO_MD5_STEP(H, a, b, c, d, x[13], 4, 0x289b7ec6u)
  ORVO_MD5_STEP(H, d, a, b, c, x[0], 11, 0xeaa127fau)
  ORVO_MD5_STEP(H, c, d, a, b, x[3], 16, 0xd4ef3085u)
  ORVO_MD5_STEP(H, b, c, d, a, x[6], 23, 0x04881d05u)
  ORVO_MD5_STEP(H, a, b, c, d, x[9], 4, 0xd9d4d039u)
  ORVO_MD5_STEP(H, d, a, b, c, x[12], 11, 0xe6db99e5u)
  ORVO_MD5_STEP(H, c, d, a, b, x[15], 16, 0x1fa27cf8u)
  ORVO_MD5_STEP(H, b, c, d, a, x[2], 23, 0xc4ac5665u)

  ORVO_MD5_STEP(I, a, b, c, d, x[0], 6, 0xf4292244u)
  ORVO_MD5_STEP(I, d, a, b, c, x[7], 10, 0x432aff97u)
  ORVO_MD5_STEP(I, c, d, a, b, x[14], 15, 0xab9423a7u)
  ORVO_MD5_STEP(I, b, c, d, a, x[5], 21, 0xfc93a039u)
  ORVO_MD5_STEP(I, a, b, c, d, x[12], 6, 0x655b59c3u)
  ORVO_MD5_STEP(I, d, a, b, c, x[3], 10, 0x8f0ccc92u)
  ORVO_MD5_STEP(I, c, d, a, b, x[10], 15, 0xffeff47du)
  ORVO_MD5_STEP(I, b, c, d, a, x[1], 21, 0x85845dd1u)
  ORVO_MD5_STEP(I, a, b, c, d, x[8], 6, 0x6fa87e4fu)
  ORVO_MD5_STEP(I, d, a, b, c, x[15], 10, 0xfe2ce6e0u)
  ORVO_MD5_STEP(I, c, d, a, b, x[6], 15, 0xa3014314u)
  ORVO_MD5_STEP(I, b, c, d, a, x[13], 21, 0x4e0811a1u)
  ORVO_MD5_STEP(I, a, b, c, d, x[4], 6, 0xf7537e82u)
  ORVO_MD5_STEP(I, d, a, b, c, x[11], 10, 0xbd3af235u)
  ORVO_MD5_STEP(I, c, d, a, b, x[2], 15, 0x2ad7d2bbu)
  ORVO_MD5_STEP(I, b, c, d, a, x[9], 21, 0xeb86d391u)

  state[0] += a;
  state[1] += b;
  state[2] += c;
  state[3] += d;
}

#undef ORVO_MD5_STEP

void MD5Update(MD5Context* context, const void* data, unsigned int length) {
  // Nothing to add; `data` may then be null, which memcpy must never see.
  if (length == 0) return;
  const auto* input = static_cast<const unsigned char*>(data);
  const unsigned int used = (context->count[0] >> 3) & 0x3F;
  const std::uint32_t bits = static_cast<std::uint32_t>(length) << 3;
  if ((context->count[0] += bits) < bits) ++context->count[1];
  context->count[1] += static_cast<std::uint32_t>(length) >> 29;

  unsigned int consumed = 0;
  if (used != 0) {
    const unsigned int room = 64 - used;
    if (length < room) {
      std::memcpy(context->buffer + used, input, length);
      return;
    }
    std::memcpy(context->buffer + used, input, room);
    MD5Transform(context->state, context->buffer);
    consumed = room;
  }
  for (; consumed + 64 <= length; consumed += 64) MD5Transform(context->state, input + consumed);
  if (consumed < length) std::memcpy(context->buffer, input + consumed, length - consumed);
}

void MD5Final(unsigned char* const digest, MD5Context* context) {
  unsigned char bitCount[8];
  storeLittleEndian(bitCount, context->count[0]);
  storeLittleEndian(bitCount + 4, context->count[1]);
  // Pad to 56 bytes in the last block; from 56 bytes on that takes a second one.
  const unsigned int used = (context->count[0] >> 3) & 0x3F;
  MD5Update(context, kPadding, used < 56 ? 56 - used : 120 - used);
  MD5Update(context, bitCount, 8);
  for (int i = 0; i < 4; ++i) storeLittleEndian(digest + 4 * i, context->state[i]);
  std::memset(context, 0, sizeof *context);
}

void MD5Checksum(const void* data, int length, unsigned char* const digest) {
  MD5Context context;
  MD5Init(&context);
  MD5Update(&context, data, length > 0 ? static_cast<unsigned int>(length) : 0);
  MD5Final(digest, &context);
}

void MD5String(const void* data, int length, wchar_t* const text) {
  unsigned char digest[16];
  MD5Checksum(data, length, digest);
  *hex::writeBytes(digest, 16, text) = 0;
}

String MD5String(const void* data, int length) {
  wchar_t text[33];
  MD5String(data, length, text);
  return String(text);
}

}  // namespace orvo
