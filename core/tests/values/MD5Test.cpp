// MD5 against the RFC's suite and against a compact reference written from
// the algorithm's definition (constants from the sine table, one generic
// loop), across padding limits and split points.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <string>
#include <vector>

#include <orvo/core/MD5.h>

namespace orvo {
namespace {

std::vector<unsigned char> referenceMd5(const std::vector<unsigned char>& message) {
  std::uint32_t k[64];
  for (int i = 0; i < 64; ++i) k[i] = static_cast<std::uint32_t>(std::floor(std::fabs(std::sin(i + 1.0)) * 4294967296.0));
  static const int shifts[4][4] = {{7, 12, 17, 22}, {5, 9, 14, 20}, {4, 11, 16, 23}, {6, 10, 15, 21}};

  std::vector<unsigned char> data = message;
  const std::uint64_t bits = static_cast<std::uint64_t>(message.size()) * 8;
  data.push_back(0x80);
  while (data.size() % 64 != 56) data.push_back(0);
  for (int i = 0; i < 8; ++i) data.push_back(static_cast<unsigned char>(bits >> (8 * i)));

  std::uint32_t h[4] = {0x67452301, 0xefcdab89, 0x98badcfe, 0x10325476};
  for (std::size_t block = 0; block < data.size(); block += 64) {
    std::uint32_t m[16];
    for (int i = 0; i < 16; ++i) {
      m[i] = 0;
      for (int j = 0; j < 4; ++j) m[i] |= static_cast<std::uint32_t>(data[block + 4 * i + j]) << (8 * j);
    }
    std::uint32_t a = h[0], b = h[1], c = h[2], d = h[3];
    for (int i = 0; i < 64; ++i) {
      const int round = i / 16;
      std::uint32_t f;
      int g;
      if (round == 0) {
        f = (b & c) | (~b & d), g = i;
      } else if (round == 1) {
        f = (d & b) | (~d & c), g = (5 * i + 1) % 16;
      } else if (round == 2) {
        f = b ^ c ^ d, g = (3 * i + 5) % 16;
      } else {
        f = c ^ (b | ~d), g = (7 * i) % 16;
      }
      const std::uint32_t sum = a + f + k[i] + m[g];
      const int s = shifts[round][i % 4];
      a = d, d = c, c = b;
      b = b + ((sum << s) | (sum >> (32 - s)));
    }
    h[0] += a, h[1] += b, h[2] += c, h[3] += d;
  }
  std::vector<unsigned char> digest(16);
  for (int i = 0; i < 16; ++i) digest[i] = static_cast<unsigned char>(h[i / 4] >> (8 * (i % 4)));
  return digest;
}

std::vector<unsigned char> bytesOf(std::size_t length) {
  std::vector<unsigned char> bytes(length);
  for (std::size_t i = 0; i < length; ++i) bytes[i] = static_cast<unsigned char>(i * 131 + 7);
  return bytes;
}

std::vector<unsigned char> digestOf(const std::vector<unsigned char>& bytes) {
  std::vector<unsigned char> digest(16);
  MD5Checksum(bytes.data(), static_cast<int>(bytes.size()), digest.data());
  return digest;
}

TEST(MD5Test, RfcSuite) {
  const std::pair<const char*, const wchar_t*> suite[] = {
      {"", L"d41d8cd98f00b204e9800998ecf8427e"},
      {"a", L"0cc175b9c0f1b6a831c399e269772661"},
      {"abc", L"900150983cd24fb0d6963f7d28e17f72"},
      {"message digest", L"f96b697d7cb7938d525a2f31aaf161d0"},
      {"abcdefghijklmnopqrstuvwxyz", L"c3fcd3d76192e4007dfb496cca67e13b"},
      {"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789", L"d174ab98d277d9f5a5611c2c9f419d9f"},
      {"12345678901234567890123456789012345678901234567890123456789012345678901234567890",
       L"57edf4a22be3c955ac49da2e2107b67a"},
  };
  for (const auto& [text, expected] : suite) {
    const int length = static_cast<int>(std::strlen(text));
    EXPECT_EQ(std::wstring(MD5String(text, length).getBuffer()), expected) << text;
    wchar_t buffer[33];
    MD5String(text, length, buffer);
    EXPECT_STREQ(buffer, expected);
  }
}

TEST(MD5Test, LengthsAcrossThePaddingLimitsMatchTheReference) {
  for (std::size_t length = 0; length <= 300; ++length) {
    const auto bytes = bytesOf(length);
    ASSERT_EQ(digestOf(bytes), referenceMd5(bytes)) << "length " << length;
  }
  for (std::size_t length : {1000u, 4095u, 4096u, 4097u, 100000u}) {
    const auto bytes = bytesOf(length);
    EXPECT_EQ(digestOf(bytes), referenceMd5(bytes)) << "length " << length;
  }
}

TEST(MD5Test, SplittingAtEveryPointGivesTheDigestOfTheWhole) {
  const auto bytes = bytesOf(200);
  const auto whole = digestOf(bytes);
  for (unsigned int first = 0; first <= bytes.size(); ++first) {
    for (unsigned int second : {0u, 1u, 63u, 64u, 65u}) {
      if (first + second > bytes.size()) continue;
      MD5Context context;
      MD5Init(&context);
      MD5Update(&context, bytes.data(), first);
      MD5Update(&context, bytes.data() + first, second);
      MD5Update(&context, bytes.data() + first + second, static_cast<unsigned int>(bytes.size()) - first - second);
      std::vector<unsigned char> digest(16);
      MD5Final(digest.data(), &context);
      ASSERT_EQ(digest, whole) << first << "+" << second;
    }
  }
}

TEST(MD5Test, ByteAtATimeAndTransformOfOneBlock) {
  const auto bytes = bytesOf(1000);
  MD5Context context;
  MD5Init(&context);
  for (unsigned char byte : bytes) MD5Update(&context, &byte, 1);
  std::vector<unsigned char> digest(16);
  MD5Final(digest.data(), &context);
  EXPECT_EQ(digest, referenceMd5(bytes));

  // One block straight through the compression function: the state after it
  // is what MD5Update keeps for a 64-byte prefix.
  MD5Context prefix;
  MD5Init(&prefix);
  MD5Update(&prefix, bytes.data(), 64);
  unsigned int state[4] = {0x67452301, 0xefcdab89, 0x98badcfe, 0x10325476};
  MD5Transform(state, bytes.data());
  EXPECT_EQ(std::memcmp(state, prefix.state, sizeof state), 0);
}

}  // namespace
}  // namespace orvo
