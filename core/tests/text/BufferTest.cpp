// Buffer: a byte block owned by value, and its hexadecimal text form.
#include <orvo/core/Buffer.h>
#include <orvo/core/String.h>

#include <gtest/gtest.h>

#include <cstring>
#include <tuple>

#include "text/StringTestSupport.h"

namespace orvo {
namespace {

Buffer bytes(std::initializer_list<unsigned char> values) {
  Buffer buffer(static_cast<int>(values.size()));
  if (values.size() > 0) std::memcpy(buffer.getBuffer(), values.begin(), values.size());
  return buffer;
}

const unsigned char* at(const Buffer& buffer) { return static_cast<const unsigned char*>(buffer.getBuffer()); }

TEST(BufferTest, SizeChangesReallocateAndOnlyTheSameSizeKeepsTheBytes) {
  Buffer buffer = bytes({1, 2, 3, 4});
  const void* block = buffer.getBuffer();
  EXPECT_EACH({{Buffer(-5).getBuffer() == nullptr, true}, {buffer.setBufferSize(4), 4},
                    {buffer.getBuffer() == block, true}, {at(buffer)[3], 4}, {buffer.setBufferSize(2), 2}});
  std::memset(buffer.getBuffer(), 0x11, 2);  // Usable at its new size (ASan checks).
  EXPECT_EQ(buffer.setBufferSize(-1), 0);
  EXPECT_EQ(buffer.getBuffer(), nullptr);
}

TEST(BufferTest, CopiesAndMovesOwnTheirBlocksAndCompareByBytes) {
  const Buffer original = bytes({'a', 'b', 'c'});
  Buffer copy(original), target(10);
  const bool equalCopy = copy == original && copy.getBuffer() != original.getBuffer();
  static_cast<unsigned char*>(copy.getBuffer())[2] = 'X';
  EXPECT_EACH({{equalCopy, true}, {copy != original, true}, {Buffer() == Buffer(), true}, {Buffer(3) != Buffer(4), true}});
  target = original;
  Buffer& alias = target;
  target = alias;
  EXPECT_EQ(target, original);
  target = Buffer();
  EXPECT_EQ(target.getBufferSize(), 0);
  const void* block = copy.getBuffer();
  Buffer moved(std::move(copy));
  EXPECT_EQ(moved.getBuffer(), block);
  EXPECT_EQ(copy.getBuffer(), nullptr);  // NOLINT(bugprone-use-after-move)
}

TEST(BufferHex, TwoLowerCaseDigitsAByteAndBackInEitherCase) {
  EXPECT_EQ(bytes({0x0A, 0xFF, 0x00, 0x9C}).convertToHex(), L"0aff009c");
  EXPECT_EQ(Buffer().convertToHex().getLength(), 0);
  for (const wchar_t* text : {L"0aff", L"0AFF", L"0aFf"}) {
    Buffer buffer;
    EXPECT_TRUE(buffer.convertFromHex(String(text))) << text;
    EXPECT_EQ(buffer, bytes({0x0A, 0xFF})) << text;
  }
  Buffer all(256), back;
  for (int i = 0; i < 256; ++i) static_cast<unsigned char*>(all.getBuffer())[i] = static_cast<unsigned char>(i);
  EXPECT_TRUE(back.convertFromHex(all.convertToHex()));
  EXPECT_EQ(back, all);
  EXPECT_TRUE(back.convertFromHex(String()));
  EXPECT_EQ(back.getBuffer(), nullptr);
}

TEST(BufferHex, BadTextAnswersFalse) {
  Buffer odd = bytes({7, 8});
  EXPECT_FALSE(odd.convertFromHex(String(L"abc")));
  EXPECT_EQ(odd, bytes({7, 8}));  // Untouched.
  // A bad character stops with the new size and the bytes so far.
  // {text, size, first byte}; a first byte of 7 was not decoded.
  const std::tuple<const wchar_t*, int, int> cases[] = {
      {L"12g4", 2, 0x12}, {L"abc!", 2, 0xAB}, {L" 1", 1, 7}, {L"\uFF10\uFF10", 1, 7}, {L"0\u0131", 1, 7}};
  for (const auto& [text, size, first] : cases) {
    Buffer buffer = bytes({7});
    EXPECT_FALSE(buffer.convertFromHex(String(text))) << text;
    EXPECT_EQ(buffer.getBufferSize(), size) << text;
    EXPECT_EQ(at(buffer)[0], first) << text;
  }
}

}  // namespace
}  // namespace orvo
