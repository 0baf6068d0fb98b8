#include <orvo/core/Uuid.h>

#include <cstdlib>
#include <cstring>

#include <orvo/core/MD5.h>
#include <orvo/core/SpinLock.h>

#include "platform/ByteOrder.h"
#include "platform/SystemTime.h"
#include "text/HexDigits.h"

namespace orvo {
namespace {

constexpr int kUuidTextLength = 36;
constexpr int kNodeTextLength = 12;
constexpr std::uint16_t kIdentifiersPerReading = 1024;
// The clock is read in steps of 1025 units of 100 ns, so that the 1025
// timestamps one reading can give never reach into the next reading's.
constexpr std::uint64_t kReadingStep = kIdentifiersPerReading + 1;

// ---- text --------------------------------------------------------------------

// Reads `count` bytes as digit pairs; false at the first character that is
// not a digit (the terminator included).
bool readHex(const wchar_t*& text, std::uint8_t* bytes, int count) {
  for (int i = 0; i < count; ++i) {
    const int high = hex::digitValue(text[0]);
    if (high < 0) return false;
    const int low = hex::digitValue(text[1]);
    if (low < 0) return false;
    bytes[i] = static_cast<std::uint8_t>(high << 4 | low);
    text += 2;
  }
  return true;
}

// The byte counts of the five groups of the text form.
constexpr int kGroups[] = {4, 2, 2, 2, 6};

// ---- version 1 state -----------------------------------------------------------

struct GeneratorState {
  SpinLock lock;
  bool saved = false;
  std::uint64_t savedTimestamp = 0;
  uuid_node_t savedNode;
  std::uint16_t savedClockSequence = 0;
  std::uint64_t lastReading = 0;
  std::uint16_t countInReading = kIdentifiersPerReading;
  bool nodeMade = false;
  uuid_node_t node;
  bool randomSeeded = false;
};

GeneratorState generator;

// At most 1024 identifiers after the first share one clock reading; beyond
// that the generator waits for the clock to move.
std::uint64_t nextTimestamp() {
  for (;;) {
    const std::uint64_t now = platform::systemTime100ns() / kReadingStep * kReadingStep;
    if (now != generator.lastReading) {
      generator.lastReading = now;
      generator.countInReading = 0;
      break;
    }
    if (generator.countInReading < kIdentifiersPerReading) {
      ++generator.countInReading;
      break;
    }
  }
  return generator.lastReading + generator.countInReading;
}

// Random for the process: a digest of facts about the machine and the run,
// with the multicast bit set, as RFC 4122 asks of a node that is no network
// card's address.
const uuid_node_t& processNode() {
  if (!generator.nodeMade) {
    const std::vector<unsigned char> facts = platform::machineAndRunFacts();
    unsigned char seed[16];
    MD5Checksum(facts.data(), static_cast<int>(facts.size()), seed);
    seed[0] |= 0x01;
    std::memcpy(generator.node.nodeID, seed, sizeof generator.node.nodeID);
    generator.nodeMade = true;
  }
  return generator.node;
}

std::uint16_t randomClockSequence() {
  if (!generator.randomSeeded) {
    const std::uint64_t time = platform::systemTime100ns() / 1024;
    std::srand(static_cast<unsigned int>((time >> 32) ^ time));
    generator.randomSeeded = true;
  }
  return static_cast<std::uint16_t>(std::rand());
}

}  // namespace

// ---- uuid_node_t -----------------------------------------------------------------

int uuid_node_t::compare(const uuid_node_t& other) const {
  std::int32_t a, b;
  std::memcpy(&a, nodeID, 4);
  std::memcpy(&b, other.nodeID, 4);
  if (a != b) return a < b ? -1 : 1;
  std::int16_t c, d;
  std::memcpy(&c, nodeID + 4, 2);
  std::memcpy(&d, other.nodeID + 4, 2);
  if (c != d) return c < d ? -1 : 1;
  return 0;
}

bool uuid_node_t::convertToString(wchar_t* const text) const {
  *hex::writeBytes(nodeID, 6, text) = 0;
  return true;
}

String uuid_node_t::convertToString() const {
  wchar_t text[kNodeTextLength + 1];
  convertToString(text);
  return String(text);
}

bool uuid_node_t::convertFromString(const String& text) {
  const wchar_t* p = text.getBuffer();
  if (text.getLength() == kNodeTextLength && readHex(p, nodeID, 6)) return true;
  *this = uuid_node_t();
  return false;
}

// ---- Uuid ---------------------------------------------------------------------------

bool Uuid::operator==(const Uuid& other) const { return std::memcmp(this, &other, sizeof *this) == 0; }

int uuid_compare(const Uuid& a, const Uuid& b) {
  std::int32_t left[4], right[4];
  std::memcpy(left, &a, sizeof left);
  std::memcpy(right, &b, sizeof right);
  for (int i = 0; i < 4; ++i) {
    if (left[i] != right[i]) return left[i] < right[i] ? -1 : 1;
  }
  return 0;
}

bool uuid_convertToString(const Uuid& uuid, wchar_t* const text) {
  const auto* bytes = reinterpret_cast<const std::uint8_t*>(&uuid);
  wchar_t* p = text;
  for (int group = 0; group < 5; ++group) {
    if (group > 0) *p++ = L'-';
    p = hex::writeBytes(bytes, kGroups[group], p);
    bytes += kGroups[group];
  }
  *p = 0;
  return true;
}

String uuid_convertToString(const Uuid& uuid) {
  wchar_t text[kUuidTextLength + 1];
  uuid_convertToString(uuid, text);
  return String(text);
}

bool uuid_convertFromString(Uuid& uuid, const wchar_t* const text) {
  Uuid parsed;
  auto* bytes = reinterpret_cast<std::uint8_t*>(&parsed);
  const wchar_t* p = text;
  for (int group = 0; group < 5; ++group) {
    if (group > 0 && *p++ != L'-') {
      uuid = Uuid();
      return false;
    }
    if (!readHex(p, bytes, kGroups[group])) {
      uuid = Uuid();
      return false;
    }
    bytes += kGroups[group];
  }
  uuid = parsed;
  return true;
}

Uuid uuid_convertFromString(const String& text) {
  Uuid uuid;
  if (text.getLength() == kUuidTextLength) uuid_convertFromString(uuid, text.getBuffer());
  return uuid;
}

void uuid_create_md5_from_name(Uuid& out, const Uuid& nameSpace, const void* name, int nameLength) {
  Uuid networkOrder = nameSpace;
  networkOrder.time_low = platform::networkOrder(networkOrder.time_low);
  networkOrder.time_mid = platform::networkOrder(networkOrder.time_mid);
  networkOrder.time_hi_and_version = platform::networkOrder(networkOrder.time_hi_and_version);

  MD5Context context;
  MD5Init(&context);
  MD5Update(&context, &networkOrder, sizeof networkOrder);
  MD5Update(&context, name, nameLength > 0 ? static_cast<unsigned int>(nameLength) : 0);
  unsigned char digest[16];
  MD5Final(digest, &context);

  std::memcpy(&out, digest, sizeof out);
  out.time_low = platform::networkOrder(out.time_low);
  out.time_mid = platform::networkOrder(out.time_mid);
  out.time_hi_and_version = static_cast<std::uint16_t>((platform::networkOrder(out.time_hi_and_version) & 0x0FFF) | (3 << 12));
  out.clock_seq_hi_and_reserved = static_cast<std::uint8_t>((out.clock_seq_hi_and_reserved & 0x3F) | 0x80);
}

int uuid_create(Uuid& out) {
  std::uint64_t timestamp;
  std::uint16_t clockSequence;
  uuid_node_t node;
  {
    SpinGuard guard(generator.lock);
    timestamp = nextTimestamp();
    node = processNode();
    if (generator.saved && generator.savedNode == node) {
      clockSequence = generator.savedClockSequence;
      if (timestamp < generator.savedTimestamp) ++clockSequence;  // The clock ran back.
    } else {
      clockSequence = randomClockSequence();
    }
    generator.saved = true;
    generator.savedTimestamp = timestamp;
    generator.savedNode = node;
    generator.savedClockSequence = clockSequence;
  }
  out.time_low = static_cast<std::uint32_t>(timestamp);
  out.time_mid = static_cast<std::uint16_t>(timestamp >> 32);
  out.time_hi_and_version = static_cast<std::uint16_t>(((timestamp >> 48) & 0x0FFF) | (1 << 12));
  out.clock_seq_low = static_cast<std::uint8_t>(clockSequence);
  out.clock_seq_hi_and_reserved = static_cast<std::uint8_t>(((clockSequence >> 8) & 0x3F) | 0x80);
  out.node = node;
  return 1;
}

}  // namespace orvo
