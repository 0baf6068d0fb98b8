// Buffer: a byte block owned by value.
#include <gtest/gtest.h>

#include <cstring>

#include <orvo/core/Buffer.h>

namespace orvo {
namespace {

void fill(Buffer& buffer, unsigned char value) {
  std::memset(buffer.getBuffer(), value, static_cast<std::size_t>(buffer.getBufferSize()));
}

TEST(BufferTest, EmptyBufferHasNullBlock) {
  Buffer empty;
  EXPECT_EQ(empty.getBufferSize(), 0);
  EXPECT_EQ(empty.getBuffer(), nullptr);
  Buffer negative(-5);
  EXPECT_EQ(negative.getBufferSize(), 0);
  EXPECT_EQ(negative.getBuffer(), nullptr);
}

TEST(BufferTest, SameSizeKeepsTheBytes) {
  Buffer buffer(8);
  fill(buffer, 0x5A);
  const void* block = buffer.getBuffer();
  EXPECT_EQ(buffer.setBufferSize(8), 8);
  EXPECT_EQ(buffer.getBuffer(), block);
  EXPECT_EQ(static_cast<const unsigned char*>(buffer.getBuffer())[7], 0x5A);
}

TEST(BufferTest, OtherSizeReallocatesEvenWhenSmaller) {
  Buffer buffer(8);
  fill(buffer, 0x5A);
  EXPECT_EQ(buffer.setBufferSize(4), 4);
  // The content is not kept; all we can say is that the block is new and
  // usable at its new size (ASan checks the bounds).
  fill(buffer, 0x11);
  EXPECT_EQ(buffer.getBufferSize(), 4);
}

TEST(BufferTest, NegativeSizeFreesAndAnswersZero) {
  Buffer buffer(16);
  EXPECT_EQ(buffer.setBufferSize(-1), 0);
  EXPECT_EQ(buffer.getBuffer(), nullptr);
}

TEST(BufferTest, CopyHasItsOwnEqualBlock) {
  Buffer original(5);
  std::memcpy(original.getBuffer(), "abcde", 5);
  Buffer copy(original);
  EXPECT_NE(copy.getBuffer(), original.getBuffer());
  EXPECT_TRUE(copy == original);
  static_cast<unsigned char*>(copy.getBuffer())[4] = 'X';
  EXPECT_TRUE(copy != original);
  EXPECT_EQ(static_cast<const unsigned char*>(original.getBuffer())[4], 'e');
}

TEST(BufferTest, AssignmentResizesAndCopies) {
  Buffer source(3);
  std::memcpy(source.getBuffer(), "xyz", 3);
  Buffer target(10);
  target = source;
  EXPECT_EQ(target.getBufferSize(), 3);
  EXPECT_EQ(std::memcmp(target.getBuffer(), "xyz", 3), 0);
  Buffer& alias = target;  // Self-assignment, hidden from the compiler's warning.
  target = alias;
  EXPECT_EQ(std::memcmp(target.getBuffer(), "xyz", 3), 0);
  Buffer empty;
  target = empty;
  EXPECT_EQ(target.getBufferSize(), 0);
}

TEST(BufferTest, EqualityBySizeThenBytes) {
  Buffer a, b;
  EXPECT_TRUE(a == b) << "two empty buffers";
  Buffer three(3), four(4);
  EXPECT_TRUE(three != four);
  fill(three, 1);
  Buffer other(3);
  fill(other, 1);
  EXPECT_TRUE(three == other);
}

TEST(BufferTest, MoveTakesTheBlock) {
  Buffer source(6);
  const void* block = source.getBuffer();
  Buffer target(std::move(source));
  EXPECT_EQ(target.getBuffer(), block);
  EXPECT_EQ(source.getBufferSize(), 0);
  EXPECT_EQ(source.getBuffer(), nullptr);
}

}  // namespace
}  // namespace orvo
