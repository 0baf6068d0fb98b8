// The one wire form of the three strings: a count of UTF-16 units, then the
// units, little-endian.
#include <gtest/gtest.h>

#include <string>

#include <orvo/core/CodePage.h>
#include <orvo/core/String.h>
#include <orvo/core/StringHelper.h>

#include "io/TestDevices.h"

namespace orvo {
namespace {

using test::QueueDevice;
using Bytes = std::vector<std::uint8_t>;

constexpr const wchar_t* kReadMessage = L"TyIs& operator >>(TyIs&,StringWide&)";
constexpr const wchar_t* kWriteMessage = L"TyOs& operator <<(TyOs&,StringWide&)";
constexpr const wchar_t* kStringHeader = L"core/include/orvo/core/String";

template <class Step>
void expectRaise(Step step, const wchar_t* message, const wchar_t* file) {
  try {
    step();
    ADD_FAILURE() << "no exception";
  } catch (const Exception& e) {
    EXPECT_EQ(e.message, message);
    EXPECT_EQ(e.file, file);
    EXPECT_EQ(e.code, -1);
  }
}

template <class Value>
Bytes written(const Value& value) {
  THandle<QueueDevice> device = QueueDevice::create();
  OutputStream out(device.get());
  out << value;
  return device->bytes;
}

template <class Value>
Value readBack(const Bytes& bytes) {
  THandle<QueueDevice> device = QueueDevice::create(bytes);
  InputStream in(device.get());
  Value value;
  in >> value;
  EXPECT_EQ(device->available(), 0);
  return value;
}

TEST(StringStreamTest, CountThenLittleEndianUnits) {
  EXPECT_EQ(written(String(L"Ab")), (Bytes{2, 0, 0, 0, 0x41, 0, 0x62, 0}));
  EXPECT_EQ(written(String()), (Bytes{0, 0, 0, 0}));
  const String empty = readBack<String>(Bytes{0, 0, 0, 0});
  EXPECT_EQ(empty.getLength(), 0);
  EXPECT_EQ(std::wstring(readBack<String>(Bytes{2, 0, 0, 0, 0x41, 0, 0x62, 0}).getBuffer()), L"Ab");
}

TEST(StringStreamTest, CodePointsAboveTheBasicPlaneTravelAsPairs) {
  const String text(L"a\U0001F600b");
  const Bytes bytes = written(text);
  EXPECT_EQ(bytes, (Bytes{4, 0, 0, 0, 'a', 0, 0x3D, 0xD8, 0x00, 0xDE, 'b', 0}));
  const String back = readBack<String>(bytes);
  EXPECT_EQ(back.getLength(), 3);
  EXPECT_EQ(back[1], 0x1F600);
  // A lone surrogate passes through unchanged, both ways.
  const String lone = readBack<String>(Bytes{2, 0, 0, 0, 0x00, 0xD8, 'x', 0});
  EXPECT_EQ(lone[0], 0xD800);
  EXPECT_EQ(written(lone), (Bytes{2, 0, 0, 0, 0x00, 0xD8, 'x', 0}));
}

TEST(StringStreamTest, ZeroUnitInsideIsKept) {
  const Bytes bytes{3, 0, 0, 0, 'a', 0, 0, 0, 'b', 0};
  const String text = readBack<String>(bytes);
  EXPECT_EQ(text.getLength(), 1) << "the length stops at the first zero";
  EXPECT_EQ(text.getBufferLength(), 4 * static_cast<int>(sizeof(wchar_t)));
  EXPECT_EQ(written(text), bytes);
}

TEST(StringStreamTest, BadCountsRaiseAndLeaveTheTargetAlone) {
  for (const Bytes& bytes : {Bytes{0xFF, 0xFF, 0xFF, 0xFF}, Bytes{0x00, 0x00, 0x00, 0x40, 'a', 0},
                             Bytes{3, 0, 0, 0, 'a', 0, 'b', 0}}) {
    THandle<QueueDevice> device = QueueDevice::create(bytes);
    InputStream in(device.get());
    String target(L"old");
    expectRaise([&] { in >> target; }, kReadMessage, kStringHeader);
    EXPECT_EQ(std::wstring(target.getBuffer()), L"old");
    EXPECT_EQ(device->readCalls, 1) << "the text was read before its count was checked";
  }
}

TEST(StringStreamTest, ShortReadBehindAWrongAvailableRaises) {
  THandle<QueueDevice> device = QueueDevice::create({2, 0, 0, 0, 'a', 0});
  device->fakeAvailable = 100;
  InputStream in(device.get());
  String target(L"old");
  expectRaise([&] { in >> target; }, kReadMessage, kStringHeader);
  EXPECT_EQ(std::wstring(target.getBuffer()), L"old");
}

TEST(StringStreamTest, ShortWritesRaise) {
  THandle<QueueDevice> device = QueueDevice::create();
  OutputStream out(device.get());
  device->writeLimit = 6;
  expectRaise([&] { out << String(L"Ab"); }, kWriteMessage, kStringHeader);
  device->writeLimit = 2;
  expectRaise([&] { out << String(L"Ab"); }, L"int32_t", L"core/include/orvo/core/Stream");
}

TEST(StringStreamTest, AnyFormReadsIntoAnyForm) {
  const String text(L"caf\u00e9 \u4e2d");
  const Bytes wide = written(text);
  EXPECT_EQ(written(StringHelper::wideToUtf8(text.getBuffer())), wide);
  EXPECT_EQ(std::wstring(readBack<String>(written(StringHelper::wideToUtf8(text.getBuffer()))).getBuffer()),
            std::wstring(text.getBuffer()));
  const StringUtf8 utf8 = readBack<StringUtf8>(wide);
  EXPECT_EQ(std::wstring(StringHelper::utf8ToWide(utf8.getBuffer()).getBuffer()), std::wstring(text.getBuffer()));

  const int previous = getCodePage();
  setCodePage(1252);
  const StringAnsi ansi = readBack<StringAnsi>(written(String(L"caf\u00e9")));
  EXPECT_STREQ(ansi.getBuffer(), "caf\xe9");
  EXPECT_EQ(written(ansi), written(String(L"caf\u00e9")));
  setCodePage(previous);
}

TEST(StringStreamTest, LongTextRoundTrips) {
  std::wstring long_text;
  for (int i = 0; i < 20000; ++i) long_text += static_cast<wchar_t>(i % 3 == 0 ? 0x10000 + i : 0x20 + i % 5000);
  const String text(long_text.c_str());
  EXPECT_EQ(std::wstring(readBack<String>(written(text)).getBuffer()), long_text);
}

}  // namespace
}  // namespace orvo
