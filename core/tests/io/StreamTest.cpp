// Devices, value streams, SecureIO, member tables and the binary form of
// every value type, over a byte queue whose knobs make it misbehave.
#include <gtest/gtest.h>

#include <random>
#include <stdexcept>
#include <thread>

#include <orvo/core/Buffer.h>
#include <orvo/core/Mtbl.h>
#include <orvo/core/SecureIO.h>
#include <orvo/core/StringHelper.h>
#include <orvo/core/Uuid.h>
#include <orvo/core/Varint.h>

#include "io/TestDevices.h"

namespace orvo {
namespace {

template <class Value>
Bytes written(const Value& value) {
  THandle<QueueDevice> device(new QueueDevice);
  OutputStream out(device.get());
  out << value;
  return device->bytes;
}

// Reads a value from `bytes`, which it must use up.
template <class Value>
Value readBack(const Bytes& bytes) {
  THandle<QueueDevice> device(new QueueDevice(bytes));
  InputStream in(device.get());
  Value value{};
  in >> value;
  EXPECT_EQ(device->available(), 0);
  return value;
}

constexpr const wchar_t *kStream = L"core/include/orvo/core/Stream", *kSource = L"src/io/Stream";
constexpr const wchar_t *kBuffer = L"core/include/orvo/core/Buffer", *kString = L"core/include/orvo/core/String";
constexpr const wchar_t *kVarint = L"core/include/orvo/core/Varint", *kUuid = L"core/include/orvo/core/Uuid";
constexpr const wchar_t *kBufferRead = L"TyIs& operator >>(TyIs &,Buffer &)", *kStringRead = L"TyIs& operator >>(TyIs&,StringWide&)";
constexpr const wchar_t* kCopy = L"OutputStream& operator <<(OutputStream &,InputStream &)";

Bytes pattern(std::size_t size) {
  Bytes bytes(size);
  for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<std::uint8_t>(i * 7 + i / 251);
  return bytes;
}

Buffer bufferOf(const Bytes& bytes) {
  Buffer buffer(static_cast<int>(bytes.size()));
  std::copy(bytes.begin(), bytes.end(), static_cast<std::uint8_t*>(static_cast<void*>(buffer)));
  return buffer;
}

// A count in front, as a wire form has it, and `behind` bytes after it.
Bytes counted(std::int32_t count, std::size_t behind) {
  Bytes bytes = written(count), rest = pattern(behind);
  bytes.insert(bytes.end(), rest.begin(), rest.end());
  return bytes;
}

template <class T>
void expectWire(const T& value, const Bytes& bytes) {
  EXPECT_EQ(written(value), bytes);
  EXPECT_EQ(readBack<T>(bytes), value);
}

TEST(DeviceTest, HandlesShareOneCountAndStreamsHandTheirDevicesOn) {
  THandle<QueueDevice> device(new QueueDevice);
  THandle<Input> asInput(device.get());
  THandle<Output> asOutput(device.get());
  EXPECT_TRUE(device->getReferenceCount() == 3u && std::wstring(asInput->getClassName()) == L"IO");
  InputStream in;
  OutputStream out;
  EXPECT_TRUE(!in && in.attach(device.get()) && !!in && !out && out.attach(device.get()) && !!out);
  EXPECT_TRUE(in.detach().get() == asInput.get() && out.detach().get() == asOutput.get() && !in && !out);
  EXPECT_TRUE(in.attach(nullptr) && !in && out.attach(nullptr) && !out);
}

TEST(WireTest, EachValueHasItsPublishedFormBothWays) {
  expectWire(std::int32_t(-2), {0xFE, 0xFF, 0xFF, 0xFF});
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
  const wchar_t lone[] = {0xD800, 'x', 0}, beyond[] = {0x110000, 0};
  const std::pair<String, Bytes> strings[] = {
      {L"Ab", {2, 0, 0, 0, 'A', 0, 'b', 0}}, {L"", {0, 0, 0, 0}}, {L"\uFFFF", {1, 0, 0, 0, 0xFF, 0xFF}},
      {L"\uFFFF\U0001F600", {3, 0, 0, 0, 0xFF, 0xFF, 0x3D, 0xD8, 0x00, 0xDE}}, {lone, {2, 0, 0, 0, 0x00, 0xD8, 'x', 0}}};
  for (const auto& [text, bytes] : strings) expectWire(text, bytes);
  EXPECT_EQ(written(String(beyond)), (Bytes{1, 0, 0, 0, 0xFD, 0xFF})) << "beyond Unicode travels as U+FFFD";
  expectWire(uuid_convertFromString(String(L"10b8a76b-ad9d-d111-80b4-00c04fd430c8")),
             {0x10, 0xb8, 0xa7, 0x6b, 0xad, 0x9d, 0xd1, 0x11, 0x80, 0xb4, 0x00, 0xc0, 0x4f, 0xd4, 0x30, 0xc8});
  EXPECT_EQ(readBack<Varint>({0xFE, 0xFF, 0xFF, 0xFF, 0x7F}), INT32_MAX) << "only four bits of a fifth byte count";
}

// Varint looks ahead and int64_t reads byte by byte: both whatever the device
// shows at once, each value in one write call.
TEST(WireTest, IntegersOfEveryLengthRoundTrip) {
  std::mt19937_64 random(7);
  std::vector<std::int64_t> values = {INT64_MAX};
  for (int i = 0; i < 4000; ++i) values.push_back(static_cast<std::int64_t>(i % 2 ? random() >> i % 64 : ~0ULL << i % 64));
  for (int chunk : {1 << 30, 3}) {
    THandle<QueueDevice> device(new QueueDevice);
    Stream stream(device.get());
    for (std::int64_t value : values) stream << Varint(static_cast<std::int32_t>(value)) << value;
    EXPECT_EQ(device->writeCalls, static_cast<int>(2 * values.size()));
    device->maxChunk = chunk;
    for (std::int64_t value : values) {
      Varint small;
      std::int64_t big;
      stream >> small >> big;
      ASSERT_TRUE(small == static_cast<std::int32_t>(value) && big == value) << value;
    }
  }
}

TEST(WireTest, LargeValuesRoundTripAndReadingABufferReplacesItsContent) {
  std::wstring text;
  for (int i = 0; i < 40000; ++i) text += static_cast<wchar_t>(i % 3 == 0 ? 0x10000 + i : 0x20 + i % 5000);
  EXPECT_EQ(std::wstring(readBack<String>(written(String(text.c_str()))).getBuffer()), text);
  const Buffer big = bufferOf(pattern(300000)), small = bufferOf({'x', 'y', 'z'});
  Stream stream(new QueueDevice);
  stream << big << big << small << Buffer();
  Buffer sameSize(300000), grown, shrunk(300000), emptied(7);  // The first is read into as it is.
  stream >> sameSize >> grown >> shrunk >> emptied;
  EXPECT_TRUE(sameSize == big && grown == big && shrunk == small && emptied.getBufferSize() == 0);
}

// Through the base streams, as the other tests read and write.
template <class T>
void reads(Stream& s) {
  T value{};
  static_cast<InputStream&>(s) >> value;
}

template <class T>
std::function<void(Stream&)> writes(T value) {
  return [value](Stream& s) { static_cast<OutputStream&>(s) << value; };
}

TEST(WireTest, ShortCountsAndBadFormsRaiseTheDesignedMessages) {
  constexpr int kAny = 1 << 30;  // No limit on what the device takes.
  const std::tuple<Bytes, int, std::function<void(Stream&)>, const wchar_t*, const wchar_t*> cases[] = {
      {{1, 2, 3}, kAny, reads<std::int32_t>, L"int32_t", kStream}, {{}, kAny, reads<std::uint8_t>, L"uint8_t", kStream},
      {{}, 3, writes(std::int32_t(1)), L"int32_t", kStream}, {{}, 0, writes(std::uint8_t(1)), L"uint8_t", kStream},
      {{0x80, 0x80, 0x80, 0x80, 0x80, 0}, kAny, reads<Varint>, L"Tyis& operator >>(Tyis &is,Varint &v)", kVarint},
      {{0x80, 0x80}, kAny, reads<Varint>, L"uint8_t", kStream}, {{1, 2}, kAny, reads<Uuid>, L"Uuid::operator >>", kUuid},
      {{}, 1, writes(Varint(300)), L"Tyos& operator <<(Tyos &os,Varint const &v)", kVarint},
      {Bytes(11, 0xFF), kAny, reads<std::int64_t>, L"InputStream& operator >>(InputStream &is,int64_t &v)", kSource},
      {{}, 2, writes(INT64_MAX), L"OutputStream& operator <<(OutputStream &os,int64_t const &v)", kSource},
      {counted(-1, 0), kAny, reads<Buffer>, kBufferRead, kBuffer}, {counted(4, 2), kAny, reads<Buffer>, kBufferRead, kBuffer},
      {counted(0x7FFFFFFF, 99999), kAny, reads<Buffer>, kBufferRead, kBuffer},
      {{}, 5, writes(Buffer(2)), L"TyOs& operator <<(TyOs &,Buffer const &)", kBuffer},
      {{}, 6, writes(String(L"Ab")), L"TyOs& operator <<(TyOs&,StringWide&)", kString},
      {{}, 3, writes(Buffer(2)), L"int32_t", kStream}, {{}, 2, writes(String(L"Ab")), L"int32_t", kStream},
      {{}, 10, writes(Uuid()), L"Uuid::operator <<", kUuid},
  };
  for (const auto& [bytes, writeLimit, step, message, file] : cases) {
    THandle<QueueDevice> device(new QueueDevice(bytes));
    device->writeLimit = writeLimit;
    Stream stream(device.get());
    expectRaise(std::bind(step, std::ref(stream)), message, file);
    EXPECT_LE(device->largestRead, 1 << 16) << "a read asked for more than the first step";
  }
}

// A count comes from the sender: a bad one raises before the text is read and
// leaves the target as it was, and one that the device does not back costs
// no more than the bytes behind it.
TEST(WireTest, BadStringCountsLeaveTheTargetAndHugeOnesCostOnlyWhatArrives) {
  const std::pair<Bytes, int> strings[] = {{counted(-1, 2), -2}, {counted(0x40000000, 2), -2},
                                           {counted(3, 4), -2}, {counted(2, 2), 100}, {counted(0x3FFFFFFF, 99999), 0x7FFFFFFF}};
  for (const auto& [bytes, claimed] : strings) {
    THandle<QueueDevice> device(new QueueDevice(bytes));
    device->fakeAvailable = claimed;
    InputStream in(device.get());
    String target(L"old");
    expectRaise([&] { in >> target; }, kStringRead, kString);
    EXPECT_EQ(target, String(L"old"));
    EXPECT_LE(device->largestRead, claimed == -2 ? 4 : 1 << 16);
  }
  // A device that runs out of memory after the count fails the value alike.
  THandle<QueueDevice> device(new QueueDevice(counted(1, 2)));
  device->onCall = [calls = 0]() mutable { if (calls++ > 0) throw std::bad_alloc(); };
  Stream stream(device.get());
  String target;
  expectRaise([&] { stream >> target; }, kStringRead, kString);
  expectRaise([&] { stream << target; }, L"TyOs& operator <<(TyOs&,StringWide&)", kString);
}

TEST(WireTest, AnyOfTheThreeStringFormsReadsIntoAny) {
  const String text(L"caf\u00e9 \u4e2d\U0001F600");
  EXPECT_EQ(written(StringHelper::wideToUtf8(text.getBuffer())), written(text));
  EXPECT_EQ(readBack<StringUtf8>(written(text)), StringHelper::wideToUtf8(text.getBuffer()));
  // In the default code page, 1252.
  EXPECT_STREQ(readBack<StringAnsi>(written(String(L"caf\u00e9"))).getBuffer(), "caf\xe9");
  EXPECT_EQ(written(StringAnsi("caf\xe9")), written(String(L"caf\u00e9")));
}

TEST(StreamCopyTest, CopiesWhatIsAvailableAndKeepsItOnFailure) {
  THandle<QueueDevice> source(new QueueDevice(pattern(20000))), sink(new QueueDevice);
  source->maxChunk = 5000;       // Short reads are normal.
  source->fakeAvailable = 12000;  // Less than there is: no more than that goes.
  InputStream in(source.get());
  OutputStream out(sink.get());
  out << in;
  source->fakeAvailable = -2;
  out << in << in;
  EXPECT_EQ(sink->bytes, pattern(20000));
  EXPECT_EQ(sink->writeCalls, 5) << "chunks of what each read gave; nothing for nothing";
  source->bytes.resize(30000);
  sink->writeLimit = 9000;
  expectRaise([&] { out << in; }, kCopy, kSource);
  EXPECT_EQ(sink->bytes.size(), 29000u);
  for (int claimed : {100, -1}) {  // More than there is; cannot tell.
    source->fakeAvailable = claimed;
    expectRaise([&] { out << in; }, kCopy, kSource);
  }
}

// Each call into the device checks from another thread that the lock is
// taken.
TEST(SecureIOTest, EveryCallHoldsTheLockAndGivesItBackOnThrow) {
  THandle<QueueDevice> device(new QueueDevice({1, 2, 3}));
  THandle<SecureIO> secure = SecureIO::createInstance(device.get());
  const auto takenElsewhere = [&] {
    bool taken = false;
    std::thread([&] { if ((taken = secure->getMutex().tryLock())) secure->getMutex().unlock(); }).join();
    return taken;
  };
  int calls = 0;
  device->onCall = [&] { calls += takenElsewhere() ? 100 : 1; };
  std::uint8_t bytes[2];
  EXPECT_TRUE(secure->available() == 3 && secure->peek(bytes, 2) == 2 && secure->read(bytes, 1) == 1);
  EXPECT_EQ(secure->write(bytes, 2), 2);
  EXPECT_EQ(calls, 4) << "each hundred is a call without the lock";
  device->onCall = [] { throw std::runtime_error("device failed"); };
  EXPECT_THROW(secure->read(bytes, 1), std::runtime_error);
  EXPECT_TRUE(takenElsewhere() && device->getReferenceCount() == 2) << "the lock stayed taken after the throw";
}

struct Sample { std::int32_t id; std::uint8_t flag; };

const MtblRecord sampleTable[] = {
    {offsetof(Sample, flag), mtblReader<InputStream, std::uint8_t>, mtblWriter<OutputStream, std::uint8_t>},
    {offsetof(Sample, id), mtblReader<InputStream, std::int32_t>, mtblWriter<OutputStream, std::int32_t>},
    {kMtblEnd, nullptr, nullptr}};

TEST(MtblTest, FieldsTravelInTableOrderAndTheEndMarkAloneWritesNothing) {
  THandle<QueueDevice> device(new QueueDevice);
  Stream stream(device.get(), device.get());
  OutputStream& out = stream;
  InputStream& in = stream;
  const Sample original{0x0A0B0C0D, 0xEE};
  EXPECT_EQ(&writeMtbl(asVoid(out), asVoid(original), asVoid(sampleTable + 2)), &asVoid(out)) << "the end mark alone";
  EXPECT_EQ(&writeMtbl(asVoid(out), asVoid(original), asVoid(sampleTable)), &asVoid(out));
  EXPECT_EQ(device->bytes, (Bytes{0xEE, 0x0D, 0x0C, 0x0B, 0x0A}));
  Sample back{};
  EXPECT_EQ(&readMtbl(asVoid(in), asVoid(back), asVoid(sampleTable)), &asVoid(in));
  EXPECT_TRUE(back.id == original.id && back.flag == original.flag);
}

}  // namespace
}  // namespace orvo
