// Identifiers: text forms, order, and versions 1 and 3. The stream form is
// tested with the other wire forms.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <thread>
#include <vector>

#include <orvo/core/Uuid.h>

#include "platform/SystemTime.h"

namespace orvo {
namespace {

constexpr const wchar_t* kDns = L"10b8a76b-ad9d-d111-80b4-00c04fd430c8";  // RFC 4122's DNS namespace.
constexpr const wchar_t* kSample = L"0123abcd-4567-89ef-0a1b-2c3d4e5f6a7b";

std::wstring text(const Uuid& uuid) { return uuid_convertToString(uuid).getBuffer(); }

Uuid parsed(const std::wstring& text) {
  Uuid uuid;
  uuid.time_low = 99;
  const bool ok = uuid_convertFromString(uuid, text.c_str());
  EXPECT_EQ(ok, uuid != Uuid()) << "a failed parse zeroes the target";
  return uuid;
}

std::uint64_t timestampOf(const Uuid& u) {
  return static_cast<std::uint64_t>(u.time_hi_and_version & 0x0FFF) << 48 | static_cast<std::uint64_t>(u.time_mid) << 32 |
         u.time_low;
}

int clockSequenceOf(const Uuid& u) { return (u.clock_seq_hi_and_reserved & 0x3F) << 8 | u.clock_seq_low; }

TEST(UuidTextTest, MemoryOrderInLowerCaseAndEitherCaseBack) {
  const Uuid dns = parsed(L"10B8A76B-AD9D-D111-80B4-00C04FD430C8");
  EXPECT_EQ(dns.time_low, 0x6ba7b810u);
  EXPECT_EQ(dns.time_hi_and_version, 0x11d1);
  EXPECT_EQ(dns.node.nodeID[5], 0xc8);
  wchar_t buffer[37];
  EXPECT_TRUE(uuid_convertToString(dns, buffer));
  EXPECT_EQ(std::wstring(buffer), kDns);
  EXPECT_EQ(text(dns), kDns);
}

// The pointer form reads 36 characters and ignores what follows; the String
// form wants exactly 36.
TEST(UuidTextTest, EveryLengthAndEveryBadCharacterParsesOrFailsAsDesigned) {
  const std::wstring good = kSample;
  for (std::size_t length = 0; length <= 40; ++length) {
    const std::wstring candidate = good.substr(0, length) + std::wstring(length > 36 ? length - 36 : 0, L'f');
    const Uuid fromPointer = parsed(candidate);
    EXPECT_EQ(text(fromPointer), length >= 36 ? good : text(Uuid())) << length;
    EXPECT_EQ(uuid_convertFromString(String(candidate.c_str())), length == 36 ? fromPointer : Uuid()) << length;
  }
  for (std::size_t i = 0; i < good.size(); ++i) {
    for (wchar_t bad : {L'g', L'_', L' ', L'-', L'\u00e9'}) {
      std::wstring broken = good;
      broken[i] = bad;
      if (broken == good) continue;
      EXPECT_EQ(parsed(broken), Uuid()) << i;
      EXPECT_EQ(uuid_convertFromString(String(broken.c_str())), Uuid()) << i;
    }
  }
}

TEST(UuidTextTest, NodeTextIsExactlyTwelveDigits) {
  uuid_node_t node;
  EXPECT_TRUE(node.convertFromString(String(L"00C04fd430c8")));
  EXPECT_EQ(node.convertToString(), String(L"00c04fd430c8"));
  wchar_t buffer[13];
  EXPECT_TRUE(node.convertToString(buffer));
  EXPECT_EQ(std::wstring(buffer), L"00c04fd430c8");
  for (const wchar_t* bad : {L"", L"00c04fd430c", L"00c04fd430c8a", L"00c04fd430cx", L"00-04fd430c8"}) {
    uuid_node_t target = node;
    EXPECT_FALSE(target.convertFromString(String(bad))) << bad;
    EXPECT_EQ(target, uuid_node_t()) << "a failed parse zeroes the node";
  }
}

TEST(UuidOrderTest, SignedWordsInMemoryOrder) {
  // Each pair is smaller, then greater: a top byte 80 makes its word
  // negative, and the first word that differs decides.
  const std::pair<const wchar_t*, const wchar_t*> ordered[] = {
      {L"00000080-0000-0000-0000-000000000100", L"01000000-0000-0000-0000-000000000080"},
      {L"00000000-0000-0080-0000-000000000000", L"00000000-0000-0001-0000-000000000000"},
      {L"00000000-0000-0000-0000-000000000080", L"00000000-0000-0000-0000-000000000100"},
  };
  for (const auto& [smaller, greater] : ordered) {
    EXPECT_EQ(uuid_compare(parsed(smaller), parsed(greater)), -1) << smaller;
    EXPECT_EQ(uuid_compare(parsed(greater), parsed(smaller)), 1) << smaller;
    EXPECT_EQ(uuid_compare(parsed(smaller), parsed(smaller)), 0);
  }
  uuid_node_t m, n;
  EXPECT_TRUE(m.convertFromString(String(L"000000800000")) && n.convertFromString(String(L"000000000100")));
  EXPECT_EQ(m.compare(n), -1);
  EXPECT_TRUE(n.convertFromString(String(L"000000800080")));
  EXPECT_EQ(m.compare(n), 1);
  EXPECT_EQ(n.compare(n), 0);
}

TEST(UuidVersion3Test, PublishedIdentifiersOfNamesInTheDnsNamespace) {
  // uuid3(NAMESPACE_DNS, "python.org") is 6fa459ea-ee8a-3ca4-894e-db77e160355e
  // and that of the empty name c87ee674-4ddc-3efe-a74e-dfe25da5d7b3; this
  // library shows the first three fields low byte first.
  const std::pair<const char*, const wchar_t*> names[] = {{"python.org", L"ea59a46f-8aee-a43c-894e-db77e160355e"},
                                                          {nullptr, L"74e67ec8-dc4d-fe3e-a74e-dfe25da5d7b3"}};
  for (const auto& [name, expected] : names) {
    Uuid out;
    uuid_create_md5_from_name(out, parsed(kDns), name, name ? 10 : 0);
    EXPECT_EQ(text(out), expected);
  }
}

std::uint64_t fakeTime = 0;
int fakeReads = 0;
int switchAfterReads = 0;  // After so many reads the clock shows switchedTime.
std::uint64_t switchedTime = 0;

class Version1Test : public testing::Test {
 protected:
  // Each test starts at a time of its own: the generator remembers the last.
  void SetUp() override {
    static std::uint64_t start = 0x0123456789ABCDull;
    fakeTime = start += 1000000;
    fakeReads = switchAfterReads = 0;
    _previous = platform::setSystemTimeSource([] {
      ++fakeReads;
      return switchAfterReads && fakeReads > switchAfterReads ? switchedTime : fakeTime;
    });
  }
  void TearDown() override { platform::setSystemTimeSource(_previous); }

