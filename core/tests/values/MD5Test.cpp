// MD5 against published digests, across the padding limits and split points.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include <orvo/core/MD5.h>

namespace orvo {
namespace {

std::vector<unsigned char> bytesOf(std::size_t length) {
  std::vector<unsigned char> bytes(length);
  for (std::size_t i = 0; i < length; ++i) bytes[i] = static_cast<unsigned char>(i * 131 + 7);
  return bytes;
}

std::wstring textOf(const void* data, std::size_t length) {
  wchar_t text[33];
  MD5String(data, static_cast<int>(length), text);
  EXPECT_EQ(MD5String(data, static_cast<int>(length)), String(text));
  return text;
}

TEST(MD5Test, PublishedDigestsAcrossThePaddingLimits) {
  const std::pair<const char*, const wchar_t*> rfcSuite[] = {
      {"", L"d41d8cd98f00b204e9800998ecf8427e"},
      {"a", L"0cc175b9c0f1b6a831c399e269772661"},
      {"abc", L"900150983cd24fb0d6963f7d28e17f72"},
      {"message digest", L"f96b697d7cb7938d525a2f31aaf161d0"},
      {"abcdefghijklmnopqrstuvwxyz", L"c3fcd3d76192e4007dfb496cca67e13b"},
      {"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789", L"d174ab98d277d9f5a5611c2c9f419d9f"},
      {"12345678901234567890123456789012345678901234567890123456789012345678901234567890",
       L"57edf4a22be3c955ac49da2e2107b67a"},
  };
  for (const auto& [text, digest] : rfcSuite) EXPECT_EQ(textOf(text, std::strlen(text)), digest) << text;
  // At 56 bytes and more of an unfinished block the padding takes a second one.
  const std::pair<std::size_t, const wchar_t*> limits[] = {
      {55, L"852e13533f66e414bbbbb3348de4f81f"},  {56, L"98e8cb3457434649644b5fe9f4e5e4fa"},
      {63, L"c9803ddca3b148d91d5f214be64197d4"},  {64, L"bc00c8534af1e5aef0ede584d8ad5bc3"},
      {65, L"4e114d3e0baf5ace365e0552a3273291"},  {119, L"e0c0cb3cbc027ba4d5a6c983754f2dc1"},
      {120, L"3d7a96a57e721a4e2c2cbe55937e10e2"}, {1000, L"0b8ae90ded6089334e353eb2669ab5e6"},
  };
  for (const auto& [length, digest] : limits) EXPECT_EQ(textOf(bytesOf(length).data(), length), digest) << length;
}

// Every split, also into empty pieces without data, gives the digest of the
// whole.
TEST(MD5Test, SplittingAtAnyPointGivesTheDigestOfTheWhole) {
  const auto bytes = bytesOf(200);
  unsigned char whole[16], digest[16];
  MD5Checksum(bytes.data(), static_cast<int>(bytes.size()), whole);
  for (unsigned int first = 0; first <= bytes.size(); ++first) {
    for (unsigned int second : {0u, 1u, 63u, 64u, 65u}) {
      if (first + second > bytes.size()) continue;
      MD5Context context;
      MD5Init(&context);
      MD5Update(&context, bytes.data(), first);
      MD5Update(&context, second == 0 ? nullptr : bytes.data() + first, second);
      MD5Update(&context, bytes.data() + first + second, static_cast<unsigned int>(bytes.size()) - first - second);
      MD5Final(digest, &context);
      ASSERT_EQ(std::memcmp(digest, whole, 16), 0) << first << "+" << second;
    }
  }
}

TEST(MD5Test, TransformOfOneBlockIsTheStateAfterIt) {
  const auto bytes = bytesOf(64);
  MD5Context context;
  MD5Init(&context);
  MD5Update(&context, bytes.data(), 64);
  unsigned int state[4] = {0x67452301, 0xefcdab89, 0x98badcfe, 0x10325476};
  MD5Transform(state, bytes.data());
  EXPECT_EQ(std::memcmp(state, context.state, sizeof state), 0);
}

}  // namespace
}  // namespace orvo
