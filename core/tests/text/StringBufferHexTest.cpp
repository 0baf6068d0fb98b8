// The hexadecimal text form of a Buffer.
#include <orvo/core/Buffer.h>
#include <orvo/core/String.h>

#include <gtest/gtest.h>

#include "text/StringTestSupport.h"

namespace orvo {
namespace {

Buffer bytes(std::initializer_list<unsigned char> values) {
  Buffer buffer(static_cast<int>(values.size()));
  unsigned char* target = static_cast<unsigned char*>(buffer.getBuffer());
  for (unsigned char value : values) *target++ = value;
  return buffer;
}

const unsigned char* at(const Buffer& buffer) {
  return static_cast<const unsigned char*>(buffer.getBuffer());
}

TEST(BufferHex, ToHexWritesTwoLowerCaseDigitsAByteHighNibbleFirst) {
  const String hex = bytes({0x0A, 0xFF, 0x00, 0x9C}).convertToHex();
  EXPECT_EQ(hex, L"0aff009c");
  EXPECT_EQ(hex.getLength(), 8);
  EXPECT_EQ(Buffer().convertToHex().getLength(), 0);
}

TEST(BufferHex, FromHexTakesEitherCaseAndMixedCase) {
  for (const wchar_t* text : {L"0aff", L"0AFF", L"0aFf"}) {
    Buffer buffer;
    EXPECT_TRUE(buffer.convertFromHex(String(text))) << text;
    EXPECT_EQ(buffer, bytes({0x0A, 0xFF})) << text;
  }
}

TEST(BufferHex, RoundTripOfEveryByteValue) {
  Buffer all(256);
  for (int i = 0; i < 256; ++i) static_cast<unsigned char*>(all.getBuffer())[i] = static_cast<unsigned char>(i);
  Buffer back;
  EXPECT_TRUE(back.convertFromHex(all.convertToHex()));
  EXPECT_EQ(back, all);
}

TEST(BufferHex, AnEmptyTextGivesAnEmptyBuffer) {
  Buffer buffer = bytes({1, 2, 3});
  EXPECT_TRUE(buffer.convertFromHex(String()));
  EXPECT_EQ(buffer.getBufferSize(), 0);
  EXPECT_EQ(buffer.getBuffer(), nullptr);
}

TEST(BufferHex, AnOddLengthLeavesTheBufferUntouched) {
  Buffer buffer = bytes({7, 8});
  EXPECT_FALSE(buffer.convertFromHex(String(L"abc")));
  EXPECT_EQ(buffer, bytes({7, 8}));
}

TEST(BufferHex, ABadCharacterStopsWithTheNewSizeAndTheBytesSoFar) {
  Buffer buffer = bytes({7});
  EXPECT_FALSE(buffer.convertFromHex(String(L"12g4")));
  EXPECT_EQ(buffer.getBufferSize(), 2);
  EXPECT_EQ(at(buffer)[0], 0x12);

  Buffer last;
  EXPECT_FALSE(last.convertFromHex(String(L"abc!")));
  EXPECT_EQ(last.getBufferSize(), 2);
  EXPECT_EQ(at(last)[0], 0xAB);

  Buffer first;
  EXPECT_FALSE(first.convertFromHex(String(L" 1")));
  EXPECT_EQ(first.getBufferSize(), 1);
}

TEST(BufferHex, NonAsciiDigitLookalikesAreBad) {
  Buffer buffer;
  EXPECT_FALSE(buffer.convertFromHex(String(L"\uFF10\uFF10")));  // Full-width zeros.
  EXPECT_FALSE(buffer.convertFromHex(String(L"0\u0131")));
}

}  // namespace
}  // namespace orvo