  static Uuid created() {
    Uuid id;
    EXPECT_EQ(uuid_create(id), 1);
    return id;
  }

 private:
  platform::SystemTimeSource _previous = nullptr;
};

TEST_F(Version1Test, LayoutVersionVariantAndOneMulticastNodeForTheProcess) {
  const Uuid id = created(), next = created();
  const std::wstring t = text(id);
  EXPECT_EQ(t[16], L'1');
  EXPECT_NE(std::wstring(L"89ab").find(t[19]), std::wstring::npos) << t;
  EXPECT_EQ(id.node.nodeID[0] & 1, 1) << "the node carries the multicast bit";
  EXPECT_EQ(next.node, id.node);
  EXPECT_EQ(clockSequenceOf(next), clockSequenceOf(id));
}

TEST_F(Version1Test, OneReadingServesAtMost1025Identifiers) {
  const Uuid first = created();
  EXPECT_EQ(timestampOf(created()), timestampOf(first) + 1);
  Uuid last;
  for (int i = 2; i < 1025; ++i) last = created();
  EXPECT_EQ(timestampOf(last), timestampOf(first) + 1024);
  switchedTime = fakeTime + 5000;
  switchAfterReads = fakeReads + 50;
  const Uuid waited = created();
  EXPECT_GT(fakeReads, switchAfterReads) << "the 1026th did not wait for the clock";
  EXPECT_GT(timestampOf(waited), timestampOf(last));
  EXPECT_EQ(timestampOf(waited) % 1025, 0u) << "a new reading starts its count at 0";
}

TEST_F(Version1Test, ClockRunningBackStepsTheSequence) {
  const Uuid before = created();
  fakeTime -= 1000000000;
  EXPECT_EQ(clockSequenceOf(created()), (clockSequenceOf(before) + 1) & 0x3FFF);
}

TEST(UuidVersion1Test, ThreadsMakeDistinctIdentifiers) {
  std::vector<Uuid> ids(200000);
  const auto fill = [&](std::size_t from) {
    for (std::size_t i = from; i < ids.size(); i += 2) uuid_create(ids[i]);
  };
  std::thread first(fill, 0), second(fill, 1);
  first.join();
  second.join();
  std::sort(ids.begin(), ids.end(), [](const Uuid& a, const Uuid& b) { return uuid_compare(a, b) < 0; });
  EXPECT_EQ(std::adjacent_find(ids.begin(), ids.end()), ids.end()) << "two identifiers are equal";
}

}  // namespace
}  // namespace orvo
