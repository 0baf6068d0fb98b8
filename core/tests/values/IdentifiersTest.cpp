// MD5 digests and Uuid identifiers: text forms, order, versions 1 and 3. The
// stream form of a Uuid is tested with the other wire forms.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <thread>

#include <orvo/core/MD5.h>
#include <orvo/core/Uuid.h>

#include "platform/SystemTime.h"

namespace orvo {
namespace {

TEST(MD5Test, PublishedDigestsAcrossThePaddingLimits) {
  // The RFC's suite, then lengths around 56 bytes of an unfinished block,
  // from which on the padding takes a second block.
  const std::pair<std::string, const wchar_t*> digests[] = {
      {"", L"d41d8cd98f00b204e9800998ecf8427e"}, {"abc", L"900150983cd24fb0d6963f7d28e17f72"},
      {"12345678901234567890123456789012345678901234567890123456789012345678901234567890", L"57edf4a22be3c955ac49da2e2107b67a"},
      {std::string(55, 'a'), L"ef1772b6dff9a122358552954ad0df65"}, {std::string(56, 'a'), L"3b0c8ac703f828b04c6c197006d17218"},
      {std::string(63, 'a'), L"b06521f39153d618550606be297466d5"}, {std::string(64, 'a'), L"014842d480b571495a4a0363793f7367"},
      {std::string(65, 'a'), L"c743a45e0d2e6a95cb859adae0248435"}, {std::string(120, 'a'), L"5f61c0ccad4cac44c75ff505e1f1e537"},
  };
  for (const auto& [message, digest] : digests) {
    wchar_t text[33];
    MD5String(message.data(), static_cast<int>(message.size()), text);
    EXPECT_EQ(std::wstring(text), digest) << message.size();
    EXPECT_EQ(MD5String(message.data(), static_cast<int>(message.size())), String(digest));
    // Fed in pieces: byte by byte, and one byte before all the rest.
    unsigned char whole[16], byBytes[16], split[16];
    MD5Checksum(message.data(), static_cast<int>(message.size()), whole);
    MD5Context bytes, two;
    MD5Init(&bytes);
    MD5Init(&two);
    for (const char& byte : message) MD5Update(&bytes, &byte, 1);
    const unsigned int first = message.empty() ? 0 : 1;  // Without data: no pointer either.
    MD5Update(&two, first ? message.data() : nullptr, first);
    MD5Update(&two, message.data() + first, static_cast<unsigned int>(message.size()) - first);
    MD5Final(byBytes, &bytes);
    MD5Final(split, &two);
    EXPECT_EQ(std::memcmp(byBytes, whole, 16), 0) << message.size();
    EXPECT_EQ(std::memcmp(split, whole, 16), 0) << message.size();
  }
}

const std::wstring kDns = L"10b8a76b-ad9d-d111-80b4-00c04fd430c8";  // RFC 4122's DNS namespace.

std::wstring text(const Uuid& uuid) { return uuid_convertToString(uuid).getBuffer(); }

Uuid parsed(const std::wstring& text) {
  Uuid uuid{99, 0, 0, 0, 0, {}};
  const bool ok = uuid_convertFromString(uuid, text.c_str());
  EXPECT_EQ(ok, uuid != Uuid()) << "a failed parse zeroes the target";
  return uuid;
}

// The text is the bytes in memory order, in lower case, and either case reads
// back. The pointer form reads 36 characters and ignores what follows; the
// String form wants exactly 36.
TEST(UuidTextTest, MemoryOrderEveryLengthAndEveryBadCharacter) {
  EXPECT_EQ(text(parsed(L"10B8A76B-AD9D-D111-80B4-00C04FD430C8")), kDns);
  for (std::size_t length = 0; length <= 40; ++length) {
    const std::wstring candidate = kDns.substr(0, length) + std::wstring(length > 36 ? length - 36 : 0, L'f');
    const Uuid fromPointer = parsed(candidate);
    EXPECT_EQ(text(fromPointer), length >= 36 ? kDns : text(Uuid())) << length;
    EXPECT_EQ(uuid_convertFromString(String(candidate.c_str())), length == 36 ? fromPointer : Uuid()) << length;
  }
  for (std::size_t i = 0; i < kDns.size(); ++i) {
    for (wchar_t bad : {L'g', L'_', L' ', L'-', L'\u00e9'}) {
      std::wstring broken = kDns;
      broken[i] = bad;
      EXPECT_TRUE(broken == kDns || parsed(broken) == Uuid()) << i;
    }
  }
}

TEST(UuidNodeTest, TextIsExactlyTwelveDigitsAndOrderIsBySignedWords) {
  uuid_node_t node;
  wchar_t buffer[13];
  EXPECT_TRUE(node.convertFromString(String(L"00C04fd430c8")) && node.convertToString(buffer));
  EXPECT_TRUE(std::wstring(buffer) == L"00c04fd430c8" && node.convertToString() == String(buffer));
  for (const wchar_t* bad : {L"", L"00c04fd430c", L"00c04fd430c8a", L"00c04fd430cx", L"00-04fd430c8"}) {
    uuid_node_t target = node;
    EXPECT_FALSE(target.convertFromString(String(bad))) << bad;
    EXPECT_EQ(target, uuid_node_t()) << "a failed parse zeroes the node";
  }
  // A signed 32-bit word first, then a signed 16-bit one.
  uuid_node_t m, n;
  EXPECT_TRUE(m.convertFromString(String(L"000000800000")) && n.convertFromString(String(L"000000000100")));
  EXPECT_EQ(m.compare(n), -1);
  EXPECT_TRUE(n.convertFromString(String(L"000000800080")));
  EXPECT_TRUE(m.compare(n) == 1 && n.compare(m) == -1 && n.compare(n) == 0);
}

TEST(UuidOrderTest, SignedWordsInMemoryOrder) {
  // Each pair is smaller, then greater: a top byte 80 makes its word
  // negative, and the first word that differs decides.
  const std::pair<const wchar_t*, const wchar_t*> ordered[] = {
      {L"00000080-0000-0000-0000-000000000100", L"01000000-0000-0000-0000-000000000080"},
      {L"00000000-0000-0000-0000-000000000080", L"00000000-0000-0000-0000-000000000100"},
  };
  for (const auto& [smaller, greater] : ordered) {
    EXPECT_EQ(uuid_compare(parsed(smaller), parsed(greater)), -1) << smaller;
    EXPECT_EQ(uuid_compare(parsed(greater), parsed(smaller)), 1) << smaller;
    EXPECT_EQ(uuid_compare(parsed(smaller), parsed(smaller)), 0);
  }
}

TEST(UuidVersion3Test, PublishedIdentifiersOfNamesInTheDnsNamespace) {
  // uuid3(NAMESPACE_DNS, "python.org") is 6fa459ea-ee8a-3ca4-894e-db77e160355e
  // and that of the empty name c87ee674-4ddc-3efe-a74e-dfe25da5d7b3; this
  // library shows the first three fields low byte first.
  Uuid named, unnamed;
  uuid_create_md5_from_name(named, parsed(kDns), "python.org", 10);
  uuid_create_md5_from_name(unnamed, parsed(kDns), nullptr, 0);
  EXPECT_EQ(text(named), L"ea59a46f-8aee-a43c-894e-db77e160355e");
  EXPECT_EQ(text(unnamed), L"74e67ec8-dc4d-fe3e-a74e-dfe25da5d7b3");
}

std::uint64_t fakeTime = 0x0123456789ABCDull;
int fakeReads = 0, switchAfterReads = 0;  // After switchAfterReads reads the clock moves on by 5000.

std::uint64_t fakeClock() { return ++fakeReads > switchAfterReads && switchAfterReads ? fakeTime + 5000 : fakeTime; }

std::uint64_t timestampOf(const Uuid& u) { return (std::uint64_t(u.time_hi_and_version & 0xFFF) << 16 | u.time_mid) << 32 | u.time_low; }

int clockSequenceOf(const Uuid& u) { return (u.clock_seq_hi_and_reserved & 0x3F) << 8 | u.clock_seq_low; }

// On a clock that stands still: the layout, at most 1025 identifiers a
// reading, and a step of the sequence when the clock runs back.
TEST(UuidVersion1Test, OnAClockThatStandsStill) {
  const platform::SystemTimeSource previous = platform::setSystemTimeSource(fakeClock);
  Uuid first, id;
  EXPECT_EQ(uuid_create(first), 1);
  const std::wstring t = text(first);
  EXPECT_TRUE(t[16] == L'1' && std::wstring(L"89ab").find(t[19]) != std::wstring::npos) << t;
  EXPECT_EQ(first.node.nodeID[0] & 1, 1) << "the node carries the multicast bit";
  for (std::uint64_t i = 1; i < 1025; ++i) {
    uuid_create(id);
    EXPECT_EQ(timestampOf(id), timestampOf(first) + i);
  }
  EXPECT_TRUE(id.node == first.node && clockSequenceOf(id) == clockSequenceOf(first));
  switchAfterReads = fakeReads + 50;
  uuid_create(id);
  EXPECT_GT(fakeReads, switchAfterReads) << "the 1026th did not wait for the clock";
  EXPECT_EQ(timestampOf(id), (fakeTime + 5000) / 1025 * 1025) << "a new reading starts its count at 0";
  fakeTime -= 1000000000;
  uuid_create(id);
  EXPECT_EQ(clockSequenceOf(id), (clockSequenceOf(first) + 1) & 0x3FFF) << "the clock ran back";
  platform::setSystemTimeSource(previous);
}

TEST(UuidVersion1Test, ThreadsMakeDistinctIdentifiers) {
  std::vector<Uuid> ids(200000);
  const auto fill = [&](std::size_t from) { for (std::size_t i = from; i < ids.size(); i += 2) uuid_create(ids[i]); };
  std::thread other(fill, 1);
  fill(0);
  other.join();
  std::sort(ids.begin(), ids.end(), [](const Uuid& a, const Uuid& b) { return uuid_compare(a, b) < 0; });
  EXPECT_EQ(std::adjacent_find(ids.begin(), ids.end()), ids.end()) << "two identifiers are equal";
}

}  // namespace
}  // namespace orvo
