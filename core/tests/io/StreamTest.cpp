// Devices, value streams, SecureIO, member tables and the binary form of
// every value type.
#include <gtest/gtest.h>

#include <climits>
#include <random>
#include <thread>

#include <orvo/core/Buffer.h>
#include <orvo/core/CodePage.h>
#include <orvo/core/Mtbl.h>
#include <orvo/core/SecureIO.h>
#include <orvo/core/StringHelper.h>
#include <orvo/core/Uuid.h>
#include <orvo/core/Varint.h>

#include "io/TestDevices.h"

namespace orvo::test {
namespace {

constexpr const wchar_t* kStreamHeader = L"core/include/orvo/core/Stream";
constexpr const wchar_t* kStreamSource = L"src/io/Stream";
constexpr const wchar_t* kBufferHeader = L"core/include/orvo/core/Buffer";
constexpr const wchar_t* kStringHeader = L"core/include/orvo/core/String";
constexpr const wchar_t* kBufferRead = L"TyIs& operator >>(TyIs &,Buffer &)";
constexpr const wchar_t* kStringRead = L"TyIs& operator >>(TyIs&,StringWide&)";
constexpr const wchar_t* kCopy = L"OutputStream& operator <<(OutputStream &,InputStream &)";
constexpr int kNoLimit = 1 << 30;

Bytes pattern(std::size_t size) {
  Bytes bytes(size);
  for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<std::uint8_t>(i * 7 + i / 251);
  return bytes;
}

Buffer bufferOf(const Bytes& bytes) {
  Buffer buffer(static_cast<int>(bytes.size()));
  std::copy(bytes.begin(), bytes.end(), static_cast<std::uint8_t*>(buffer.getBuffer()));
  return buffer;
}

// A wire form with a count in front and `behind` bytes after it.
Bytes counted(std::uint32_t count, std::size_t behind) {
  Bytes bytes = pattern(behind);
  bytes.insert(bytes.begin(), {std::uint8_t(count), std::uint8_t(count >> 8), std::uint8_t(count >> 16), std::uint8_t(count >> 24)});
  return bytes;
}

template <class T>
void expectWire(const T& value, const Bytes& bytes) {
  EXPECT_EQ(written(value), bytes);
  EXPECT_EQ(readBack<T>(bytes), value);
}

TEST(DeviceTest, HandlesShareOneCountAndStreamsShareTheirDevices) {
  THandle<QueueDevice> device = QueueDevice::create({9, 0, 0, 0});
  THandle<Input> asInput(device.get());
  THandle<Output> asOutput(device.get());
  EXPECT_EQ(device->getReferenceCount(), 3u);
  EXPECT_STREQ(asInput->getClassName(), L"IO");

  InputStream in;
  EXPECT_TRUE(!in);
  EXPECT_TRUE(in.attach(device.get()));
  EXPECT_FALSE(!in);
  THandle<Input> handedOut = in.detach();
  EXPECT_TRUE(!in);
  EXPECT_EQ(handedOut.get(), asInput.get());
  EXPECT_TRUE(in.attach(nullptr) && !in);

  THandle<QueueDevice> sink = QueueDevice::create();
  Stream split(device.get(), sink.get());
  Stream copy = split;
  std::int32_t value = 0;
  copy >> value;
  copy << value;
  EXPECT_EQ(sink->bytes, (Bytes{9, 0, 0, 0}));
  Stream both(sink.get());
  both >> value;
  EXPECT_EQ(value, 9);
}

TEST(WireTest, EachValueHasItsPublishedFormBothWays) {
  expectWire(std::int32_t(-2), {0xFE, 0xFF, 0xFF, 0xFF});
  expectWire(std::int32_t(0x01020304), {4, 3, 2, 1});
  expectWire(std::uint8_t(0xA5), {0xA5});
  const std::pair<std::int32_t, Bytes> varints[] = {
      {0, {0x00}}, {-1, {0x01}}, {1, {0x02}}, {-2, {0x03}}, {63, {0x7E}}, {-64, {0x7F}}, {64, {0x80, 0x01}},
      {300, {0xD8, 0x04}}, {INT32_MAX, {0xFE, 0xFF, 0xFF, 0xFF, 0x0F}}, {INT32_MIN, {0xFF, 0xFF, 0xFF, 0xFF, 0x0F}}};
  for (const auto& [value, bytes] : varints) expectWire(Varint(value), bytes);
  expectWire(std::int64_t(2147483648LL), {0x80, 0x80, 0x80, 0x80, 0x10});
  expectWire(INT64_MAX, {0xFE, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x01});
  expectWire(INT64_MIN, {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x01});
  expectWire(bufferOf({'a', 'b', 'c'}), {3, 0, 0, 0, 'a', 'b', 'c'});
  expectWire(Buffer(), {0, 0, 0, 0});
  expectWire(String(L"Ab"), {2, 0, 0, 0, 'A', 0, 'b', 0});
  expectWire(String(), {0, 0, 0, 0});
  expectWire(String(L"a\U0001F600b"), {4, 0, 0, 0, 'a', 0, 0x3D, 0xD8, 0x00, 0xDE, 'b', 0});
  expectWire(String(L"\uFFFF"), {1, 0, 0, 0, 0xFF, 0xFF});
  const wchar_t lone[] = {0xD800, 'x', 0}, beyond[] = {0x110000, 0};
  expectWire(String(lone), {2, 0, 0, 0, 0x00, 0xD8, 'x', 0});
  EXPECT_EQ(written(String(beyond)), (Bytes{1, 0, 0, 0, 0xFD, 0xFF})) << "beyond Unicode travels as U+FFFD";
  expectWire(uuid_convertFromString(String(L"10b8a76b-ad9d-d111-80b4-00c04fd430c8")),
             {0x10, 0xb8, 0xa7, 0x6b, 0xad, 0x9d, 0xd1, 0x11, 0x80, 0xb4, 0x00, 0xc0, 0x4f, 0xd4, 0x30, 0xc8});
  // Only the low four bits of a fifth Varint byte reach the value.
  EXPECT_EQ(readBack<Varint>({0xFE, 0xFF, 0xFF, 0xFF, 0x7F}), INT32_MAX);
  const Bytes zeroInside{3, 0, 0, 0, 'a', 0, 0, 0, 'b', 0};
  const String withZero = readBack<String>(zeroInside);
  EXPECT_EQ(written(withZero), zeroInside);
  EXPECT_EQ(withZero.getLength(), 1);
  EXPECT_EQ(withZero.getBufferLength(), 4 * static_cast<int>(sizeof(wchar_t)));
}

TEST(WireTest, IntegersOfEveryLengthRoundTripWhateverTheDeviceShowsAtOnce) {
  std::mt19937_64 random(7);
  std::vector<std::int64_t> values = {INT32_MIN, INT32_MAX, -65, 8192, INT64_MIN, INT64_MAX};
  for (int shift = 0; shift < 64; ++shift) values.insert(values.end(), {1LL << shift, 1 - (1LL << shift)});
  for (int i = 0; i < 3000; ++i) values.push_back(static_cast<std::int64_t>(random() >> (i % 64)));
  for (int chunk : {kNoLimit, 3}) {
    THandle<QueueDevice> device = QueueDevice::create();
    Stream stream(device.get());
    for (std::int64_t value : values) stream << Varint(static_cast<std::int32_t>(value)) << value;
    EXPECT_EQ(device->writeCalls, static_cast<int>(2 * values.size())) << "one write call a value";
    device->maxChunk = chunk;
    for (std::int64_t value : values) {
      Varint small;
      std::int64_t big;
      stream >> small >> big;
      ASSERT_EQ(small, static_cast<std::int32_t>(value));
      ASSERT_EQ(big, value);
    }
    EXPECT_EQ(device->available(), 0);
  }
}

TEST(WireTest, LargeValuesRoundTripAndBufferReadingReplacesTheContent) {
  const Bytes big = pattern(300000);
  EXPECT_EQ(readBack<Buffer>(written(bufferOf(big))), bufferOf(big));
  std::wstring text;
  for (int i = 0; i < 40000; ++i) text += static_cast<wchar_t>(i % 3 == 0 ? 0x10000 + i : 0x20 + i % 5000);
  EXPECT_EQ(std::wstring(readBack<String>(written(String(text.c_str()))).getBuffer()), text);

  Bytes wire = written(bufferOf(big));
  wire.insert(wire.end(), {3, 0, 0, 0, 'x', 'y', 'z', 0, 0, 0, 0});
  THandle<QueueDevice> device = QueueDevice::create(wire);
  InputStream in(device.get());
  Buffer target(300000);  // Of the same size: read into as it is.
  in >> target;
  EXPECT_EQ(target, bufferOf(big));
  in >> target;
  EXPECT_EQ(target, bufferOf({'x', 'y', 'z'}));
  in >> target;
  EXPECT_EQ(target.getBufferSize(), 0);
}

std::function<void(Stream&)> copyFrom(Bytes bytes) {
  return [bytes](Stream& s) {
    THandle<QueueDevice> source = QueueDevice::create(bytes);
    InputStream in(source.get());
    s << in;
  };
}

template <class T>
std::function<void(Stream&)> reads() {
  return [](Stream& s) {
    T value{};
    s >> value;
  };
}

template <class T>
std::function<void(Stream&)> writes(T value) {
  return [value](Stream& s) { s << value; };
}

struct FailureCase {
  Bytes bytes;
  int writeLimit;
  int fakeAvailable;
  std::function<void(Stream&)> step;
  const wchar_t* message;
  const wchar_t* file;
};

TEST(WireTest, ShortCountsAndBadFormsRaiseTheDesignedMessages) {
  const FailureCase cases[] = {
      {{1, 2, 3}, kNoLimit, -2, reads<std::int32_t>(), L"int32_t", kStreamHeader},
      {{}, kNoLimit, -2, reads<std::uint8_t>(), L"uint8_t", kStreamHeader},
      {{}, 3, -2, writes(std::int32_t(1)), L"int32_t", kStreamHeader},
      {{}, 0, -2, writes(std::uint8_t(1)), L"uint8_t", kStreamHeader},
      {{0x80, 0x80, 0x80, 0x80, 0x80, 0}, kNoLimit, -2, reads<Varint>(), L"Tyis& operator >>(Tyis &is,Varint &v)",
       L"core/include/orvo/core/Varint"},
      {{0x80, 0x80}, kNoLimit, -2, reads<Varint>(), L"uint8_t", kStreamHeader},
      {{}, 1, -2, writes(Varint(300)), L"Tyos& operator <<(Tyos &os,Varint const &v)", L"core/include/orvo/core/Varint"},
      {Bytes(11, 0xFF), kNoLimit, -2, reads<std::int64_t>(), L"InputStream& operator >>(InputStream &is,int64_t &v)",
       kStreamSource},
      {{}, 2, -2, writes(INT64_MAX), L"OutputStream& operator <<(OutputStream &os,int64_t const &v)", kStreamSource},
      {{0xFF, 0xFF, 0xFF, 0xFF}, kNoLimit, -2, reads<Buffer>(), kBufferRead, kBufferHeader},
      {counted(4, 2), kNoLimit, -2, reads<Buffer>(), kBufferRead, kBufferHeader},
      {{}, 5, -2, writes(Buffer(2)), L"TyOs& operator <<(TyOs &,Buffer const &)", kBufferHeader},
      {{}, 3, -2, writes(Buffer(2)), L"int32_t", kStreamHeader},
      {{}, 6, -2, writes(String(L"Ab")), L"TyOs& operator <<(TyOs&,StringWide&)", kStringHeader},
      {{}, 2, -2, writes(String(L"Ab")), L"int32_t", kStreamHeader},
      {{1, 2, 3}, kNoLimit, -2, reads<Uuid>(), L"Uuid::operator >>", L"core/include/orvo/core/Uuid"},
      {{}, 10, -2, writes(Uuid()), L"Uuid::operator <<", L"core/include/orvo/core/Uuid"},
      {{}, kNoLimit, 100, [](Stream& s) { s << static_cast<InputStream&>(s); }, kCopy, kStreamSource},
      {{1}, kNoLimit, -1, [](Stream& s) { s << static_cast<InputStream&>(s); }, kCopy, kStreamSource},
      {{}, 9000, -2, copyFrom(Bytes(10000, 3)), kCopy, kStreamSource},
  };
  for (const FailureCase& c : cases) {
    THandle<QueueDevice> device = QueueDevice::create(c.bytes);
    device->writeLimit = c.writeLimit;
    device->fakeAvailable = c.fakeAvailable;
    Stream stream(device.get());
    expectRaise([&] { c.step(stream); }, c.message, c.file);
  }
}

// Counts in front of values come from the sender: a bad one raises before the
// text is read and leaves the target as it was, and one that the device does
// not back costs no more than the bytes behind it.
TEST(WireTest, BadStringCountsLeaveTheTargetAndHugeCountsCostOnlyWhatArrives) {
  const std::pair<Bytes, int> strings[] = {{counted(0xFFFFFFFF, 2), -2},   {counted(0x40000000, 2), -2},
                                           {counted(3, 4), -2},            {counted(2, 2), 100},
                                           {counted(0x3FFFFFFF, 100000), INT_MAX}};
  for (const auto& [bytes, claimed] : strings) {
    THandle<QueueDevice> device = QueueDevice::create(bytes);
    device->fakeAvailable = claimed;
    InputStream in(device.get());
    String target(L"old");
    expectRaise([&] { in >> target; }, kStringRead, kStringHeader);
    EXPECT_EQ(target, String(L"old"));
    EXPECT_LE(device->largestRead, claimed == -2 ? 4 : 1 << 16);
  }
  THandle<QueueDevice> device = QueueDevice::create(counted(0x7FFFFFFF, 100000));
  InputStream in(device.get());
  Buffer target(10);
  expectRaise([&] { in >> target; }, kBufferRead, kBufferHeader);
  EXPECT_LE(device->largestRead, 1 << 16);
  EXPECT_EQ(target.getBufferSize(), 0);
}

TEST(WireTest, AnyOfTheThreeStringFormsReadsIntoAny) {
  const String text(L"caf\u00e9 \u4e2d\U0001F600");
  const StringUtf8 utf8 = StringHelper::wideToUtf8(text.getBuffer());
  EXPECT_EQ(written(utf8), written(text));
  EXPECT_EQ(readBack<StringUtf8>(written(text)), utf8);
  const int previous = getCodePage();
  setCodePage(1252);
  EXPECT_STREQ(readBack<StringAnsi>(written(String(L"caf\u00e9"))).getBuffer(), "caf\xe9");
  EXPECT_EQ(written(StringAnsi("caf\xe9")), written(String(L"caf\u00e9")));
  setCodePage(previous);
}

TEST(StreamCopyTest, CopiesWhatIsAvailableInChunksAndKeepsItOnFailure) {
  THandle<QueueDevice> source = QueueDevice::create(pattern(20000));
  source->maxChunk = 5000;  // Short reads are normal.
  THandle<QueueDevice> sink = QueueDevice::create();
  InputStream in(source.get());
  OutputStream out(sink.get());
  out << in;
  EXPECT_EQ(sink->bytes, pattern(20000));
  const int calls = sink->writeCalls;
  out << in;
  EXPECT_EQ(sink->writeCalls, calls) << "nothing available writes nothing";
  Stream partial(sink.get());
  sink->writeLimit = 9000;
  EXPECT_THROW(copyFrom(Bytes(10000, 3))(partial), Exception);
  EXPECT_EQ(sink->bytes.size(), 29000u);
}

// Each call into the device checks from another thread that the SecureIO's
// lock is taken.
TEST(SecureIOTest, EveryCallHoldsTheLockAndGivesItBackOnThrow) {
  THandle<QueueDevice> device = QueueDevice::create({1, 2, 3});
  THandle<SecureIO> secure = SecureIO::createInstance(device.get());
  EXPECT_EQ(device->getReferenceCount(), 2u);
  const auto takenElsewhere = [&] {
    bool taken = false;
    std::thread([&] {
      if ((taken = secure->getMutex().tryLock())) secure->getMutex().unlock();
    }).join();
    return taken;
  };
  int calls = 0;
  device->onCall = [&] { calls += 1 + 100 * takenElsewhere(); };
  std::uint8_t bytes[2];
  EXPECT_EQ(secure->available(), 3);
  EXPECT_EQ(secure->peek(bytes, 2), 2);
  EXPECT_EQ(secure->read(bytes, 1), 1);
  EXPECT_EQ(secure->write(bytes, 2), 2);
  EXPECT_EQ(calls, 4) << "each hundred is a call without the lock";
  device->throwOnRead = true;
  EXPECT_THROW(secure->read(bytes, 1), std::runtime_error);
  EXPECT_TRUE(takenElsewhere()) << "the lock stayed taken after the throw";
}

TEST(SecureIOTest, ThreadsAlternatingWritesAndReadsSeeWholeValues) {
  THandle<SecureIO> secure = SecureIO::createInstance(QueueDevice::create().get());
  constexpr int kValues = 5000;
  std::thread writer([&] {
    OutputStream out(secure.get());
    for (std::int32_t i = 0; i < kValues; ++i) out << i;
  });
  InputStream in(secure.get());
  for (std::int32_t expected = 0, value; expected < kValues;) {
    if (in.available() < 4) {
      std::this_thread::yield();
      continue;
    }
    in >> value;
    ASSERT_EQ(value, expected++);
  }
  writer.join();
}

struct Sample {
  std::int32_t id;
  std::uint8_t flag;
  std::int64_t stamp;
  Varint delta;
};

const MtblRecord sampleTable[] = {
    {offsetof(Sample, id), mtblReader<InputStream, std::int32_t>, mtblWriter<OutputStream, std::int32_t>},
    {offsetof(Sample, delta), mtblReader<InputStream, Varint>, mtblWriter<OutputStream, Varint>},
    {offsetof(Sample, stamp), mtblReader<InputStream, std::int64_t>, mtblWriter<OutputStream, std::int64_t>},
    {offsetof(Sample, flag), mtblReader<InputStream, std::uint8_t>, mtblWriter<OutputStream, std::uint8_t>},
    {kMtblEnd, nullptr, nullptr},
};

TEST(MtblTest, FieldsTravelInTableOrderAndTheEndMarkAloneWritesNothing) {
  THandle<QueueDevice> device = QueueDevice::create();
  Stream stream(device.get());
  OutputStream& out = stream;
  const Sample original{0x0A0B0C0D, 0xEE, -3, Varint(64)};
  EXPECT_EQ(&writeMtbl(asVoid(out), asVoid(original), asVoid(sampleTable)), &asVoid(out));
  EXPECT_EQ(device->bytes, (Bytes{0x0D, 0x0C, 0x0B, 0x0A, 0x80, 0x01, 0x05, 0xEE}));
  InputStream& in = stream;
  Sample back{};
  readMtbl(asVoid(in), asVoid(back), asVoid(sampleTable));
  EXPECT_TRUE(back.id == original.id && back.flag == original.flag && back.stamp == -3 && back.delta == 64);
  const MtblRecord endOnly[] = {{kMtblEnd, nullptr, nullptr}};
  EXPECT_EQ(&writeMtbl(asVoid(out), asVoid(original), asVoid(endOnly)), &asVoid(out));
  EXPECT_EQ(device->writeCalls, 4);
}

}  // namespace
}  // namespace orvo::test
