// Devices, value streams and the binary forms of integers and buffers.
#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <random>
#include <stdexcept>
#include <thread>

#include <orvo/core/Buffer.h>
#include <orvo/core/Mtbl.h>
#include <orvo/core/SecureIO.h>
#include <orvo/core/Stream.h>
#include <orvo/core/Varint.h>

#include "io/TestDevices.h"

namespace orvo {
namespace {

using test::QueueDevice;
using Bytes = std::vector<std::uint8_t>;

// Runs `step` and checks that it raises the designed exception.
template <class Step>
void expectRaise(Step step, const wchar_t* message, const wchar_t* file) {
  try {
    step();
    ADD_FAILURE() << "no exception for " << testing::PrintToString(std::wstring(message));
  } catch (const Exception& e) {
    EXPECT_EQ(e.message, message);
    EXPECT_EQ(e.code, -1);
    EXPECT_EQ(e.file, file);
    EXPECT_GT(e.line, 0);
    EXPECT_FALSE(e.function.empty());
  }
}

constexpr const wchar_t* kStreamHeader = L"core/include/orvo/core/Stream";
constexpr const wchar_t* kVarintHeader = L"core/include/orvo/core/Varint";
constexpr const wchar_t* kBufferHeader = L"core/include/orvo/core/Buffer";
constexpr const wchar_t* kStreamSource = L"src/io/Stream";

Bytes written(const std::function<void(OutputStream&)>& write) {
  THandle<QueueDevice> device = QueueDevice::create();
  OutputStream out(device.get());
  write(out);
  return device->bytes;
}

// ---- devices and streams ---------------------------------------------------------

TEST(DeviceTest, InputAndOutputHandlesShareOneCount) {
  THandle<QueueDevice> device = QueueDevice::create();
  THandle<Input> asInput(device.get());
  THandle<Output> asOutput(device.get());
  EXPECT_EQ(device->getReferenceCount(), 3u);
  EXPECT_STREQ(asInput->getClassName(), L"IO");
}

TEST(DeviceTest, AttachDetachAndNot) {
  THandle<QueueDevice> device = QueueDevice::create({1, 2});
  InputStream in;
  EXPECT_TRUE(!in);
  EXPECT_TRUE(in.attach(device.get()));
  EXPECT_FALSE(!in);
  EXPECT_EQ(in.available(), 2);
  EXPECT_TRUE(in.attach(nullptr));
  EXPECT_TRUE(!in);

  Input* raw = device.get();
  InputStream again(raw);
  device = nullptr;  // The stream holds the device now.
  THandle<Input> handedOut = again.detach();
  EXPECT_TRUE(!again);
  ASSERT_TRUE(handedOut != nullptr);
  EXPECT_EQ(handedOut->getReferenceCount(), 1u);
  EXPECT_EQ(handedOut->available(), 2);
}

TEST(DeviceTest, StreamFromOneIoAndFromTwoDevices) {
  THandle<QueueDevice> io = QueueDevice::create();
  Stream both(io.get());
  both << std::int32_t(5);
  std::int32_t back = 0;
  both >> back;
  EXPECT_EQ(back, 5);

  THandle<QueueDevice> source = QueueDevice::create({9, 0, 0, 0});
  THandle<QueueDevice> sink = QueueDevice::create();
  Stream split(source.get(), sink.get());
  Stream copy = split;  // Shares both devices.
  copy >> back;
  copy << back;
  EXPECT_EQ(sink->bytes, (Bytes{9, 0, 0, 0}));
  EXPECT_EQ(source->available(), 0);
}

// ---- fixed forms -------------------------------------------------------------------

TEST(FixedFormTest, Int32IsFourLittleEndianBytes) {
  EXPECT_EQ(written([](OutputStream& o) { o << std::int32_t(-2) << std::int32_t(0x01020304); }),
            (Bytes{0xFE, 0xFF, 0xFF, 0xFF, 4, 3, 2, 1}));
}

TEST(FixedFormTest, ShortCountsRaiseWithTheTypeName) {
  THandle<QueueDevice> device = QueueDevice::create({1, 2, 3});
  InputStream in(device.get());
  std::int32_t value = 77;
  expectRaise([&] { in >> value; }, L"int32_t", kStreamHeader);
  EXPECT_EQ(device->available(), 0) << "the device keeps what the short read did";

  std::uint8_t byte;
  expectRaise([&] { in >> byte; }, L"uint8_t", kStreamHeader);

  THandle<QueueDevice> full = QueueDevice::create();
  full->writeLimit = 3;
  OutputStream out(full.get());
  expectRaise([&] { out << std::int32_t(1); }, L"int32_t", kStreamHeader);
}

// ---- Varint ---------------------------------------------------------------------------

struct VarintCase {
  std::int32_t value;
  Bytes bytes;
};

TEST(VarintTest, PublishedExamples) {
  const VarintCase cases[] = {
      {0, {0x00}},
      {-1, {0x01}},
      {1, {0x02}},
      {-2, {0x03}},
      {63, {0x7E}},
      {-64, {0x7F}},
      {64, {0x80, 0x01}},
      {300, {0xD8, 0x04}},
      {INT32_MAX, {0xFE, 0xFF, 0xFF, 0xFF, 0x0F}},
      {INT32_MIN, {0xFF, 0xFF, 0xFF, 0xFF, 0x0F}},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(written([&](OutputStream& o) { o << Varint(c.value); }), c.bytes) << c.value;
    THandle<QueueDevice> device = QueueDevice::create(c.bytes);
    InputStream in(device.get());
    Varint v;
    in >> v;
    EXPECT_EQ(static_cast<std::int32_t>(v), c.value);
    EXPECT_EQ(device->available(), 0);
  }
}

TEST(VarintTest, EveryValueRoundTripsAtTheLengthItNeeds) {
  std::mt19937 random(7);
  std::vector<std::int32_t> values = {INT32_MIN, INT32_MIN + 1, -8193, -8192, -65, 8191, 8192, INT32_MAX - 1};
  for (int shift = 0; shift < 32; ++shift) {
    values.push_back(static_cast<std::int32_t>(1u << shift));
    values.push_back(static_cast<std::int32_t>(1u - (1u << shift)));
  }
  for (int i = 0; i < 10000; ++i) values.push_back(static_cast<std::int32_t>(random()));

  THandle<QueueDevice> device = QueueDevice::create();
  Stream stream(device.get());
  for (std::int32_t value : values) stream << Varint(value);
  for (std::int32_t value : values) {
    Varint v;
    stream >> v;
    ASSERT_EQ(static_cast<std::int32_t>(v), value);
  }
  EXPECT_EQ(device->available(), 0);
}

TEST(VarintTest, FiveBytesWithoutEndAndTruncation) {
  THandle<QueueDevice> endless = QueueDevice::create({0x80, 0x80, 0x80, 0x80, 0x80, 0x00});
  InputStream in(endless.get());
  Varint v(5);
  expectRaise([&] { in >> v; }, L"Tyis& operator >>(Tyis &is,Varint &v)", kVarintHeader);
  EXPECT_EQ(static_cast<std::int32_t>(v), 5);

  THandle<QueueDevice> cut = QueueDevice::create({0x80, 0x80});
  InputStream truncated(cut.get());
  expectRaise([&] { truncated >> v; }, L"uint8_t", kStreamHeader);

  // In a fifth byte only the low four bits reach the value.
  THandle<QueueDevice> wide = QueueDevice::create({0xFE, 0xFF, 0xFF, 0xFF, 0x7F});
  InputStream top(wide.get());
  top >> v;
  EXPECT_EQ(static_cast<std::int32_t>(v), INT32_MAX);
}

TEST(VarintTest, WritingIsOneCallAndRaisesOnShortCount) {
  THandle<QueueDevice> device = QueueDevice::create();
  OutputStream out(device.get());
  out << Varint(INT32_MAX);
  EXPECT_EQ(device->writeCalls, 1);
  device->writeLimit = 1;
  expectRaise([&] { out << Varint(300); }, L"Tyos& operator <<(Tyos &os,Varint const &v)", kVarintHeader);
}

// ---- 64-bit integers ---------------------------------------------------------------

TEST(Int64Test, VariableFormExamplesAndLimits) {
  EXPECT_EQ(written([](OutputStream& o) { o << std::int64_t(2147483648LL); }), (Bytes{0x80, 0x80, 0x80, 0x80, 0x10}));
  for (std::int64_t extreme : {INT64_MAX, INT64_MIN}) {
    Bytes bytes = written([&](OutputStream& o) { o << extreme; });
    ASSERT_EQ(bytes.size(), 10u);
    EXPECT_EQ(bytes.back(), 0x01);
  }
  std::mt19937_64 random(11);
  THandle<QueueDevice> device = QueueDevice::create();
  Stream stream(device.get());
  std::vector<std::int64_t> values = {0, -1, 1, INT64_MAX, INT64_MIN};
  for (int i = 0; i < 2000; ++i) values.push_back(static_cast<std::int64_t>(random() >> (i % 64)));
  for (std::int64_t value : values) stream << value;
  for (std::int64_t value : values) {
    std::int64_t back;
    stream >> back;
    ASSERT_EQ(back, value);
  }
}

TEST(Int64Test, TenBytesWithoutEndAndShortWrite) {
  THandle<QueueDevice> endless = QueueDevice::create(Bytes(11, 0xFF));
  InputStream in(endless.get());
  std::int64_t value;
  expectRaise([&] { in >> value; }, L"InputStream& operator >>(InputStream &is,int64_t &v)", kStreamSource);
  THandle<QueueDevice> full = QueueDevice::create();
  full->writeLimit = 2;
  OutputStream out(full.get());
  expectRaise([&] { out << std::int64_t(1) << INT64_MAX; }, L"OutputStream& operator <<(OutputStream &os,int64_t const &v)",
              kStreamSource);
}

// ---- Buffer ----------------------------------------------------------------------

TEST(BufferFormTest, SizeThenBytes) {
  Buffer buffer(3);
  std::memcpy(buffer.getBuffer(), "abc", 3);
  EXPECT_EQ(written([&](OutputStream& o) { o << buffer; }), (Bytes{3, 0, 0, 0, 'a', 'b', 'c'}));
  EXPECT_EQ(written([](OutputStream& o) { o << Buffer(); }), (Bytes{0, 0, 0, 0}));

  THandle<QueueDevice> device = QueueDevice::create({3, 0, 0, 0, 'x', 'y', 'z', 0, 0, 0, 0});
  InputStream in(device.get());
  Buffer back(10);
  in >> back;
  EXPECT_EQ(back.getBufferSize(), 3);
  EXPECT_EQ(std::memcmp(back.getBuffer(), "xyz", 3), 0);
  in >> back;
  EXPECT_EQ(back.getBufferSize(), 0);
}

TEST(BufferFormTest, NegativeSizeAndShortBytesRaise) {
  THandle<QueueDevice> negative = QueueDevice::create({0xFF, 0xFF, 0xFF, 0xFF});
  InputStream in(negative.get());
  Buffer buffer;
  expectRaise([&] { in >> buffer; }, L"TyIs& operator >>(TyIs &,Buffer &)", kBufferHeader);

  THandle<QueueDevice> shortBytes = QueueDevice::create({4, 0, 0, 0, 1, 2});
  InputStream cut(shortBytes.get());
  expectRaise([&] { cut >> buffer; }, L"TyIs& operator >>(TyIs &,Buffer &)", kBufferHeader);
  EXPECT_EQ(buffer.getBufferSize(), 4) << "the buffer keeps its new block";

  THandle<QueueDevice> full = QueueDevice::create();
  full->writeLimit = 5;
  OutputStream out(full.get());
  expectRaise([&] { out << Buffer(2); }, L"TyOs& operator <<(TyOs &,Buffer const &)", kBufferHeader);
  full->writeLimit = 3;
  expectRaise([&] { out << Buffer(2); }, L"int32_t", kStreamHeader);
}

// ---- stream copy --------------------------------------------------------------------

constexpr const wchar_t* kCopyMessage = L"OutputStream& operator <<(OutputStream &,InputStream &)";

TEST(StreamCopyTest, CopiesAllAvailableBytesInChunks) {
  Bytes data(20000);
  for (std::size_t i = 0; i < data.size(); ++i) data[i] = static_cast<std::uint8_t>(i * 7);
  THandle<QueueDevice> source = QueueDevice::create(data);
  source->maxChunk = 5000;  // Short reads are normal.
  THandle<QueueDevice> sink = QueueDevice::create();
  InputStream in(source.get());
  OutputStream out(sink.get());
  out << in;
  EXPECT_EQ(sink->bytes, data);
  EXPECT_EQ(source->available(), 0);
}

TEST(StreamCopyTest, NothingAvailableWritesNothing) {
  THandle<QueueDevice> source = QueueDevice::create();
  THandle<QueueDevice> sink = QueueDevice::create();
  InputStream in(source.get());
  OutputStream out(sink.get());
  out << in;
  EXPECT_EQ(sink->writeCalls, 0);
}

TEST(StreamCopyTest, FailuresRaiseAndKeepWhatWasCopied) {
  THandle<QueueDevice> sink = QueueDevice::create();
  OutputStream out(sink.get());

  THandle<QueueDevice> liar = QueueDevice::create();
  liar->fakeAvailable = 100;  // Claims bytes but yields none.
  InputStream fromLiar(liar.get());
  expectRaise([&] { out << fromLiar; }, kCopyMessage, kStreamSource);

  THandle<QueueDevice> unknown = QueueDevice::create({1});
  unknown->fakeAvailable = -1;
  InputStream fromUnknown(unknown.get());
  expectRaise([&] { out << fromUnknown; }, kCopyMessage, kStreamSource);

  THandle<QueueDevice> source = QueueDevice::create(Bytes(10000, 3));
  sink->writeLimit = 9000;
  InputStream in(source.get());
  expectRaise([&] { out << in; }, kCopyMessage, kStreamSource);
  EXPECT_EQ(sink->bytes.size(), 9000u);
}

// ---- SecureIO ---------------------------------------------------------------------

TEST(SecureIOTest, PassesResultsThroughAndReleasesTheLockOnThrow) {
  THandle<QueueDevice> device = QueueDevice::create({1, 2, 3});
  THandle<SecureIO> secure = SecureIO::createInstance(device.get());
  EXPECT_EQ(device->getReferenceCount(), 2u);
  EXPECT_EQ(secure->available(), 3);
  std::uint8_t peeked[2];
  EXPECT_EQ(secure->peek(peeked, 2), 2);
  device->throwOnRead = true;
  std::uint8_t byte;
  EXPECT_THROW(secure->read(&byte, 1), std::runtime_error);
  device->throwOnRead = false;
  int fromOtherThread = 0;
  std::thread other([&] { fromOtherThread = secure->read(&byte, 1); });
  other.join();
  EXPECT_EQ(fromOtherThread, 1) << "the lock stayed taken after the throw";
}

TEST(SecureIOTest, ThreadsAlternatingWritesAndReadsSeeWholeValues) {
  THandle<QueueDevice> device = QueueDevice::create();
  THandle<SecureIO> secure = SecureIO::createInstance(device.get());
  constexpr int kValues = 5000;
  std::thread writer([&] {
    OutputStream out(secure.get());
    for (std::int32_t i = 0; i < kValues; ++i) out << i;
  });
  InputStream in(secure.get());
  std::int32_t expected = 0;
  while (expected < kValues) {
    if (in.available() < 4) {
      std::this_thread::yield();
      continue;
    }
    std::int32_t value;
    in >> value;
    ASSERT_EQ(value, expected++);
  }
  writer.join();
}

// ---- member tables -------------------------------------------------------------------

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

TEST(MtblTest, MovesADescribedStructureBothWays) {
  THandle<QueueDevice> device = QueueDevice::create();
  OutputStream out(device.get());
  const Sample original{0x0A0B0C0D, 0xEE, -3, Varint(64)};
  EXPECT_EQ(&writeMtbl(asVoid(out), asVoid(original), asVoid(sampleTable)), &asVoid(out));
  // Table order, not declaration order: id, delta, stamp, flag.
  EXPECT_EQ(device->bytes, (Bytes{0x0D, 0x0C, 0x0B, 0x0A, 0x80, 0x01, 0x05, 0xEE}));

  InputStream in(device.get());
  Sample back{};
  readMtbl(asVoid(in), asVoid(back), asVoid(sampleTable));
  EXPECT_EQ(back.id, original.id);
  EXPECT_EQ(back.flag, original.flag);
  EXPECT_EQ(back.stamp, original.stamp);
  EXPECT_EQ(static_cast<std::int32_t>(back.delta), 64);
}

TEST(MtblTest, EndMarkAloneWritesNothing) {
  const MtblRecord empty[] = {{kMtblEnd, nullptr, nullptr}};
  THandle<QueueDevice> device = QueueDevice::create();
  OutputStream out(device.get());
  Sample sample{};
  EXPECT_EQ(&writeMtbl(asVoid(out), asVoid(sample), asVoid(empty)), &asVoid(out));
  EXPECT_EQ(device->writeCalls, 0);
}

}  // namespace
}  // namespace orvo
