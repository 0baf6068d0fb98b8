// Identifiers: text forms, ordering, versions 1 and 3, and the stream form.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include <orvo/core/Uuid.h>

#include "io/TestDevices.h"
#include "platform/SystemTime.h"

namespace orvo {
namespace {

std::wstring text(const Uuid& uuid) { return uuid_convertToString(uuid).getBuffer(); }

std::uint64_t timestampOf(const Uuid& u) {
  return static_cast<std::uint64_t>(u.time_hi_and_version & 0x0FFF) << 48 |
         static_cast<std::uint64_t>(u.time_mid) << 32 | u.time_low;
}

int clockSequenceOf(const Uuid& u) { return (u.clock_seq_hi_and_reserved & 0x3F) << 8 | u.clock_seq_low; }

// The DNS namespace of RFC 4122, 6ba7b810-9dad-11d1-80b4-00c04fd430c8.
Uuid dnsNamespace() {
  Uuid ns;
  ns.time_low = 0x6ba7b810;
  ns.time_mid = 0x9dad;
  ns.time_hi_and_version = 0x11d1;
  ns.clock_seq_hi_and_reserved = 0x80;
  ns.clock_seq_low = 0xb4;
  const std::uint8_t node[6] = {0x00, 0xc0, 0x4f, 0xd4, 0x30, 0xc8};
  std::memcpy(ns.node.nodeID, node, 6);
  return ns;
}

TEST(UuidTextTest, MemoryOrderLowerCaseAndBack) {
  const Uuid ns = dnsNamespace();
  EXPECT_EQ(text(ns), L"10b8a76b-ad9d-d111-80b4-00c04fd430c8");
  wchar_t buffer[37];
  EXPECT_TRUE(uuid_convertToString(ns, buffer));
  EXPECT_STREQ(buffer, L"10b8a76b-ad9d-d111-80b4-00c04fd430c8");

  Uuid parsed;
  EXPECT_TRUE(uuid_convertFromString(parsed, L"10B8A76B-AD9D-D111-80B4-00C04FD430C8"));
  EXPECT_EQ(parsed, ns);
  EXPECT_EQ(text(parsed), L"10b8a76b-ad9d-d111-80b4-00c04fd430c8");
}

TEST(UuidTextTest, EveryLengthParsesOrFailsAsDesigned) {
  const std::wstring good = L"0123abcd-4567-89ef-0a1b-2c3d4e5f6a7b";
  for (std::size_t length = 0; length <= 40; ++length) {
    std::wstring candidate = good.substr(0, std::min(length, good.size()));
    while (candidate.size() < length) candidate += L'f';  // Trailing text beyond 36.
    Uuid fromPointer;
    fromPointer.time_low = 99;
    const bool pointerOk = uuid_convertFromString(fromPointer, candidate.c_str());
    const Uuid fromString = uuid_convertFromString(String(candidate.c_str()));
    if (length >= 36) {
      EXPECT_TRUE(pointerOk) << length;
      EXPECT_EQ(text(fromPointer), good);
    } else {
      EXPECT_FALSE(pointerOk) << length;
      EXPECT_EQ(fromPointer, Uuid()) << "a failed parse zeroes the target";
    }
    EXPECT_EQ(fromString, length == 36 ? fromPointer : Uuid()) << length;
  }
}

TEST(UuidTextTest, BadDigitsAndSeparatorsFail) {
  const std::wstring good = L"0123abcd-4567-89ef-0a1b-2c3d4e5f6a7b";
  for (std::size_t i = 0; i < good.size(); ++i) {
    for (wchar_t bad : {L'g', L'_', L' ', L'-', L'\u00e9'}) {
      std::wstring broken = good;
      if (broken[i] == bad) continue;
      if (bad == L'-' && (i == 8 || i == 13 || i == 18 || i == 23)) continue;
      broken[i] = bad;
      Uuid uuid;
      EXPECT_FALSE(uuid_convertFromString(uuid, broken.c_str())) << i;
      EXPECT_EQ(uuid_convertFromString(String(broken.c_str())), Uuid());
    }
  }
}

TEST(UuidTextTest, NodeTextIsExactlyTwelveDigits) {
  uuid_node_t node;
  EXPECT_TRUE(node.convertFromString(String(L"00C04fd430c8")));
  EXPECT_EQ(std::wstring(node.convertToString().getBuffer()), L"00c04fd430c8");
  wchar_t buffer[13];
  EXPECT_TRUE(node.convertToString(buffer));
  EXPECT_STREQ(buffer, L"00c04fd430c8");
  for (const wchar_t* bad : {L"", L"00c04fd430c", L"00c04fd430c8a", L"00c04fd430cx", L"00-04fd430c8"}) {
    uuid_node_t target = node;
    EXPECT_FALSE(target.convertFromString(String(bad))) << bad;
    EXPECT_EQ(target.compare(uuid_node_t()), 0) << "a failed parse zeroes the node";
  }
}

TEST(UuidOrderTest, SignedWordsInMemoryOrder) {
  Uuid a, b;
  EXPECT_EQ(uuid_compare(a, a), 0);
  a.time_low = 0x80000000u;  // Negative as a signed word.
  b.time_low = 1;
  EXPECT_EQ(uuid_compare(a, b), -1);
  EXPECT_EQ(uuid_compare(b, a), 1);
  b = a;
  b.node.nodeID[5] = 1;  // Decides in the fourth word.
  EXPECT_EQ(uuid_compare(a, b), -1);

  uuid_node_t m, n;
  EXPECT_EQ(m.compare(n), 0);
  m.nodeID[3] = 0x80;  // Top byte of the first word: negative.
  EXPECT_EQ(m.compare(n), -1);
  n = m;
  n.nodeID[5] = 0x80;  // Top byte of the 16-bit word: negative.
  EXPECT_EQ(m.compare(n), 1);
}

TEST(UuidVersion3Test, PublishedIdentifierOfANameInTheDnsNamespace) {
  // uuid3(NAMESPACE_DNS, "python.org") is 6fa459ea-ee8a-3ca4-894e-db77e160355e,
  // which this library shows with its first three fields low byte first.
  Uuid out;
  uuid_create_md5_from_name(out, dnsNamespace(), "python.org", 10);
  EXPECT_EQ(text(out), L"ea59a46f-8aee-a43c-894e-db77e160355e");
  EXPECT_EQ(out.time_hi_and_version >> 12, 3);
  Uuid again;
  uuid_create_md5_from_name(again, dnsNamespace(), "python.org", 10);
  EXPECT_EQ(again, out);
  EXPECT_EQ(text(out)[16], L'3');
}

std::atomic<std::uint64_t> fakeTime{0};
std::atomic<int> fakeReads{0};
int switchAfterReads = 0;
std::uint64_t switchedTime = 0;
std::uint64_t fakeSource() {
  const int reads = ++fakeReads;
  return switchAfterReads && reads > switchAfterReads ? switchedTime : fakeTime.load();
}

class FakeTimeScope {
 public:
  explicit FakeTimeScope(std::uint64_t start) {
    fakeTime = start;
    fakeReads = 0;
    switchAfterReads = 0;
    _previous = platform::setSystemTimeSource(&fakeSource);
  }
  ~FakeTimeScope() { platform::setSystemTimeSource(_previous); }

