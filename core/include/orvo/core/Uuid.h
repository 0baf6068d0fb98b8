// Uuid.h: 128-bit identifiers of RFC 4122, versions 1 and 3.
//
// uuid_create makes a time-based identifier from state kept in memory: a node
// that is random for each process and a clock sequence that lives as long as
// the process. uuid_create_md5_from_name makes the same name-based identifier
// for the same namespace and name on any machine.
//
// The text form is the 16 bytes in memory order, as lower-case hexadecimal in
// groups of 4-2-2-2-6 bytes: the first three groups show their fields low byte
// first, the reverse of the RFC's text for the same value.
//
//   Uuid id;
//   uuid_create(id);
//   String text = uuid_convertToString(id);   // 36 characters
//   out << id;                                // 16 bytes as they lie in memory
//
// Threads: uuid_create may be called from any thread; one lock guards the
// generator, and identifiers made at the same time differ by timestamp. It
// seeds and draws the C library's rand(), which is shared with the rest of
// the process. The other functions keep no state; a Uuid is a plain value.
#pragma once

#include <concepts>
#include <cstdint>

#include <orvo/core/Export.h>
#include <orvo/core/Stream.h>
#include <orvo/core/String.h>

namespace orvo {

struct ORVO_API uuid_node_t {
  std::uint8_t nodeID[6] = {};

  // -1, 0 or 1, comparing the first four bytes as a signed 32-bit word,
  // then the last two as a signed 16-bit word.
  int compare(const uuid_node_t& other) const;
  bool operator==(const uuid_node_t& other) const { return compare(other) == 0; }

  // Writes 12 digits and a terminator: `text` must hold 13 characters.
  bool convertToString(wchar_t* const text) const;
  String convertToString() const;
  // Exactly 12 hexadecimal digits; on anything else the node is zeroed and
  // the result is false.
  bool convertFromString(const String& text);
};

struct ORVO_API Uuid {
  std::uint32_t time_low = 0;
  std::uint16_t time_mid = 0;
  std::uint16_t time_hi_and_version = 0;
  std::uint8_t clock_seq_hi_and_reserved = 0;
  std::uint8_t clock_seq_low = 0;
  uuid_node_t node;

  bool operator==(const Uuid& other) const;
  bool operator!=(const Uuid& other) const { return !(*this == other); }
};

static_assert(sizeof(uuid_node_t) == 6 && sizeof(Uuid) == 16, "identifiers have no padding");

// A new version 1 identifier; returns 1.
//
// On Linux the system clock is read in steps of 1025 x 100 ns (102.5
// microseconds), not at its full resolution: one reading gives timestamps to
// at most 1025 identifiers (the reading plus a count of 0 to 1024), and the
// steps keep those from running into the next reading's. So a timestamp may
// be off from the moment the identifier was made by up to about 0.1 ms, and
// the 1026th identifier within one step waits for the next step (about ten
// million identifiers a second at most). On Windows the system clock moves in
// coarse steps of its own and is read as it is.
ORVO_API int uuid_create(Uuid& out);
// The version 3 identifier of `name` in `nameSpace`.
ORVO_API void uuid_create_md5_from_name(Uuid& out, const Uuid& nameSpace, const void* name, int nameLength);
// -1, 0 or 1, comparing four signed 32-bit words in memory order.
ORVO_API int uuid_compare(const Uuid& a, const Uuid& b);

// Writes 36 characters and a terminator: `text` must hold 37 characters.
ORVO_API bool uuid_convertToString(const Uuid& uuid, wchar_t* const text);
ORVO_API String uuid_convertToString(const Uuid& uuid);
// Reads the 36-character form at the start of `text`, in either case, and
// ignores what follows; on a bad character zeroes `uuid` and returns false.
ORVO_API bool uuid_convertFromString(Uuid& uuid, const wchar_t* const text);
// The identifier of a text of exactly 36 characters; all zero otherwise.
ORVO_API Uuid uuid_convertFromString(const String& text);

template <class TyIs>
  requires std::derived_from<TyIs, InputStream>
TyIs& operator>>(TyIs& is, Uuid& uuid) {
  if (static_cast<InputStream&>(is).read(&uuid, sizeof uuid) != sizeof uuid) ORVO_THROW("Uuid::operator >>");
  return is;
}

template <class TyOs>
  requires std::derived_from<TyOs, OutputStream>
TyOs& operator<<(TyOs& os, const Uuid& uuid) {
  if (static_cast<OutputStream&>(os).write(&uuid, sizeof uuid) != sizeof uuid) ORVO_THROW("Uuid::operator <<");
  return os;
}

}  // namespace orvo