 private:
  platform::SystemTimeSource _previous;
};

TEST(UuidVersion1Test, LayoutVersionVariantAndMulticastNode) {
  Uuid id;
  EXPECT_EQ(uuid_create(id), 1);
  const std::wstring t = text(id);
  EXPECT_EQ(t[16], L'1');
  EXPECT_TRUE(t[19] == L'8' || t[19] == L'9' || t[19] == L'a' || t[19] == L'b') << t;
  EXPECT_EQ(id.node.nodeID[0] & 1, 1) << "the node carries the multicast bit";
  Uuid next;
  uuid_create(next);
  EXPECT_EQ(next.node.compare(id.node), 0) << "one node for the process";
  EXPECT_EQ(clockSequenceOf(next), clockSequenceOf(id));
}

TEST(UuidVersion1Test, OneReadingServesAtMost1025Identifiers) {
  FakeTimeScope scope(0x0123456789ABCDull);
  Uuid first, second;
  uuid_create(first);
  uuid_create(second);
  EXPECT_EQ(timestampOf(second), timestampOf(first) + 1);
  Uuid last;
  for (int i = 2; i < 1025; ++i) uuid_create(last);
  EXPECT_EQ(timestampOf(last), timestampOf(first) + 1024);
  // The 1026th must wait: the clock moves only after 50 more readings.
  switchedTime = 0x0123456789ABCDull + 5000;
  switchAfterReads = fakeReads + 50;
  Uuid waited;
  uuid_create(waited);
  EXPECT_GT(fakeReads, switchAfterReads) << "the generator did not wait for the clock";
  EXPECT_GT(timestampOf(waited), timestampOf(last));
  EXPECT_EQ(timestampOf(waited) % 1025, 0u) << "a new reading starts its count at 0";
}

TEST(UuidVersion1Test, ClockRunningBackStepsTheSequence) {
  FakeTimeScope scope(0x0200000000000000ull);
  Uuid before;
  uuid_create(before);
  fakeTime = 0x0100000000000000ull;
  Uuid after;
  uuid_create(after);
  EXPECT_EQ(clockSequenceOf(after), (clockSequenceOf(before) + 1) & 0x3FFF);
}

TEST(UuidVersion1Test, ThreadsMakeDistinctIdentifiers) {
  constexpr int kEach = 100000;
  std::vector<Uuid> a(kEach), b(kEach);
  std::thread first([&] {
    for (auto& id : a) uuid_create(id);
  });
  std::thread second([&] {
    for (auto& id : b) uuid_create(id);
  });
  first.join();
  second.join();
  std::vector<std::wstring> all;
  all.reserve(2 * kEach);
  for (const auto& id : a) all.push_back(text(id));
  for (const auto& id : b) all.push_back(text(id));
  std::sort(all.begin(), all.end());
  EXPECT_EQ(std::adjacent_find(all.begin(), all.end()), all.end()) << "two identifiers are equal";
}

TEST(UuidStreamTest, SixteenBytesAsInMemoryAndShortCounts) {
  THandle<test::QueueDevice> device = test::QueueDevice::create();
  Stream stream(device.get());
  const Uuid ns = dnsNamespace();
  stream << ns;
  ASSERT_EQ(device->bytes.size(), 16u);
  EXPECT_EQ(std::memcmp(device->bytes.data(), &ns, 16), 0);
  EXPECT_EQ(device->bytes[0], 0x10) << "time_low goes low byte first";
  Uuid back;
  stream >> back;
  EXPECT_EQ(back, ns);

  device->bytes = {1, 2, 3};
  device->readPosition = 0;
  try {
    stream >> back;
    ADD_FAILURE() << "short read did not raise";
  } catch (const Exception& e) {
    EXPECT_EQ(e.message, L"Uuid::operator >>");
    EXPECT_EQ(e.file, L"core/include/orvo/core/Uuid");
  }
  device->writeLimit = 10;
  try {
    stream << ns;
    ADD_FAILURE() << "short write did not raise";
  } catch (const Exception& e) {
    EXPECT_EQ(e.message, L"Uuid::operator <<");
  }
}

}  // namespace
}  // namespace orvo
